// SPDX-License-Identifier: MIT
//
// Points in time after which the bridge stops waiting.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>

namespace bridge {

// The clock for all waiting: setting the time of day does not change it.
using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

inline constexpr Deadline never = Deadline::max();

// The deadline `milliseconds` from now; 0 means never.
inline Deadline after(std::uint32_t milliseconds) {
    return milliseconds == 0 ? never : Clock::now() + std::chrono::milliseconds(milliseconds);
}

// How long to wait for bytes that are expected: at most `silence` milliseconds without any (0 means no limit), and not
// after `overall`, or after `givenUp` has become true: readers look at it now and then, unless it is null.
struct Patience {
    std::uint32_t silence = 0;
    Deadline overall = never;
    const std::atomic<bool>* givenUp = nullptr;

    Deadline next() const { return std::min(overall, after(silence)); }
    bool isOver() const { return Clock::now() >= overall || (givenUp && *givenUp); }
};

} // namespace bridge
