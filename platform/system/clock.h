// SPDX-License-Identifier: MIT
//
// The time of day, and times in UTC as text. Times are seconds since 1970-01-01 00:00:00 UTC. The texts are the same in
// every locale. All of it is inline, for front ends too; any thread may call it.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>

namespace platform {

// The seconds now, in the integer type in which the caller stores times.
template <class Seconds = std::uint64_t>
Seconds secondsNow() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<Seconds>(std::chrono::duration_cast<std::chrono::seconds>(since).count());
}

// 9999-12-31 23:59:59, the last time with a year of four digits. The texts below show it for later times.
inline constexpr std::uint64_t lastTime = 253402300799;

namespace detail {

inline std::string digits(unsigned number, std::size_t width) {
    const std::string text = std::to_string(number);
    return text.size() < width ? std::string(width - text.size(), '0') + text : text;
}

} // namespace detail

// "2027-03-01"
inline std::string dateText(std::uint64_t time) {
    namespace chrono = std::chrono;
    const auto days = static_cast<chrono::days::rep>(std::min(time, lastTime) / 86400);
    const chrono::year_month_day date{chrono::sys_days(chrono::days(days))};
    return detail::digits(static_cast<unsigned>(int{date.year()}), 4) + '-' +
           detail::digits(unsigned{date.month()}, 2) + '-' + detail::digits(unsigned{date.day()}, 2);
}

// "12:00:00", the time of day.
inline std::string clockText(std::uint64_t time) {
    const auto seconds = static_cast<unsigned>(std::min(time, lastTime) % 86400);
    return detail::digits(seconds / 3600, 2) + ':' + detail::digits(seconds / 60 % 60, 2) + ':' +
           detail::digits(seconds % 60, 2);
}

// "2027-03-01T12:00:00Z", as ISO 8601 writes it.
inline std::string isoText(std::uint64_t time) { return dateText(time) + 'T' + clockText(time) + 'Z'; }

} // namespace platform
