// SPDX-License-Identifier: MIT
//
// For a service that has no certificate module: policies are not diagnosed.
#pragma once

#include <service/policy/credentials.h>

namespace panelkitd {

class NoCredentials : public Credentials {
public:
    std::optional<CredentialList> list() const override { return std::nullopt; }
};

} // namespace panelkitd
