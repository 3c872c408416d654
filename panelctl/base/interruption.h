// SPDX-License-Identifier: MIT
//
// Holds back Ctrl-C and the request to terminate while something is done that must not stop half-way. At most one
// object at a time in the process.
#pragma once

#include <panelctl/base/exit_codes.h>

namespace panelctl {

class HeldInterruption {
public:
    HeldInterruption();
    ~HeldInterruption(); // restores the former handlers
    HeldInterruption(const HeldInterruption&) = delete;
    HeldInterruption& operator=(const HeldInterruption&) = delete;

    // Whether an interruption came since the object was made.
    static bool came();

private:
    using Handler = void (*)(int);
    Handler onInterrupt_, onTerminate_;
};

// The error that ends the program after an interruption.
CommandError interruptedError();

} // namespace panelctl
