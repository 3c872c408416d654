// SPDX-License-Identifier: MIT
//
// The tables are those of the published code pages, not the output of a system's converter: so both systems are tested
// against the same, for every byte and every character of the basic plane. Where the systems' converters differ (the
// bytes that 1251 and 1252 leave empty), the tables have the rule of convi.
#include <platform/codepage/convi.h>

#include "../../support/bytes.h"
#include "../../support/test.h"

namespace {

constexpr std::uint32_t utf8 = 65001;

std::string converted(std::string_view source, std::uint32_t from, std::uint32_t to) {
    const convi converter(from, to);
    const std::size_t size = converter.get_outsize(source.data(), source.size());
    std::string result(size, '#');
    EXPECT_EQ(converter.convert_safe(source.data(), source.size(), result.data(), size), size);
    return result;
}

// UTF-8 of a character of the basic plane, written here again, so that the test does not use the code under test.
std::string utf8Of(unsigned c) {
    const auto byte = [](unsigned value) { return static_cast<char>(value); };
    if (c < 0x80) return {byte(c)};
    if (c < 0x800) return {byte(0xC0 + c / 64), byte(0x80 + c % 64)};
    return {byte(0xE0 + c / 4096), byte(0x80 + c / 64 % 64), byte(0x80 + c % 64)};
}

struct Page {
    std::uint32_t number;
    const char16_t* upperHalf; // the characters of 80..FF; below, all of these pages are ASCII
};

// clang-format off
constexpr Page pages[] = {
    {437,
     u"ÇüéâäàåçêëèïîìÄÅ" u"ÉæÆôöòûùÿÖÜ¢£¥₧ƒ"
     u"áíóúñÑªº¿⌐¬½¼¡«»" u"░▒▓│┤╡╢╖╕╣║╗╝╜╛┐"
     u"└┴┬├─┼╞╟╚╔╩╦╠═╬╧" u"╨╤╥╙╘╒╓╫╪┘┌█▄▌▐▀"
     u"αßΓπΣσµτΦΘΩδ∞φε∩" u"≡±≥≤⌠⌡÷≈°∙·√ⁿ²■\u00A0"},
    {850,
     u"ÇüéâäàåçêëèïîìÄÅ" u"ÉæÆôöòûùÿÖÜø£Ø×ƒ"
     u"áíóúñÑªº¿®¬½¼¡«»" u"░▒▓│┤ÁÂÀ©╣║╗╝¢¥┐"
     u"└┴┬├─┼ãÃ╚╔╩╦╠═╬¤" u"ðÐÊËÈıÍÎÏ┘┌█▄¦Ì▀"
     u"ÓßÔÒõÕµþÞÚÛÙýÝ¯´" u"\u00AD±‗¾¶§÷¸°¨·¹³²■\u00A0"},
    {866,
     u"АБВГДЕЖЗИЙКЛМНОП" u"РСТУФХЦЧШЩЪЫЬЭЮЯ"
     u"абвгдежзийклмноп" u"░▒▓│┤╡╢╖╕╣║╗╝╜╛┐"
     u"└┴┬├─┼╞╟╚╔╩╦╠═╬╧" u"╨╤╥╙╘╒╓╫╪┘┌█▄▌▐▀"
     u"рстуфхцчшщъыьэюя" u"ЁёЄєЇїЎў°∙·√№¤■\u00A0"},
    {1251,
     u"ЂЃ‚ѓ„…†‡€‰Љ‹ЊЌЋЏ" u"ђ‘’“”•–—\x98™љ›њќћџ"
     u"\u00A0ЎўЈ¤Ґ¦§Ё©Є«¬\u00AD®Ї" u"°±Ііґµ¶·ё№є»јЅѕї"
     u"АБВГДЕЖЗИЙКЛМНОП" u"РСТУФХЦЧШЩЪЫЬЭЮЯ"
     u"абвгдежзийклмноп" u"рстуфхцчшщъыьэюя"},
    {1252,
     u"€\x81‚ƒ„…†‡ˆ‰Š‹Œ\x8DŽ\x8F" u"\x90‘’“”•–—˜™š›œ\x9DžŸ"
     u"\u00A0¡¢£¤¥¦§¨©ª«¬\u00AD®¯" u"°±²³´µ¶·¸¹º»¼½¾¿"
     u"ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏ" u"ÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞß"
     u"àáâãäåæçèéêëìíîï" u"ðñòóôõö÷øùúûüýþÿ"},
    {20866,
     u"─│┌┐└┘├┤┬┴┼▀▄█▌▐" u"░▒▓⌠■∙√≈≤≥\u00A0⌡°²·÷"
     u"═║╒ё╓╔╕╖╗╘╙╚╛╜╝╞" u"╟╠╡Ё╢╣╤╥╦╧╨╩╪╫╬©"
     u"юабцдефгхийклмно" u"пярстужвьызшэщчъ"
     u"ЮАБЦДЕФГХИЙКЛМНО" u"ПЯРСТУЖВЬЫЗШЭЩЧЪ"},
};
// clang-format on

unsigned characterAt(const Page& page, unsigned byte) { return byte < 0x80 ? byte : page.upperHalf[byte - 0x80]; }

TEST(ACodePage, GivesEveryByteItsCharacter) {
    for (const Page& page : pages) {
        ASSERT_EQ(std::u16string_view(page.upperHalf).size(), 128U) << page.number;
        std::string bytes, expected;
        for (unsigned byte = 0; byte < 256; ++byte) {
            bytes += static_cast<char>(byte);
            expected += utf8Of(characterAt(page, byte));
        }
        EXPECT_EQ(converted(bytes, page.number, utf8), expected) << page.number;
    }
}

TEST(ACodePage, HasItsOwnCharactersOfTheBasicPlaneAndAQuestionMarkForAllOthers) {
    for (const Page& page : pages) {
        std::map<unsigned, char> byteOf;
        for (unsigned byte = 0; byte < 256; ++byte) byteOf[characterAt(page, byte)] = static_cast<char>(byte);
        std::string text, expected;
        for (unsigned c = 0; c < 0x10000; ++c) {
            if (c >= 0xD800 && c <= 0xDFFF) continue;
            text += utf8Of(c);
            expected += byteOf.contains(c) ? byteOf[c] : '?';
        }
        EXPECT_EQ(converted(text, utf8, page.number), expected) << page.number;
    }
}

TEST(ACodePage, HasOneQuestionMarkForACharacterBeyondTheBasicPlane) {
    // Among them a tag character, which some converters drop silently.
    const std::string text = "a\U0001F511b\U000E0041c\U0010FFFF";
    for (const Page& page : pages) EXPECT_EQ(converted(text, utf8, page.number), "a?b?c?") << page.number;
    EXPECT_EQ(converted(text, utf8, utf8), text);
}

TEST(ACodePage, TurnsIntoAnotherWithoutUtf8BeingSeen) {
    EXPECT_EQ(converted(hex("cf f0 e8 e2 e5 f2 20 98"), 1251, 866), hex("8f e0 a8 a2 a5 e2 20") + "?");
    EXPECT_EQ(converted(hex("98"), 1251, 1251), hex("98"));
}

TEST(Convi, TakesEachLongestBeginningOfASequenceAsOneMalformedCharacter) {
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"80",                "?"},     // continuation bytes alone
        {"bf 80",             "??"},
        {"c3",                "?"},     // cut off by the end
        {"c3 'a'",            "?a"},    // cut off by another character
        {"e2 82 'a'",         "?a"},
        {"f0 9f 94 'a'",      "?a"},
        {"f0 9f 94",          "?"},
        {"e2 82 e2 82 ac",    "?\x88"}, // the next one is complete: the euro sign is 88 in 1251
        {"c0 af",             "??"},    // overlong forms
        {"e0 80 af",          "???"},
        {"f0 80 80 af",       "????"},
        {"ed a0 80",          "???"},   // a surrogate
        {"f4 90 80 80",       "????"},  // beyond 10FFFF
        {"f8 88 80 80 80",    "?????"}, // not a lead byte
        {"fe 'a' ff",         "?a?"},
    };
    // clang-format on
    for (const auto& [bytes, shown] : cases) {
        EXPECT_EQ(converted(hex(bytes), utf8, 1251), shown) << bytes;
        std::string replaced;
        for (const char c : std::string(shown)) {
            replaced += c == '?' ? "\uFFFD" : c == '\x88' ? "\u20AC" : std::string(1, c);
        }
        EXPECT_EQ(converted(hex(bytes), utf8, utf8), replaced) << bytes;
    }
}

