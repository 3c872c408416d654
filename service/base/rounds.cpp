// SPDX-License-Identifier: MIT
#include <service/base/rounds.h>

#include <service/base/log.h>

#include <utility>

namespace panelkitd {

namespace {

// Memory may have run out, and the report needs some too: without it the service goes on without a report.
void report(const std::exception& error) noexcept {
    try {
        logError(std::string("work that is done regularly failed: ") + error.what());
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): see above
    }
}

} // namespace

Rounds::Rounds(Round round, std::chrono::milliseconds firstPause)
    : round_(std::move(round)), thread_([this, firstPause] { run(firstPause); }) {}

Rounds::~Rounds() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
    }
    thread_.join();
}

void Rounds::ask() {
    const std::scoped_lock lock(mutex_);
    asked_ = true;
    changed_.notify_all();
}

bool Rounds::stop(std::chrono::milliseconds grace) {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    changed_.notify_all();
    return changed_.wait_for(lock, grace, [this] { return ended_; });
}

void Rounds::run(std::chrono::milliseconds pause) {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait_for(lock, pause, [this] { return asked_ || stopping_; });
        if (stopping_) break;
        const bool wasAsked = std::exchange(asked_, false);
        lock.unlock();
        try {
            pause = round_(wasAsked);
        } catch (const std::exception& error) { // the next round is tried after the same pause
            report(error);
        }
        lock.lock();
    }
    ended_ = true;
    changed_.notify_all();
}

} // namespace panelkitd
