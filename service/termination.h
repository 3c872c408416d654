// SPDX-License-Identifier: MIT
//
// The system's request to end: SIGTERM, SIGINT, SIGHUP; on Windows Ctrl-C, Ctrl-Break, and the end of the session.
#pragma once

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

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Lets no memory of this process, which holds secrets, get into a core dump or a debugger's hands.
void forbidCoreDumps();

} // namespace panelkitd
