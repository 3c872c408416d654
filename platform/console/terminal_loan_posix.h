// SPDX-License-Identifier: MIT
//
// A terminal's modes, changed for a while: they are put back when the loan ends, and before a signal stops,
// interrupts or ends the program. POSIX only.
#pragma once

#include <platform/console/signal_relay_posix.h>

#include <termios.h>

#include <functional>

namespace platform {

class TerminalLoan {
public:
    // `change` makes the wanted modes out of the present ones; it is run again after each stop of the program.
    TerminalLoan(int terminal, std::function<void(termios&)> change);
    ~TerminalLoan();
    TerminalLoan(const TerminalLoan&) = delete;
    TerminalLoan& operator=(const TerminalLoan&) = delete;

    // False when `terminal` is no terminal, and from the first interruption that the program survived on.
    bool active() const { return active_; }

    // The modes as they were.
    const termios& former() const { return former_; }

    // Waits for one byte. False at the end of input, on failure and when the loan is or becomes inactive.
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

// tcsetattr, at once and with type-ahead kept. False when `terminal` is no terminal.
bool setTerminalModes(int terminal, const termios& modes);

} // namespace platform
