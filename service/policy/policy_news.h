// SPDX-License-Identifier: MIT
//
// What is told of an activation that has ended.
#pragma once

#include <service/policy/policy_state.h>

#include <string>

namespace panelkitd {

// The result of an activation.
struct PolicyNews {
    bool activated = false;
    std::string source;  // "system", "user" or "driver"
    std::string user;    // the user, for a user's policy
    std::string title;   // after a failure: the caller's name for it, else its file
    std::string message; // why it failed, or remarks
    Remarks remarks;     // the same
};

// The news of the last activation, which has ended.
PolicyNews newsOf(const PolicyState& state, bool activated);

// It was accepted, and another activation came before it was in force.
PolicyNews newsOfReplaced(const LoadedPolicy& policy);

// Of the policy that is in force by our records: the engine has taken it now, or has not, with the reason.
PolicyNews newsOfInForce(const LoadedPolicy& policy, const Remarks& why);

// Every front end of the host hears the news. Why a user's policy failed, and its file, concern this user only, who
// reads it in the answer and in the policy information.
PolicyNews forEverybody(PolicyNews news);

} // namespace panelkitd