TEST(Convi, ConvertsZeroBytesLikeOthers) {
    EXPECT_EQ(converted(std::string("\0П\0", 4), utf8, 866), hex("00 8f 00"));
    EXPECT_EQ(converted(hex("00 8f 00"), 866, utf8), std::string("\0П\0", 4));
}

TEST(Convi, HasNoSizeForAnEmptyTextAndForPagesItDoesNotKnow) {
    // clang-format off
    const std::pair<std::uint32_t, std::uint32_t> cases[] = {
        {utf8, 0}, {0, utf8}, {0, 0}, {1, utf8}, {utf8, 12345}, {99999, 866}, {65000, utf8}, {utf8, 1200},
    };
    // clang-format on
    char room[16] = "kept";
    for (const auto& [from, to] : cases) {
        EXPECT_EQ(convi(from, to).get_outsize("text", 4), 0U) << from << " " << to;
        EXPECT_EQ(convi(from, to).convert_safe("text", 4, room, sizeof(room)), 0U) << from << " " << to;
    }
    EXPECT_EQ(convi(utf8, 866).get_outsize("", 0), 0U);
    EXPECT_STREQ(room, "kept");
}

TEST(Convi, WritesNothingWhereTheResultDoesNotFit) {
    char room[4] = {'k', 'e', 'p', 't'};
    EXPECT_EQ(convi(866, utf8).convert_safe("\x8f\x8f", 2, room, 3), 0U);
    EXPECT_EQ(std::string(room, 4), "kept");
    EXPECT_EQ(convi(866, utf8).convert_safe("\x8f\x8f", 2, room, 4), 4U);
    EXPECT_EQ(std::string(room, 4), "ПП");
}

