// SPDX-License-Identifier: MIT
#include <platform/codepage/utf8.h>

#include <platform/text/utf8_character.h>

namespace platform {

namespace {

constexpr char32_t replacement = 0xFFFD;

void append(std::u16string& text, char32_t character) {
    if (character < 0x10000) {
        text += static_cast<char16_t>(character);
    } else {
        text += static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10));
        text += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
    }
}

void append(std::string& bytes, char32_t character) {
    const auto put = [&bytes](char32_t byte) { bytes += static_cast<char>(byte); };
    const auto further = [&](int shift) { put(0x80 | (character >> shift & 0x3F)); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | character >> 6);
        further(0);
    } else if (character < 0x10000) {
        put(0xE0 | character >> 12);
        further(6);
        further(0);
    } else {
        put(0xF0 | character >> 18);
        further(12);
        further(6);
        further(0);
    }
}

bool isSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }
bool isPair(char16_t high, char16_t low) { return high >= 0xD800 && high < 0xDC00 && low >= 0xDC00 && low <= 0xDFFF; }

} // namespace

void decodeUtf8(std::string_view bytes, std::u16string& text) {
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Utf8Character next = firstCharacter(bytes);
        append(text, next.character);
        bytes.remove_prefix(next.bytes);
    }
}

void encodeUtf8(std::u16string_view text, std::string& bytes) {
    bytes.reserve(text.size() * 3);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!isSurrogate(text[i])) {
            append(bytes, text[i]);
        } else if (i + 1 < text.size() && isPair(text[i], text[i + 1])) {
            append(bytes, 0x10000 + ((char32_t{text[i]} & 0x3FF) << 10 | (char32_t{text[i + 1]} & 0x3FF)));
            ++i;
        } else {
            append(bytes, replacement);
        }
    }
}

} // namespace platform
