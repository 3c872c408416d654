// SPDX-License-Identifier: MIT
//
// Catches the signals that stop, interrupt or end a program, so that something can be put in order before they take
// their course. POSIX only; one at a time in a process.
//
// The handlers only write the signal's number into a pipe, which whoever waits for input polls too: so it does not
// matter which thread of the process the system gives a signal to.
#pragma once

#include <array>
#include <csignal>
#include <cstddef>

namespace platform {

class SignalRelay {
public:
    SignalRelay();
    // Removes the handlers and lets signals that are still waiting take their course.
    ~SignalRelay();
    SignalRelay(const SignalRelay&) = delete;
    SignalRelay& operator=(const SignalRelay&) = delete;

    // Installs the handlers for SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP and SIGCONT, except those that the program
    // ignores. False when no pipe could be made.
    bool install();

    // Puts the former handlers back.
    void remove();

    // Readable when a signal waits.
    int descriptor() const { return pipe_[0]; }

    // Lets the signals that wait take their course, the former handlers being in place. Gives false when the program
    // survived one that was meant to interrupt or end it.
    bool deliver() const;

private:
    static constexpr std::array relayed = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT};

    std::array<int, 2> pipe_{-1, -1};
    std::array<struct sigaction, relayed.size()> former_{};
    bool installed_ = false;
};

} // namespace platform
