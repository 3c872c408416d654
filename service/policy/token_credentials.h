// SPDX-License-Identifier: MIT
//
// What the service's own tokens hold, as the certificate module sees it.
#pragma once

#include <service/policy/credentials.h>
#include <service/tokens/providers.h>

#include <memory>

namespace panelkitd {

// Thread-safe.
class TokenCredentials : public Credentials {
public:
    explicit TokenCredentials(const Providers& providers);
    ~TokenCredentials() override;

    std::optional<CredentialList> list() const override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace panelkitd
