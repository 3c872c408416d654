// SPDX-License-Identifier: MIT
//
// What is wrong with a policy that an engine has put into force, from the state of its tunnels.
#pragma once

#include <service/certs/credentials.h>
#include <service/engine/engine.h>
#include <service/policy/diagnosis.h>

namespace panelkitd {

struct TunnelDiagnosis {
    // Of the first section whose tunnel is not up; if all are up, of the first section. A problem with our own
    // certificate has the state and the date that front ends have texts for.
    Diagnosis diagnosis;

    bool isProblem = false; // a tunnel is down, or the engine does not work; else all is well, or on its way
    bool isNote = false;    // a tunnel is being set up
    // Which gateway, since when, with which credential; or which tunnel is not up, and why.
    Remarks remarks;
};

// Returns nullopt when the policy has no tunnels, and no problem.
std::optional<TunnelDiagnosis> diagnoseTunnels(const PolicyText& policy, const Engine& engine,
                                               const Credentials& credentials, std::int64_t now);

} // namespace panelkitd
