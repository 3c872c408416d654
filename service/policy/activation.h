// SPDX-License-Identifier: MIT
//
// From settings to a policy in force: chooses the policy that the settings name and loads it. Works on a copy of the
// state, without locks and without access to the disk.
#pragma once

#include <service/engine/engine.h>
#include <service/policy/policy_state.h>

#include <cstdint>
#include <string>

namespace panelkitd {

// The default driver policy, in one of its modes.
LSPrequest_t driverRequest(std::uint32_t mode);

// The policy that the system's settings name.
WantedPolicy systemPolicyOf(const PolicyState& state);

// The policy that a user's settings name. If they name the driver policy, its mode comes from the system's settings:
// users must not open or close the host.
WantedPolicy userPolicyOf(const PolicyState& state, const std::string& userId, const std::string& userName);

// Makes a policy the required one and loads it. It is in force at once, or after the delay in the settings. After a
// failure the present policy stays in force, and the state's remarks give the reason. `content` is the content of the
// policy file; if it is empty because the front end could not read the file, the copy of the last good content is used.
// Returns whether the policy was loaded.
bool activate(PolicyState& state, const WantedPolicy& wanted, const std::string& content, std::int64_t now);

// The same again, from the stored copy, without the file.
bool activateAgain(PolicyState& state, const WantedPolicy& wanted, std::int64_t now);

// Puts the policy that is loading in force.
void finishLoading(PolicyState& state, std::int64_t now);

// Makes a failure of an activation whose policy the engine did not take: the former policy stays in force, and the
// content of the policy file is not kept. `before` is the state before the activation.
void failActivation(PolicyState& state, const PolicyState& before, const Remarks& why);

// The policy for the engine.
EnginePolicy enginePolicyOf(const LoadedPolicy& policy, bool resumed);

// After a restart: a policy that was loading is loaded, and file policies come from the stored copies. Returns whether
// that changed the state.
bool resume(PolicyState& state, std::int64_t now);

// Throws RefusedError, which names the field, for settings that are out of bounds.
void requireTakeable(const LSPcmd::LSPsettings_t& settings);

} // namespace panelkitd
