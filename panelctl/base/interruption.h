// SPDX-License-Identifier: MIT
//
// Holds back Ctrl-C and the request to terminate while something is done that must not stop half-way. A second one ends
// the command to the service that is under way, and those that would follow: a service that never answers must not keep
// the program. At most one object at a time in the process, for the commands of the thread that makes it.
#pragma once

#include <panelctl/base/exit_codes.h>

#include <platform/bridge/call_limits.h>

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
    const bridge::CallLimits limits_;
};

// The error that ends the program after an interruption.
CommandError interruptedError();

} // namespace panelctl
