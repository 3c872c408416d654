// SPDX-License-Identifier: MIT
//
// Catches the signals that stop, interrupt or end a program, so that the program can clean up before they take effect.
// POSIX only; one at a time in a process.
//
// The handlers only write the signal's number into a pipe, which the thread that waits for input polls too. So it does
// not matter which thread of the process receives the signal.
#pragma once

#include <array>
#include <csignal>
#include <cstddef>

namespace platform {

class SignalRelay {
public:
    SignalRelay();
    // Removes the handlers; pending signals then take effect.
    ~SignalRelay();
    SignalRelay(const SignalRelay&) = delete;
    SignalRelay& operator=(const SignalRelay&) = delete;

    // Installs the handlers for SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP and SIGCONT, except for signals that the
    // program ignores. Returns false when no pipe could be made.
    bool install();

    // Restores the former handlers.
    void remove();

    // Readable when a signal is pending.
    int descriptor() const { return pipe_[0]; }

    // Lets pending signals take effect; the former handlers must be restored before. Returns false when the program
    // survived a signal that was meant to interrupt or end it.
    bool deliver() const;

private:
    static constexpr std::array relayed = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT};

    std::array<int, 2> pipe_{-1, -1};
    std::array<struct sigaction, relayed.size()> former_{};
    bool installed_ = false;
};

} // namespace platform
