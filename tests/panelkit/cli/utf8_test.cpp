// SPDX-License-Identifier: MIT
#include <panelkit/cli/utf8.h>

#include "../../support/test.h"

#include <limits>

namespace {

// Counts in memory that ends directly after the zero byte, so that a sanitizer sees any step beyond it.
std::int32_t count(const std::string& text) {
    const auto exact = std::make_unique<char[]>(text.size() + 1);
    std::copy_n(text.c_str(), text.size() + 1, exact.get());
    return get_utf8_strlen(exact.get());
}

TEST(Utf8Text, IsCountedInCharacters) {
    // clang-format off
    const std::pair<std::string, int> cases[] = {
        {"", 0}, {"a", 1}, {"abc", 3}, {"я", 1}, {"я€", 2}, {"\U0001F511", 1}, {"a я € \U0001F511", 7},
        {"\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", 7}, // first and last of each length
        {"e\u0301", 2},                                                                      // no widths, no combining
        {"\x80z", 1}, {"\x9fzz", 2}, {"\xa0zzz", 2}, {"\xb0zzzz", 2}, // a stray continuation byte is taken for a lead byte
        {"\xf8zzz", 1}, {"\xe2zzz", 2},                             // and skipped bytes are not checked
        {std::string(1'000'000, 'x'), 1'000'000},
    };
    // clang-format on
    for (const auto& [text, characters] : cases) EXPECT_EQ(count(text), characters) << text.substr(0, 40);
}

TEST(Utf8Text, IsPaddedToItsWidthAndNeverCut) {
    struct Padding {
        std::string text;
        std::int32_t width;
        std::string padded;
    };
    const std::string endsWithin = "ab\xc3", withZero("ab\0cd", 5);
    // clang-format off
    const Padding paddings[] = {
        {"abc", 5, "abc  "}, {"abc", 3, "abc"}, {"abc", 2, "abc"}, {"abc", 0, "abc"}, {"abc", -1, "abc"},
        {"", 2, "  "}, {"", 0, ""}, {"", -5, ""},
        {"ключ€", 7, "ключ€  "}, {"ключ€", 5, "ключ€"},
        {"abc", std::numeric_limits<std::int32_t>::min(), "abc"},
        {withZero, 4, withZero + "  "},     // counted up to the zero, padded at the end
        {endsWithin, 5, endsWithin + "  "}, // no step beyond the string
    };
    // clang-format on
    for (const auto& [text, width, padded] : paddings) {
        std::string padding = text;
        pad_utf8_string(padding, width);
        EXPECT_EQ(padding, padded) << text << " to " << width;
    }
}

} // namespace
