// SPDX-License-Identifier: MIT
//
// The events that end a verb which otherwise runs on: Ctrl-C, the request to terminate (SIGTERM, SIGHUP; on Windows
// Ctrl-Break and the closed window), and on POSIX the end of the program that reads standard output.
#pragma once

#include <functional>
#include <memory>

namespace panelctl {

// At most one object at a time in a process. Waiting causes no wake-ups.
class Endings {
public:
    // `onEnd` is called at the first such event, on another thread. A second Ctrl-C ends the program as usual, so that
    // one that hangs can be interrupted.
    explicit Endings(std::function<void()> onEnd);
    ~Endings();
    Endings(const Endings&) = delete;
    Endings& operator=(const Endings&) = delete;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace panelctl
