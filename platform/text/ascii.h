// SPDX-License-Identifier: MIT
//
// ASCII letters and hexadecimal digits. Only ASCII letters have a case here, so that bytes of other characters stay as
// they are and nothing depends on the locale of the process. Any thread may call everything here.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// ---- case

// The letters A to Z and a to z change case; all other bytes stay as they are.
constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr char asciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// The text in lower case.
inline std::string asciiLowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), asciiLower);
    return text;
}

// Whether two texts differ only in the case of such letters.
constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

// ---- hexadecimal digits

// The digit for a number from 0 to 15: "0" to "9", "A" to "F". Higher bits are ignored.
constexpr char hexDigit(std::uint64_t number) { return "0123456789ABCDEF"[number & 15]; }

// The number of a digit in either case; nullopt for every other character.
constexpr std::optional<unsigned> hexValue(char digit) {
    const char c = asciiUpper(digit);
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
    return std::nullopt;
}

// A number in upper-case digits, with zeros in front up to `width` characters.
inline std::string hexNumber(std::uint64_t number, std::size_t width = 1) {
    std::string text;
    for (; number > 0 || text.size() < width; number >>= 4) text.insert(text.begin(), hexDigit(number));
    return text;
}

// The bytes as upper-case digits, two each.
inline std::string hexText(std::string_view bytes) {
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += hexDigit(byte >> 4U);
        text += hexDigit(byte);
    }
    return text;
}

} // namespace platform
