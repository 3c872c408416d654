// SPDX-License-Identifier: MIT
//
// Prints and reads decimal numbers, in the same way in every locale. Internal to the formatting unit.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace panelkit {

// Writes `value` at `to`, padded on the left to `width` characters (a larger number takes as many as it needs, at most
// 20), and returns the position after it. No terminating zero.
inline char* putNumber(char* to, std::uint64_t value, std::ptrdiff_t width = 1, char fill = '0') {
    char digits[20];
    const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    to = std::fill_n(to, std::max<std::ptrdiff_t>(width - (end - digits), 0), fill);
    return std::copy(static_cast<const char*>(digits), end, to);
}

// Removes a run of one or more digits from the front of `text`; leading zeros are allowed. Returns false, with nothing
// changed, when there is no digit or the value is above `most`.
inline bool takeNumber(std::string_view& text, std::uint32_t most, std::uint32_t& number) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value > most) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    number = value;
    return true;
}

// The same for a number that is the whole of `text`.
inline bool wholeNumber(std::string_view text, std::uint32_t most, std::uint32_t& number) {
    std::uint32_t value = 0;
    if (!takeNumber(text, most, value) || !text.empty()) return false;
    number = value;
    return true;
}

} // namespace panelkit
