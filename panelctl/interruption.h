// SPDX-License-Identifier: MIT
//
// Holds back Ctrl-C and the request to terminate while something is done that must not stop half-way. At most one
// object at a time in the process.
#pragma once

namespace panelctl {

class HeldInterruption {
public:
    HeldInterruption();
    ~HeldInterruption(); // restores the former handlers
    HeldInterruption(const HeldInterruption&) = delete;
    HeldInterruption& operator=(const HeldInterruption&) = delete;

    // Throws CommandError when an interruption came since the object was made.
    static void check();

private:
    using Handler = void (*)(int);
    Handler onInterrupt_, onTerminate_;
};

} // namespace panelctl
