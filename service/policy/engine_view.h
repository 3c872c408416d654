// SPDX-License-Identifier: MIT
//
// The tokens as an engine sees them.
#pragma once

#include <service/certs/object_facts.h>
#include <service/engine/engine_credentials.h>
#include <service/tokens/providers.h>

#include <string>

namespace panelkitd {

EngineToken engineToken(const std::string& module, const PKCS11::TokenInfo& token);

// Reads all tokens. Throws RefusedError when one of them can't be read: an engine must not take what is not seen for
// what is not there.
EngineCredentials engineCredentials(const Providers& providers, FactsCache& cache);

} // namespace panelkitd
