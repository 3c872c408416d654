// SPDX-License-Identifier: MIT
//
// A request that may come before or after somebody wants to hear of it. For termination_*.cpp.
#pragma once

#include <functional>
#include <mutex>
#include <utility>

namespace panelkitd {

class RequestNote {
public:
    void ask() {
        const std::scoped_lock lock(mutex_);
        asked_ = true;
        tell();
    }
    void whenAsked(std::function<void()> react) {
        const std::scoped_lock lock(mutex_);
        react_ = std::move(react);
        if (asked_) tell();
    }

private:
    void tell() {
        if (const auto react = std::exchange(react_, nullptr)) react();
    }

    std::mutex mutex_; // guards what follows
    bool asked_ = false;
    std::function<void()> react_;
};

} // namespace panelkitd
