// SPDX-License-Identifier: MIT
//
// Calls of every controller, for services that lie.
#pragma once

#include <panelkit/bridge/commands.h>

#include <functional>
#include <vector>

namespace attack {

struct ControllerCall {
    panelkit::Command command; // that it sends first
    std::function<void()> call;
};

// A controller of certificates is made for each call, since a session that was lost is not used again.
std::vector<ControllerCall> allCalls();

} // namespace attack
