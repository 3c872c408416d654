// SPDX-License-Identifier: MIT
//
// UTF-8 taken apart, the same for everybody: no overlong forms, no surrogates, nothing above 10FFFF. All of it is
// inline, for front ends too.
#pragma once

#include <cstddef>
#include <string_view>

namespace platform {

struct Utf8Character {
    char32_t character; // U+FFFD when the bytes are none
    std::size_t bytes;  // that it takes; of what is none, the longest run that begins a sequence, at least one
    bool good;
};

// The character at the front of a text, which must not be empty.
inline Utf8Character firstCharacter(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return {lead, 1, true};
    if (lead < 0xC2 || lead > 0xF4) return {0xFFFD, 1, false};
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t character = lead & (0x7FU >> length);
    // The bounds of the second byte shut out overlong forms, surrogates and what is too large.
    unsigned char from = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char to = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    for (std::size_t i = 1; i < length; ++i) {
        if (i == text.size() || byte(i) < from || byte(i) > to) return {0xFFFD, i, false};
        character = character << 6 | (byte(i) & 0x3FU);
        from = 0x80;
        to = 0xBF;
    }
    return {character, length, true};
}

// Whether the text is UTF-8 from its beginning to its end.
inline bool isValidUtf8(std::string_view text) {
    while (!text.empty()) {
        const Utf8Character next = firstCharacter(text);
        if (!next.good) return false;
        text.remove_prefix(next.bytes);
    }
    return true;
}

} // namespace platform
