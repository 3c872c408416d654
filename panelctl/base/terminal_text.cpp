// SPDX-License-Identifier: MIT
#include <panelctl/base/terminal_text.h>

#include <platform/text/utf8_character.h>

#include <algorithm>
#include <array>

namespace panelctl {

namespace {

struct Range {
    char32_t first, last;
};

// Marks over, under or between other characters, and invisible characters.
constexpr std::array noColumn{
    Range{0x0300, 0x036F}, Range{0x0483, 0x0489},   Range{0x0591, 0x05BD},  Range{0x0610, 0x061A},
    Range{0x064B, 0x065F}, Range{0x06D6, 0x06DC},   Range{0x0E31, 0x0E31},  Range{0x0E34, 0x0E3A},
    Range{0x0E47, 0x0E4E}, Range{0x1AB0, 0x1AFF},   Range{0x1DC0, 0x1DFF},  Range{0x200B, 0x200D},
    Range{0x20D0, 0x20FF}, Range{0x302A, 0x302F},   Range{0x3099, 0x309A},  Range{0xFE00, 0xFE0F},
    Range{0xFE20, 0xFE2F}, Range{0x1F3FB, 0x1F3FF}, Range{0xE0100, 0xE01EF}};

// East Asian wide and fullwidth characters, and emoji.
constexpr std::array twoColumns{Range{0x1100, 0x115F},   Range{0x231A, 0x231B},   Range{0x2329, 0x232A},
                                Range{0x23E9, 0x23EC},   Range{0x2614, 0x2615},   Range{0x2E80, 0x303E},
                                Range{0x3041, 0x33FF},   Range{0x3400, 0x4DBF},   Range{0x4E00, 0x9FFF},
                                Range{0xA000, 0xA4CF},   Range{0xA960, 0xA97F},   Range{0xAC00, 0xD7A3},
                                Range{0xF900, 0xFAFF},   Range{0xFE10, 0xFE19},   Range{0xFE30, 0xFE6F},
                                Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},   Range{0x1F300, 0x1F64F},
                                Range{0x1F680, 0x1F6FF}, Range{0x1F900, 0x1F9FF}, Range{0x20000, 0x3FFFD}};

template <class Ranges>
bool in(const Ranges& ranges, char32_t character) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [=](const Range& range) { return range.first <= character && character <= range.last; });
}

} // namespace

int displayWidth(std::string_view utf8) {
    int width = 0;
    while (!utf8.empty()) {
        const platform::Utf8Character next = platform::firstCharacter(utf8);
        utf8.remove_prefix(next.bytes);
        width += in(noColumn, next.character) ? 0 : in(twoColumns, next.character) ? 2 : 1;
    }
    return width;
}

std::string cut(const std::string& utf8, int width) {
    constexpr std::string_view dots = "...";
    if (displayWidth(utf8) <= width) return utf8;
    std::string_view rest = utf8;
    std::string text;
    while (!rest.empty()) {
        const std::string_view next = rest.substr(0, platform::firstCharacter(rest).bytes);
        if (displayWidth(text) + displayWidth(next) + static_cast<int>(dots.size()) > width) break;
        text += next;
        rest.remove_prefix(next.size());
    }
    return text + std::string(dots);
}

std::string padded(std::string_view utf8, int width) {
    const int missing = width - displayWidth(utf8);
    return std::string(utf8) + std::string(static_cast<std::size_t>(std::max(missing, 0)), ' ');
}

} // namespace panelctl
