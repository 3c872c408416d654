// SPDX-License-Identifier: MIT
//
// What panelkitd exits with. Units and scripts depend on the numbers: they never change.
#pragma once

namespace panelkitd {

enum class ExitStatus : int {
    ended = 0,     // asked to end, and did in good order
    failed = 1,    // it can't serve
    usage = 2,     // the command line is wrong
    abandoned = 3, // asked to end, but a command or a module did not come to its end; it was left behind
};

} // namespace panelkitd
