// SPDX-License-Identifier: MIT
//
// What ends a verb that goes on until it is told to stop: Ctrl-C, the request to terminate (SIGTERM, SIGHUP; on Windows
// Ctrl-Break and the closed window), and on POSIX a standard output that nobody reads any more.
#pragma once

#include <functional>
#include <memory>

namespace panelctl {

// One at a time in a process. Waiting for an ending costs no wake-up.
class Endings {
public:
    // `onEnd` is called at the first ending, on another thread. A second Ctrl-C takes its usual course, so that a
    // program that does not get to its end can be interrupted.
    explicit Endings(std::function<void()> onEnd);
    ~Endings();
    Endings(const Endings&) = delete;
    Endings& operator=(const Endings&) = delete;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace panelctl