TEST(Convi, KnowsPagesByTheDigitsOfTheirNames) {
    for (const Page& page : pages) {
        EXPECT_EQ(convi::get_codepage_value(std::to_string(page.number).c_str()), page.number);
    }
    EXPECT_EQ(convi::get_codepage_value("65001"), utf8);
    for (const char* unknown : {"", "0", "x", "866x", "-866", " 866", "12345", "4294967296", "99999999999999999999"}) {
        EXPECT_EQ(convi::get_codepage_value(unknown), 0U) << unknown;
    }
}

// A long text is converted in parts, which end anywhere: here within a character of two bytes, for one of two
// beginnings.
TEST(Convi, CutsNoCharacterOfTwoBytes) {
    if (convi::get_codepage_value("932") == 0) GTEST_SKIP() << "this system does not know the page";
    for (const char* start : {"", "a"}) {
        std::string text = start, expected = start;
        for (int i = 0; i < 200; ++i) {
            text += "日";
            expected += "\x93\xfa";
        }
        EXPECT_EQ(converted(text, utf8, 932), expected);
        EXPECT_EQ(converted(expected, 932, utf8), text);
    }
}

TEST(Convi, IsExactForTextsOfAMegabyte) {
    std::string text, expected;
    for (int i = 0; i < 200'000; ++i) {
        text += "Пa\u2603"; // the snowman is in none of these pages
        expected += "\x8f"
                    "a?";
    }
    EXPECT_EQ(converted(text, utf8, 866), expected);
    EXPECT_EQ(converted(text, utf8, utf8), text);
}

} // namespace
