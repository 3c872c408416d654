// SPDX-License-Identifier: MIT
//
// A text that one thread collects while others look at it. For child_process_*.cpp.
#pragma once

#include <mutex>
#include <string>

namespace platform {

class CollectedText {
public:
    void add(const char* bytes, std::size_t size) {
        const std::scoped_lock lock(mutex_);
        if (text_.size() + size <= limit) text_.append(bytes, size);
    }
    std::string text() const {
        const std::scoped_lock lock(mutex_);
        return text_;
    }

private:
    static constexpr std::size_t limit = std::size_t{64} << 20;
    mutable std::mutex mutex_;
    std::string text_;
};

} // namespace platform
