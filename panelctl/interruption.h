// SPDX-License-Identifier: MIT
//
// Ctrl-C, and the wish of the system that the program end, held back while something is done that must not stay half
// done. One at a time in the process.
#pragma once

namespace panelctl {

class HeldInterruption {
public:
    HeldInterruption();
    ~HeldInterruption(); // the former handlers are back
    HeldInterruption(const HeldInterruption&) = delete;
    HeldInterruption& operator=(const HeldInterruption&) = delete;

    // Throws CommandError when an interruption came meanwhile.
    static void check();

private:
    using Handler = void (*)(int);
    Handler onInterrupt_, onTerminate_;
};

} // namespace panelctl
