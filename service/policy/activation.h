// SPDX-License-Identifier: MIT
//
// From settings to a policy in force: what the settings ask for, and what becomes of it. Works on a copy of the state,
// without locks and without touching the disk.
#pragma once

#include <service/policy/policy_state.h>

#include <cstdint>
#include <string>

namespace panelkitd {

// The default driver policy, in one of its modes.
LSPrequest_t driverRequest(std::uint32_t mode);

// What the system's settings ask for.
WantedPolicy systemPolicyOf(const PolicyState& state);

// What a user's settings ask for. When they name the driver policy, it is the one that the system's settings say: it is
// not for users to open or close the host.
WantedPolicy userPolicyOf(const PolicyState& state, const std::string& userId, const std::string& userName);

// Makes a policy the required one and loads it: it is in force at once, or soon when the settings say that loading
// takes time. What fails leaves the policy that was in force; the state's remarks then say why. `content` is the
// policy file's, empty when the front end could not read it: the copy of its last good content is taken then. Gives
// whether it was loaded.
bool activate(PolicyState& state, const WantedPolicy& wanted, const std::string& content, std::int64_t now);

// The same once more, from the copy that is kept, without asking for the file.
bool activateAgain(PolicyState& state, const WantedPolicy& wanted, std::int64_t now);

// The policy that is loading is in force from now on.
void finishLoading(PolicyState& state, std::int64_t now);

// After a restart: what was loading is loaded, and file policies come from what was kept. Returns whether that changed
// the state.
bool resume(PolicyState& state, std::int64_t now);

// Throws RefusedError, which names the field, for settings that are out of bounds.
void requireTakeable(const LSPcmd::LSPsettings_t& settings);

} // namespace panelkitd
