// SPDX-License-Identifier: MIT
//
// The system's request to end: SIGTERM, SIGINT, SIGHUP; on Windows Ctrl-C, Ctrl-Break, the end of the session, and the
// service control manager's.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace panelkitd {

// Records the first request after its construction. There is only one object, made before any other thread: modules
// start threads of their own, which must not receive the signals.
class TerminationRequest {
public:
    TerminationRequest();
    ~TerminationRequest();
    TerminationRequest(const TerminationRequest&) = delete;
    TerminationRequest& operator=(const TerminationRequest&) = delete;

    // Calls `react` when the request comes, or now if it has come; once, on a thread of its own.
    void whenAsked(std::function<void()> react);

    // Waits for a reaction that has begun; after that the objects that it uses may be destroyed.
    void awaitReaction();

    // The time that the process has to end after the request. Then it exits, whatever hangs in it.
    void setLimit(std::chrono::milliseconds limit);

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Ends the process at once, with ExitStatus::abandoned and a line in the log. Nothing is destroyed, because something
// hangs and can't be interrupted. The files on disk are complete at any moment.
[[noreturn]] void abandonProcess();

// Prevents core dumps and debuggers from reading the memory of this process, which holds secrets.
void forbidCoreDumps();

} // namespace panelkitd
