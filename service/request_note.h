// SPDX-License-Identifier: MIT
//
// A request to end that may come before or after somebody wants to hear of it, and how long the process then has. For
// termination_*.cpp.
#pragma once

#include <service/base/log.h>

#include <chrono>
#include <exception>
#include <functional>
#include <mutex>
#include <utility>

namespace panelkitd {

class RequestNote {
public:
    void ask() {
        std::unique_lock lock(mutex_);
        asked_ = true;
        tell(lock);
    }
    void awaitReaction() { const std::scoped_lock running(running_); }
    void setLimit(std::chrono::milliseconds limit) {
        const std::scoped_lock lock(mutex_);
        limit_ = limit;
    }
    std::chrono::milliseconds limit() {
        const std::scoped_lock lock(mutex_);
        return limit_;
    }
    void whenAsked(std::function<void()> react) {
        std::unique_lock lock(mutex_);
        react_ = std::move(react);
        if (asked_) tell(lock);
    }

private:
    // What the reaction throws must not keep the process from ending: then the limit does it.
    void tell(std::unique_lock<std::mutex>& lock) {
        const auto react = std::exchange(react_, nullptr);
        lock.unlock();
        const std::scoped_lock running(running_);
        try {
            if (react) react();
        } catch (const std::exception& error) {
            logError(std::string("asked to end: ") + error.what());
        }
    }

    std::mutex running_; // held while the reaction runs
    std::mutex mutex_;   // guards what follows
    bool asked_ = false;
    std::chrono::milliseconds limit_ = std::chrono::hours(1);
    std::function<void()> react_;
};

} // namespace panelkitd
