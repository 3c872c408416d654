// SPDX-License-Identifier: MIT
//
// How people name providers and tokens, and how panelctl finds what they mean. What it can't find, it names the nearest
// of; what is ambiguous, it lists.
#pragma once

#include <panelkit/tokens/tokens_controller.h>

#include <string>
#include <vector>

namespace panelctl {

// By name or path. Throws CommandError.
PKCS11::ProviderInfo findProvider(VpnTokensController& controller, const std::string& name);

// All tokens, or those of a provider by name.
std::vector<PKCS11::TokenInfo> listTokens(VpnTokensController& controller, const std::string& provider = {});

// By label, serial number or PKCS#11 URI. An empty name means the only token there is. Throws CommandError.
PKCS11::TokenInfo findToken(VpnTokensController& controller, const std::string& name);

// "pkcs11:token=Office;serial=1234;model=...", with everything percent-encoded that has to be.
std::string uriOf(const PKCS11::TokenInfo& token);

// Whether the token matches the URI. A URI that is none, or has an attribute that no token has, throws CommandError.
bool matchesUri(const PKCS11::TokenInfo& token, const std::string& uri);

} // namespace panelctl
