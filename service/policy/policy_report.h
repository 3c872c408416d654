// SPDX-License-Identifier: MIT
//
// The policy information: the required policy, the one in force, and what is wrong with it.
#pragma once

#include <service/certs/credentials.h>
#include <service/policy/policy_state.h>

#include <string>

namespace panelkitd {

struct PolicyReport {
    LSPrequest_t required;
    LSPinfo_t info;
    Remarks remarks;                   // the info's message
    std::string requiredOf, inForceOf; // the account of each policy; empty for one that is not a user's
};

// The report without a diagnosis. `notTaken` is why the engine has not taken the policy in force; empty when it has.
PolicyReport reportOf(const PolicyState& state, const Remarks& notTaken);

// Adds what is wrong with the credentials that the policy in force needs. `more` is added to the remarks then.
void addDiagnosis(const PolicyText& policy, const Credentials& credentials, std::int64_t now, PolicyReport& report,
                  const Remarks& more);

} // namespace panelkitd
