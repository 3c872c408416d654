// SPDX-License-Identifier: MIT
//
// The policy information: the required policy, the one in force, and what is wrong with it.
#pragma once

#include <service/certs/credentials.h>
#include <service/engine/engine.h>
#include <service/policy/policy_state.h>

#include <string>

namespace panelkitd {

struct PolicyReport {
    LSPrequest_t required;
    LSPinfo_t info;
    Remarks remarks;                   // the info's message; without a message what there is to know
    std::string requiredOf, inForceOf; // the account of each policy; empty for one that is not a user's
};

// The report without a diagnosis. `notTaken` is why the engine has not taken the policy in force; empty when it has.
PolicyReport reportOf(const PolicyState& state, const Remarks& notTaken);

// Adds what is wrong with the policy in force: by its tunnels, if the engine protects traffic, else by the credentials
// that it needs. `more` is added to the remarks then. If nothing is wrong, remarks without a message describe the
// tunnels.
void addDiagnosis(const PolicyText& policy, const Engine& engine, const Credentials& credentials, std::int64_t now,
                  PolicyReport& report, const Remarks& more);

} // namespace panelkitd
