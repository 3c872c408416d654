// SPDX-License-Identifier: MIT
#include <platform/system/clock.h>
#include <platform/text/ascii.h>
#include <platform/text/escape.h>
#include <platform/text/join.h>

#include "../../support/test.h"

using namespace platform;

namespace {

TEST(AsciiText, HasCaseInAsciiLettersOnly) {
    EXPECT_EQ(asciiLowered("AZ@[Ä"), "az@[Ä");
    EXPECT_EQ(asciiUpper('z'), 'Z');
    EXPECT_EQ(asciiUpper('{'), '{');
    EXPECT_TRUE(equalIgnoringCase("Office", "oFFICE"));
    EXPECT_FALSE(equalIgnoringCase("Office", "Offic"));
    EXPECT_FALSE(equalIgnoringCase("Ä", "ä"));
}

TEST(HexDigits, AreReadInEitherCaseAndWrittenInUpperCase) {
    EXPECT_EQ(hexText(std::string_view("\x00\x9a\xff", 3)), "009AFF");
    EXPECT_EQ(hexNumber(0x202E), "202E");
    EXPECT_EQ(hexNumber(0x1B, 8), "0000001B");
    EXPECT_EQ(hexNumber(0), "0");
    for (unsigned value = 0; value < 16; ++value) {
        EXPECT_EQ(hexValue(hexDigit(value)), value);
        EXPECT_EQ(hexValue(asciiLower(hexDigit(value))), value);
    }
    for (const char c : {'/', ':', '@', 'G', '`', 'g', '\0', '\xC1'}) EXPECT_EQ(hexValue(c), std::nullopt) << c;
}

std::string hiddenRanges() {
    std::ostringstream ranges;
    ranges << std::hex << std::uppercase;
    for (char32_t first = 0; first < 0x110000; ++first) {
        if (!isHidden(first)) continue;
        char32_t last = first;
        while (isHidden(last + 1)) ++last;
        ranges << static_cast<std::uint32_t>(first) << '-' << static_cast<std::uint32_t>(last) << ' ';
        first = last;
    }
    return ranges.str();
}

TEST(TextOfOthers, CanNotActOnAReader) {
    EXPECT_EQ(escaped("a\u200Bb\u2064\uFEFF\u00AD\U000E0041\u2029"),
              "a\\u{200B}b\\u{2064}\\u{FEFF}\\xAD\\u{E0041}\\u{2029}");
    EXPECT_EQ(hiddenRanges(), "0-1F 7F-9F AD-AD 34F-34F 61C-61C 115F-1160 17B4-17B5 180B-180F 200B-200F 2028-202E "
                              "2060-206F 3164-3164 FEFF-FEFF FFA0-FFA0 FFF9-FFFB 1D173-1D17A E0000-E0FFF ");
    EXPECT_EQ(escaped("Bürö №1 東京 🔑"), "Bürö №1 東京 🔑");
    EXPECT_EQ(escaped(std::string("a\x1B\r\t\0\x7F\u009B", 8)), "a\\x1B\\x0D\\x09\\x00\\x7F\\x9B");
    EXPECT_EQ(escaped("\xFF\xC3\xC0\xAF\xED\xA0\x80"),
              "\\xFF\\xC3\\xC0\\xAF\\xED\\xA0\\x80"); // overlong, half a surrogate
    EXPECT_EQ(platform::escapedJson("\"\u200B\U000E0FFF\"\n"), "\"\\u200B\\uDB43\\uDFFF\"\n");
    EXPECT_EQ(quotedName("a\"b\\"), "\"a\\\"b\\\\\"");
    EXPECT_EQ(shortened("abc", 3), "abc");
    EXPECT_EQ(shortened("aüb", 2), "a...") << "characters stay whole";
    EXPECT_EQ(shortened("\xFF\xFF\xFF", 2), "\xFF\xFF...");
    EXPECT_EQ(quotedName(std::string(300, 'x')), "\"" + std::string(200, 'x') + "...\"");
}

TEST(JoinedNames, HaveTheSeparatorBetweenThem) {
    EXPECT_EQ(joined(std::vector<std::string>{}), "");
    EXPECT_EQ(joined(std::vector<std::string>{"IKE", "LOG"}), "IKE, LOG");
    EXPECT_EQ(joined(std::vector<std::string>{"", "LOG"}, "; "), "; LOG") << "an empty name is a name";
    EXPECT_EQ(joined(std::vector<int>{1, 2}, ",", [](int number) { return std::to_string(10 * number); }), "10,20");
}

TEST(UtcText, IsTheSameEverywhere) {
    EXPECT_EQ(isoText(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(isoText(951827696), "2000-02-29T12:34:56Z");
    EXPECT_EQ(dateText(951827696), "2000-02-29");
    EXPECT_EQ(clockText(951827696), "12:34:56");
    EXPECT_EQ(isoText(lastTime), "9999-12-31T23:59:59Z");
    EXPECT_EQ(isoText(~std::uint64_t{0}), isoText(lastTime)) << "records may hold any number";
}

} // namespace
