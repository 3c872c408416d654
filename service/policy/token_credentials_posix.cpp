// SPDX-License-Identifier: MIT
#include <service/policy/token_credentials.h>

#include <service/certs/holdings.h>
#include <service/certs/preshared_keys.h>

namespace panelkitd {

struct TokenCredentials::State {
    const Providers& providers;
    FactsCache cache{}; // certificates are taken apart once
};

TokenCredentials::TokenCredentials(const Providers& providers) : state_(new State{providers}) {}
TokenCredentials::~TokenCredentials() = default;

std::optional<CredentialList> TokenCredentials::list() const {
    const Holdings holdings(state_->providers, state_->cache);
    CredentialList list{!holdings.tokens().empty(), {}, {{}}};
    for (const TokenObjects& token : holdings.tokens()) {
        for (const StoredCertificate& certificate : token.certificates) {
            list.certificates.push_back(holdings.describe({&token, &certificate}));
        }
    }
    forEachToken(state_->providers, [&](const HeldToken& held, const PKCS11::TokenInfo&) {
        for (StoredPresharedKey& key : readPresharedKeys(OpenToken(held, TokenSession::Mode::readOnly))) {
            list.presharedKeys->push_back(std::move(key.name));
        }
    });
    return list;
}

} // namespace panelkitd
