// SPDX-License-Identifier: MIT
//
// What threads of a test wait for.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// A counter that can be waited for.
class Count {
public:
    void add() {
        const std::scoped_lock lock(mutex_);
        ++value_;
        changed_.notify_all();
    }
    int value() const {
        const std::scoped_lock lock(mutex_);
        return value_;
    }
    bool reaches(int wanted, std::chrono::milliseconds limit = std::chrono::minutes(1)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, limit, [&] { return value_ >= wanted; });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    int value_ = 0;
};

// A thread waits here until the test lets it go on.
class Gate {
public:
    bool pass() {
        waiting_.add();
        return opened_.reaches(1, std::chrono::hours(1));
    }
    void open() { opened_.add(); }
    void awaitWaiting(int count = 1) { waiting_.reaches(count); }

private:
    Count waiting_, opened_;
};
