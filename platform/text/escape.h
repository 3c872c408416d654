// SPDX-License-Identifier: MIT
//
// Texts of others made harmless for terminals and logs: what tokens, certificates, files and clients say can neither
// act on the reader's terminal nor look like another line or another text. Any thread may call everything here.
#pragma once

#include <platform/text/ascii.h>
#include <platform/text/utf8_character.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

// Whether a character acts on a terminal, ends a line, turns the direction of writing, or can't be seen.
constexpr bool isHidden(char32_t character) {
    struct Range {
        char32_t first, last;
    };
    constexpr std::array hidden{
        Range{0x0000, 0x001F},                            // control characters
        Range{0x007F, 0x009F},   Range{0x00AD, 0x00AD},   // soft hyphen
        Range{0x034F, 0x034F},   Range{0x061C, 0x061C},   // joins graphemes; direction
        Range{0x115F, 0x1160},   Range{0x17B4, 0x17B5},   // fillers and vowels without width
        Range{0x180B, 0x180F},   Range{0x200B, 0x200F},   // without width, direction
        Range{0x2028, 0x202E},                            // ends of lines, direction
        Range{0x2060, 0x206F},   Range{0x3164, 0x3164},   // without width, direction; filler
        Range{0xFEFF, 0xFEFF},   Range{0xFFA0, 0xFFA0},   // without width; filler
        Range{0xFFF9, 0xFFFB},   Range{0x1D173, 0x1D17A}, // notes between lines; music
        Range{0xE0000, 0xE0FFF},                          // tags
    };
    return std::any_of(hidden.begin(), hidden.end(),
                       [=](const Range& range) { return range.first <= character && character <= range.last; });
}

// The text with hidden characters, and bytes that are not UTF-8, shown as \x1B or \u{202E}.
inline std::string escaped(std::string_view text) {
    std::string safe;
    while (!text.empty()) {
        const Utf8Character next = firstCharacter(text);
        if (!next.good) {
            for (const char c : text.substr(0, next.bytes)) safe += "\\x" + hexNumber(static_cast<unsigned char>(c), 2);
        } else if (!isHidden(next.character)) {
            safe += text.substr(0, next.bytes);
        } else if (next.character < 0x100) {
            safe += "\\x" + hexNumber(next.character, 2);
        } else {
            safe += "\\u{" + hexNumber(next.character, 2) + "}";
        }
        text.remove_prefix(next.bytes);
    }
    return safe;
}

// JSON with hidden characters shown as \u escapes, which means the same. It leaves control characters alone: JSON has
// them only between values, as ends of lines.
inline std::string escapedJson(std::string_view json) {
    std::string safe;
    while (!json.empty()) {
        const Utf8Character next = firstCharacter(json);
        const char32_t character = next.character;
        if (character < 0x7F || !isHidden(character)) {
            safe += json.substr(0, next.bytes);
        } else if (character < 0x10000) {
            safe += "\\u" + hexNumber(character, 4);
        } else {
            safe += "\\u" + hexNumber(0xD800 + ((character - 0x10000) >> 10), 4);
            safe += "\\u" + hexNumber(0xDC00 + (character & 0x3FF), 4);
        }
        json.remove_prefix(next.bytes);
    }
    return safe;
}

// The first characters of a text, at most `bytes` bytes of them; "..." at the end says that some are missing.
inline std::string shortened(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) return std::string(text);
    std::size_t kept = 0;
    while (true) {
        const std::size_t next = firstCharacter(text.substr(kept)).bytes;
        if (kept + next > bytes) break;
        kept += next;
    }
    return std::string(text.substr(0, kept)) + "...";
}

// A name within a line of a log, in quotes: those that it has itself are marked with a backslash, as backslashes are,
// so nobody can write a name that looks like the rest of the line. Of a long name the first 200 bytes.
inline std::string quotedName(std::string_view name) {
    std::string text = "\"";
    for (const char c : shortened(name, 200)) {
        if (c == '"' || c == '\\') text += '\\';
        text += c;
    }
    return text + "\"";
}

} // namespace platform
