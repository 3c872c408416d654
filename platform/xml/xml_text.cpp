// SPDX-License-Identifier: MIT
#include <platform/xml/xml_text.h>

#include <platform/text/utf8_character.h>

#include <array>
#include <charconv>
#include <system_error>

namespace platform::xml {

namespace {

struct Entity {
    std::string_view name;
    char character;
};
constexpr std::array<Entity, 5> entities = {{{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}}};

constexpr std::size_t longestReference = 16; // "&#x0010FFFF;" with some extra zeros

bool isXmlCharacter(char32_t c) {
    if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
    return c <= 0xD7FF || (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

void appendUtf8(char32_t c, std::string& text) {
    const auto put = [&](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

// "#38" or "#x26", without the ampersand and the semicolon.
bool decodeNumber(std::string_view digits, std::string& meant) {
    digits.remove_prefix(1);
    const bool isHexadecimal = !digits.empty() && digits.front() == 'x';
    if (isHexadecimal) digits.remove_prefix(1);
    std::uint32_t number = 0;
    const char* end = digits.data() + digits.size();
    const auto parsed = std::from_chars(digits.data(), end, number, isHexadecimal ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != end || !isXmlCharacter(number)) return false;
    appendUtf8(number, meant);
    return true;
}

bool decodeReference(std::string_view name, std::string& meant) {
    if (!name.empty() && name.front() == '#') return decodeNumber(name, meant);
    for (const Entity& entity : entities) {
        if (entity.name != name) continue;
        meant += entity.character;
        return true;
    }
    return false;
}

} // namespace

bool isXmlText(std::string_view text, std::size_t& offset) {
    for (offset = 0; offset < text.size();) {
        const auto byte = static_cast<unsigned char>(text[offset]);
        if (byte >= 0x20 && byte < 0x80) {
            ++offset;
            continue;
        }
        const Utf8Character next = firstCharacter(text.substr(offset));
        if (!next.good || !isXmlCharacter(next.character)) return false;
        offset += next.bytes;
    }
    return true;
}

bool decodeText(std::string_view raw, std::string& meant) {
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] == '\r') {
            if (i + 1 == raw.size() || raw[i + 1] != '\n') meant += '\n';
        } else if (raw[i] != '&') {
            meant += raw[i];
        } else {
            const std::size_t end = raw.substr(i, longestReference).find(';');
            if (end == std::string_view::npos || !decodeReference(raw.substr(i + 1, end - 1), meant)) return false;
            i += end;
        }
    }
    return true;
}

std::string encodeText(std::string_view meant) {
    std::string raw;
    raw.reserve(meant.size());
    for (const char c : meant) {
        switch (c) {
        case '&': raw += "&amp;"; break;
        case '<': raw += "&lt;"; break;
        case '>': raw += "&gt;"; break; // "]]>" is not allowed in a text
        case '\r': raw += "&#13;"; break;
        default: raw += c;
        }
    }
    return raw;
}

} // namespace platform::xml
