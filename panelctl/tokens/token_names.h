// SPDX-License-Identifier: MIT
//
// How people name providers and tokens, and how panelctl finds them. The error for an unknown name suggests the nearest
// one, the error for an ambiguous name lists the candidates.
#pragma once

#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/failure.h>

#include <nlohmann/json.hpp>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace panelctl {

// How the command line names a token. Without name and provider, the only token is meant.
struct TokenName {
    std::string name;     // label, serial number or PKCS#11 URI
    std::string provider; // name or path; empty for any

    bool empty() const { return name.empty() && provider.empty(); }
    // Adds the argument "token", or --token with its description; and --provider.
    void argument(CLI::App& verb);
    void options(CLI::App& verb, const std::string& description);
};

// Why a provider of a listing is not loaded, in the user's language; `remarks` are those on the listing.
std::string problemText(const PKCS11::ProviderInfo& provider, std::span<const bridge::Remark> remarks);

// By name or path, also by another path of the same file. Throws CommandError.
PKCS11::ProviderInfo findProvider(VpnTokensController& controller, const std::string& name);

// All tokens, or those of a provider by name.
std::vector<PKCS11::TokenInfo> listTokens(VpnTokensController& controller, const std::string& provider = {});

// By label, then by provider and serial number; blank tokens come last. Providers stay in their order, which says in
// which one the service looks first.
bool comesBefore(const PKCS11::TokenInfo& one, const PKCS11::TokenInfo& other);

// An empty name means the only token that is initialised. Throws CommandError. Who has a
// VpnTokensController gives it, since it holds the only session of its kind.
PKCS11::TokenInfo findToken(VpnTokensController& controller, const TokenName& name);
PKCS11::TokenInfo findToken(const std::vector<PKCS11::TokenInfo>& tokens, const TokenName& name);

// Ends the verb: the name fits several tokens. Each is a line with a URI that no other token has.
[[noreturn]] void failAmbiguous(const std::string& message, const std::vector<PKCS11::TokenInfo>& candidates);

// Ends the verb: `message`, and the nearest of the candidates.
[[noreturn]] void failUnknown(const std::string& message, const std::string& name,
                              const std::vector<std::string>& candidates);

// Whether both are the same token, even if its slot and state have changed.
bool sameToken(const PKCS11::TokenInfo& one, const PKCS11::TokenInfo& other);

// "pkcs11:token=Office;serial=1234;model=...", percent-encoded where necessary.
std::string uriOf(const PKCS11::TokenInfo& token);

// Which token it is, as JSON in every verb: label, serial number, model, provider and URI. The token verbs add its
// state.
nlohmann::ordered_json tokenJson(const PKCS11::TokenInfo& token);

// "cert" as object on the token: its URI with ";type=...", and label and identifier (bytes) where there are any.
std::string uriOf(const PKCS11::TokenInfo& token, const std::string& type, const std::string& label,
                  const std::string& id);

bool isUri(const std::string& name);

// An attribute of the URI, such as "object" or "id", decoded. Nothing when the URI does not have it.
std::optional<std::string> uriAttribute(const std::string& uri, std::string_view name);

// Whether the token matches all attributes of the URI. Throws CommandError for a URI with an attribute that can't be
// compared.
bool matchesUri(const PKCS11::TokenInfo& token, const std::string& uri);

} // namespace panelctl
