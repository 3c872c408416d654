// SPDX-License-Identifier: MIT
#include <service/policy/token_credentials.h>

#include <service/certs/holdings.h>

namespace panelkitd {

struct TokenCredentials::State {
    const Providers& providers;
    FactsCache cache{}; // certificates are taken apart once
};

TokenCredentials::TokenCredentials(const Providers& providers) : state_(new State{providers}) {}
TokenCredentials::~TokenCredentials() = default;

std::optional<CredentialList> TokenCredentials::list() const {
    const Holdings holdings(state_->providers, state_->cache);
    CredentialList list;
    list.anyToken = !holdings.tokens().empty();
    for (const TokenObjects& token : holdings.tokens()) {
        for (const StoredCertificate& certificate : token.certificates) {
            list.certificates.push_back(holdings.describe({&token, &certificate}));
        }
    }
    return list;
}

} // namespace panelkitd
