// SPDX-License-Identifier: MIT
//
// Threads that are kept for long commands and for notifications. Work uses an idle one, or a new one when all are busy,
// so work may be nested and run in parallel. The threads are never joined: joining from a static destructor would
// deadlock under the loader's lock.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace bridge {

// Runs `work` on a kept thread; then, when that thread is free for other work again, `afterwards`. Neither may throw.
// Throws std::system_error when the system can't create a thread.
void runOnWorker(std::function<void()> work, std::function<void()> afterwards = nullptr);

// Work for whose end the caller waits. It starts in the constructor, and must not throw.
class Job {
public:
    explicit Job(std::function<void()> work);
    ~Job(); // waits for the end
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    // Waits until the work has ended, at most for that time; returns true when it has.
    bool waitFor(std::chrono::milliseconds time);

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace bridge
