// SPDX-License-Identifier: MIT
//
// Hands policies to the engine.
#pragma once

#include <service/engine/engine.h>
#include <service/policy/policy_state.h>

namespace panelkitd {

// Whether the engine takes the policy; `why` receives the reason if not.
bool takenBy(Engine& engine, const LoadedPolicy& policy, bool resumed, Remarks& why);

// At the start: hands over the policy that is in force by our records. If the engine does not take it, it gets the
// driver policy that drops everything except DHCP. Returns why it was not taken; nothing if it was.
Remarks resumeOrClose(Engine& engine, const LoadedPolicy& inForce);

} // namespace panelkitd
