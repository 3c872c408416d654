// SPDX-License-Identifier: MIT
//
// The exit statuses of panelkitd. Units and scripts depend on the numbers: they never change.
#pragma once

namespace panelkitd {

enum class ExitStatus : int {
    ended = 0,     // asked to end, and ended normally
    failed = 1,    // it can't serve
    usage = 2,     // the command line is wrong
    abandoned = 3, // asked to end, but a command or a module did not return in time
};

} // namespace panelkitd
