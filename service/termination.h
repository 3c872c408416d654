// SPDX-License-Identifier: MIT
//
// The system's request to end: SIGTERM, SIGINT, SIGHUP; on Windows Ctrl-C, Ctrl-Break, and the end of the session.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace panelkitd {

// Takes note of the first request from its construction on. There is one, made before any other thread: modules start
// threads of their own, and a request must not reach them.
class TerminationRequest {
public:
    TerminationRequest();
    ~TerminationRequest();
    TerminationRequest(const TerminationRequest&) = delete;
    TerminationRequest& operator=(const TerminationRequest&) = delete;

    // Has `react` called when the request comes, or now if it has come; once, on a thread of its own.
    void whenAsked(std::function<void()> react);

    // Returns once a reaction that has begun has returned: what it uses may then go.
    void awaitReaction();

    // From the request on the process has this long to end. Then it is abandoned, whatever hangs in it.
    void setLimit(std::chrono::milliseconds limit);

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Leaves the process at once, with ExitStatus::abandoned and a line in the log: nothing is destroyed, since something
// in it hangs and can't be interrupted. What is on disk is whole at any moment.
[[noreturn]] void abandonProcess();

// Lets no memory of this process, which holds secrets, get into a core dump or a debugger's hands.
void forbidCoreDumps();

} // namespace panelkitd
