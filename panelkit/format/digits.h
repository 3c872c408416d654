// SPDX-License-Identifier: MIT
//
// Decimal numbers in and out, the same in every locale. Internal to the formatting unit.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace panelkit {

// Writes `value` at `to`, filled up on the left to `width` characters (a larger number takes what it needs, at most
// 20), and gives the place behind it. No terminating zero.
inline char* putNumber(char* to, std::uint64_t value, std::ptrdiff_t width = 1, char fill = '0') {
    char digits[20];
    const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    to = std::fill_n(to, std::max<std::ptrdiff_t>(width - (end - digits), 0), fill);
    return std::copy(static_cast<const char*>(digits), end, to);
}

// Takes a run of one or more digits off the front of `text`; leading zeros are fine. False, with nothing changed,
// when there is none or its value is above `most`.
inline bool takeNumber(std::string_view& text, std::uint32_t most, std::uint32_t& number) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value > most) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    number = value;
    return true;
}

// The same, for a number that is all of `text`.
inline bool wholeNumber(std::string_view text, std::uint32_t most, std::uint32_t& number) {
    std::uint32_t value = 0;
    if (!takeNumber(text, most, value) || !text.empty()) return false;
    number = value;
    return true;
}

} // namespace panelkit
