// SPDX-License-Identifier: MIT
#include <platform/console/terminal_loan_posix.h>

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

bool setTerminalModes(int terminal, const termios& modes) {
    int result = 0;
    do {
        result = ::tcsetattr(terminal, TCSANOW, &modes);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

TerminalLoan::TerminalLoan(int terminal, std::function<void(termios&)> change)
    : terminal_(terminal), change_(std::move(change)) {
    begin();
}

TerminalLoan::~TerminalLoan() { end(); }

// The handlers are installed before the modes change and removed after they are restored, so that no signal leaves the
// terminal changed.
void TerminalLoan::begin() {
    if (::tcgetattr(terminal_, &former_) != 0 || !relay_.install()) return;
    termios wanted = former_;
    change_(wanted);
    active_ = setTerminalModes(terminal_, wanted);
    if (!active_) relay_.remove();
}

void TerminalLoan::end() {
    if (!active_) return;
    setTerminalModes(terminal_, former_);
    relay_.remove();
    active_ = false;
}

bool TerminalLoan::read(char& byte) {
    while (active_) {
        pollfd waiting[] = {{relay_.descriptor(), POLLIN, 0}, {terminal_, POLLIN, 0}};
        if (::poll(waiting, 2, -1) < 0) {
            if (errno != EINTR) return false;
        } else if (waiting[0].revents != 0) {
            end();
            if (relay_.deliver()) begin();
        } else {
            const ssize_t got = ::read(terminal_, &byte, 1);
            if (got == 1) return true;
            if (got == 0 || (errno != EINTR && errno != EAGAIN)) return false;
        }
    }
    return false;
}

} // namespace platform
