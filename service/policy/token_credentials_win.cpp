// SPDX-License-Identifier: MIT
//
// There is no certificate module in this build.
#include <service/policy/token_credentials.h>

namespace panelkitd {

struct TokenCredentials::State {};

TokenCredentials::TokenCredentials(const Providers&) {}
TokenCredentials::~TokenCredentials() = default;

std::optional<CredentialList> TokenCredentials::list() const { return std::nullopt; }

} // namespace panelkitd
