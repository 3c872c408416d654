// SPDX-License-Identifier: MIT
//
// What the tokens hold, for the engine and for the diagnosis of policies. A token that can't be read now counts with
// what was read of it last: it has not lost a certificate because another program uses it just now.
#pragma once

#include <service/certs/credentials.h>
#include <service/certs/holdings.h>
#include <service/engine/engine_credentials.h>
#include <service/tokens/providers.h>

#include <memory>
#include <string>
#include <vector>

namespace panelkitd {

EngineToken engineToken(const std::string& module, const PKCS11::TokenInfo& token);

// One thread uses it.
class TokenView {
public:
    TokenView(const Providers& providers, FactsCache& cache) : providers_(providers), cache_(cache) {}

    // Reads all tokens. Returns what a diagnosis needs of them.
    CredentialList look();

    // Returns what an engine needs, as of the last look(). The values of preshared keys are read now and not kept.
    EngineCredentials forEngine() const;

private:
    struct KeyNames {
        PKCS11::TokenInfo token;
        std::vector<std::string> names;
    };

    void lookForKeyNames();
    void addPresharedKeys(EngineCredentials& into) const;
    EngineToken engineTokenOf(const PKCS11::TokenInfo& token) const;

    const Providers& providers_;
    FactsCache& cache_;
    std::unique_ptr<const Holdings> holdings_; // null before the first look
    std::vector<KeyNames> keyNames_;           // of preshared keys
};

} // namespace panelkitd
