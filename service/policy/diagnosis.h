// SPDX-License-Identifier: MIT
//
// Whether what a policy needs is there and good: the personal certificates and preshared keys that its sections name.
#pragma once

#include <service/certs/credentials.h>
#include <service/policy/policy_text.h>

#include <cstdint>
#include <string>

namespace panelkitd {

struct Diagnosis {
    std::uint32_t state = 1;               // vocabulary::policyCertificate
    std::string date;                      // that belongs to it, in local time
    std::optional<bridge::Remark> problem; // nothing when all is well
    bool frontEndKnows = false;            // front ends have words of their own for it

    // What the section in question authenticates with; of the first one that protects when all is well.
    bool byPresharedKey = false;
    std::string presharedKey;
    std::string subject;
};

// Looks at the sections in their order, up to the first one that lacks something. Nothing when no section needs any of
// this, or the service can't look. `now` is in seconds since 1970.
std::optional<Diagnosis> diagnose(const PolicyText& policy, const Credentials& credentials, std::int64_t now);

} // namespace panelkitd
