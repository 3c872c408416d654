// SPDX-License-Identifier: MIT
//
// Objects on tokens that a policy may need: personal certificates and preshared keys.
#pragma once

#include <panelkit/certs/cert_records.h>

#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

struct CredentialList {
    bool anyToken = false;
    bool revocationCounts = true;                          // false: IKE.CRL_PROCESSING turns it off
    std::vector<CertInfo> certificates;                    // of all tokens, with or without private key
    std::optional<std::vector<std::string>> presharedKeys; // their names; nullopt when the service can't read them
    bool complete = true;                                  // false: some tokens can't be read
};

class Credentials {
public:
    virtual ~Credentials() = default;

    // Returns the objects that are on tokens now; nullopt when the service can't read tokens. May take long. Any thread
    // may call this.
    virtual std::optional<CredentialList> list() const = 0;
};

} // namespace panelkitd
