// SPDX-License-Identifier: MIT
//
// Checks the personal certificates and preshared keys that the sections of a policy need.
#pragma once

#include <service/certs/credentials.h>
#include <service/policyfile/policy_text.h>

#include <cstdint>
#include <string>

namespace panelkitd {

struct Diagnosis {
    std::uint32_t state = 1;               // vocabulary::policyCertificate
    std::string date;                      // of that state, in local time
    std::optional<bridge::Remark> problem; // nullopt when there is no problem
    bool frontEndKnows = false;            // front ends have a text for this state
    std::optional<bridge::Remark> note;    // of a credential that can be used: what was found and does not count

    // How the section with the problem authenticates; without a problem, the first section with a note or, without one,
    // the first that protects.
    bool byPresharedKey = false;
    std::string presharedKey;
    std::string subject;
};

// Checks the sections in order, up to the first one with a problem. Returns nullopt when no section needs credentials,
// or the service can't read tokens. `now` is in seconds since 1970.
std::optional<Diagnosis> diagnose(const PolicyText& policy, const Credentials& credentials, std::int64_t now);

// The same for one section that protects.
Diagnosis diagnoseSection(const PolicySection& section, const CredentialList& list, std::int64_t now);

// A time in seconds since 1970, in local time, as dates in a diagnosis are written.
std::string localText(std::uint64_t time);

// Whether its extended key usages allow IKE. Without any, a certificate may be used for everything.
bool fitsIke(const CertInfo& certificate);

} // namespace panelkitd
