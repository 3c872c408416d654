// SPDX-License-Identifier: MIT
//
// Changes a terminal's modes for a while: they are restored when the loan ends, and before a signal stops, interrupts
// or ends the program. POSIX only.
#pragma once

#include <platform/console/signal_relay_posix.h>

#include <termios.h>

#include <functional>

namespace platform {

class TerminalLoan {
public:
    // `change` turns the present modes into the wanted ones; it is called again after each stop of the program.
    TerminalLoan(int terminal, std::function<void(termios&)> change);
    ~TerminalLoan();
    TerminalLoan(const TerminalLoan&) = delete;
    TerminalLoan& operator=(const TerminalLoan&) = delete;

    // False when `terminal` is not a terminal, and after an interruption that the program survived.
    bool active() const { return active_; }

    // The modes before the loan.
    const termios& former() const { return former_; }

    // Waits for one byte. Returns false at the end of input, on failure and when the loan is or becomes inactive.
    bool read(char& byte);

private:
    void begin();
    void end();

    int terminal_;
    std::function<void(termios&)> change_;
    SignalRelay relay_;
    termios former_{};
    bool active_ = false;
};

// Calls tcsetattr, at once and without discarding input. Returns false when `terminal` is not a terminal.
bool setTerminalModes(int terminal, const termios& modes);

} // namespace platform
