// SPDX-License-Identifier: MIT
#include <platform/system/clock.h>
#include <platform/text/ascii.h>
#include <platform/text/escape.h>
#include <platform/text/join.h>

#include <gtest/gtest.h>

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

TEST(TextOfOthers, CanNotActOnAReader) {
    EXPECT_EQ(escaped("a\u200Bb\u2064\uFEFF\u00AD\U000E0041\u2029"),
              "a\\u{200B}b\\u{2064}\\u{FEFF}\\xAD\\u{E0041}\\u{2029}");
    // The first and last of each range, and what is beside it.
    const char32_t bounds[] = {0x1F,   0x20,   0x7E,   0x7F,   0x9F,    0xA0,    0xAC,    0xAD,   0xAE,   0x61B,
                               0x61C,  0x61D,  0x180D, 0x180E, 0x180F,  0x200A,  0x200B,  0x200F, 0x2010, 0x2027,
                               0x2028, 0x202E, 0x202F, 0x205F, 0x2060,  0x206F,  0x2070,  0xFEFE, 0xFEFF, 0xFF00,
                               0xFFF8, 0xFFF9, 0xFFFB, 0xFFFC, 0xDFFFF, 0xE0000, 0xE007F, 0xE0080};
    std::string hidden;
    for (const char32_t one : bounds) hidden += isHidden(one) ? '1' : '0';
    EXPECT_EQ(hidden, "10"
                      "011"
                      "0"
                      "010"
                      "010"
                      "010"
                      "0110"
                      "0110"
                      "0110"
                      "010"
                      "0110"
                      "0110");
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
