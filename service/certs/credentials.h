// SPDX-License-Identifier: MIT
//
// What the tokens hold that a policy may need: personal certificates and preshared keys.
#pragma once

#include <panelkit/certs/cert_records.h>

#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

struct CredentialList {
    bool anyToken = false;
    std::vector<CertInfo> certificates;                    // of all tokens, with or without private key
    std::optional<std::vector<std::string>> presharedKeys; // their names; nothing where the service can't tell
};

class Credentials {
public:
    virtual ~Credentials() = default;

    // As they are now; nothing where the service can't look into tokens. May take long; from any thread.
    virtual std::optional<CredentialList> list() const = 0;
};

} // namespace panelkitd
