// SPDX-License-Identifier: MIT
#include <panelkit/format/ipv4.h>

#include "../../support/address_judge.h"
#include "../../support/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <regex>
#include <string>

using namespace panelkit;

namespace {

using Bits = std::array<bool, 32>; // the most significant first

Bits bitsOf(IPv4Address address) {
    Bits bits{};
    for (std::size_t i = 0; i < 32; ++i) bits[i] = (address >> (31 - i) & 1) != 0;
    return bits;
}

IPv4Address valueOf(const Bits& bits) {
    IPv4Address address = 0;
    for (const bool bit : bits) address = address * 2 + (bit ? 1 : 0);
    return address;
}

IPv4Address maskOf(unsigned length) {
    Bits bits{};
    std::fill_n(bits.begin(), length, true);
    return valueOf(bits);
}

std::string text(IPv4Address address) {
    char buffer[IPv4TextSize];
    return ipv4ToText(address, buffer);
}

std::string text(const IPv4Range& range, MaskForm form) {
    char buffer[IPv4RangeTextSize];
    return ipv4RangeToText(range, form, buffer);
}

std::optional<IPv4Range> whole(std::string_view from) {
    IPv4Range range{7, 9};
    if (parseIPv4Range(from, range)) return range;
    EXPECT_EQ(range, (IPv4Range{7, 9})) << from; // left alone
    return std::nullopt;
}

std::optional<IPv4Range> piece(std::string_view from) {
    IPv4Range range{7, 9};
    if (parseIPv4Range(from.data(), from.data() + from.size(), range)) return range;
    EXPECT_EQ(range, IPv4Range()) << from; // cleared
    return std::nullopt;
}

// Pairs of addresses that are equal, blocks, blocks with one bit changed, near each other, or anything.
IPv4Range randomPair(Random& random) {
    const IPv4Address a = random();
    const IPv4Address mask = maskOf(random.below(33));
    switch (random.below(5)) {
    case 0: return {a, a};
    case 1: return {a & mask, a | ~mask};
    case 2: return {a & mask, (a | ~mask) ^ 1U << random.below(32)};
    case 3: return {a, a + random.below(1000)};
    default: return {a, random()};
    }
}

// ---- texts

TEST(AnIPv4Address, HasTheTextAndTheValueOfTheSystem) {
    Random random(1);
    for (int round = 0; round < 100'000; ++round) {
        IPv4Address address = 0;
        for (int octet = 0; octet < 4; ++octet) {
            const std::size_t ends[] = {10, 100, 256}; // one, two and three digits
            address = address << 8 | random.below(ends[random.below(std::size(ends))]);
        }
        const std::string shown = text(address);
        ASSERT_EQ(shown, judgeIPv4Text(address));
        ASSERT_EQ(parseIPv4(shown), judgeIPv4(shown)) << shown;
    }
    EXPECT_EQ(text(0xFFFFFFFF), "255.255.255.255");
}

TEST(AnIPv4Mask, ShowsDottedOrAsItsLeadingOnes) {
    char buffer[IPv4TextSize];
    for (unsigned length = 0; length <= 32; ++length) {
        const IPv4Address mask = maskOf(length);
        EXPECT_EQ(ipv4MaskToText(mask, MaskForm::PrefixLength, buffer), "/" + std::to_string(length));
        EXPECT_EQ(ipv4MaskToText(mask, MaskForm::Dotted, buffer), judgeIPv4Text(mask));
    }
    // The length of a mask with holes does not describe the mask completely.
    EXPECT_STREQ(ipv4MaskToText(0xFF00FF00, MaskForm::PrefixLength, buffer), "/8");
    EXPECT_STREQ(ipv4MaskToText(0x00FFFFFF, MaskForm::PrefixLength, buffer), "/0");
}

TEST(AnIPv4Network, ShowsItsAddressAsItIs) {
    char buffer[IPv4NetworkTextSize];
    EXPECT_STREQ(ipv4NetworkToText(0x0A000007, 0xFFFFFF00, MaskForm::Dotted, buffer), "10.0.0.7/255.255.255.0");
    EXPECT_STREQ(ipv4NetworkToText(0x0A000007, 0xFFFFFF00, MaskForm::PrefixLength, buffer), "10.0.0.7/24");
    EXPECT_STREQ(ipv4NetworkToText(0xFFFFFFFF, 0xFFFFFFFF, MaskForm::Dotted, buffer),
                 "255.255.255.255/255.255.255.255");
}

TEST(AnIPv4Range, ShowsAsAddressBlockOrPair) {
    const auto expectTexts = [](const IPv4Range& range, const char* dotted, const char* prefix) {
        EXPECT_EQ(text(range, MaskForm::Dotted), dotted);
        EXPECT_EQ(text(range, MaskForm::PrefixLength), prefix);
    };
    expectTexts({0x0A000001, 0x0A000001}, "10.0.0.1", "10.0.0.1");
    expectTexts({0x0A000000, 0x0A0000FF}, "10.0.0.0/255.255.255.0", "10.0.0.0/24");
    expectTexts({0x0A000000, 0x0A000001}, "10.0.0.0/255.255.255.254", "10.0.0.0/31");
    expectTexts({0, 0xFFFFFFFF}, "0.0.0.0/0.0.0.0", "0.0.0.0/0");
    expectTexts({0x0A000001, 0x0A000005}, "10.0.0.1..10.0.0.5", "10.0.0.1..10.0.0.5");
    expectTexts({0xFFFFFF64, 0xFFFFFFFE}, "255.255.255.100..255.255.255.254", "255.255.255.100..255.255.255.254");
}

// No last address is set, so the range is shown as its first address, although by its values it runs backwards. Other
// such ranges are shown as they are, and no parser accepts them.
TEST(AnIPv4Range, ShowsAsItsFirstAddressWhenTheLastIsZero) {
    EXPECT_EQ(text({0x0A000001, 0}, MaskForm::Dotted), "10.0.0.1");
    EXPECT_EQ(text({0, 0}, MaskForm::PrefixLength), "0.0.0.0");
    EXPECT_EQ(text({0x0A000005, 0x0A000001}, MaskForm::Dotted), "10.0.0.5..10.0.0.1");
}

// ---- blocks

bool isBlockBitByBit(const IPv4Range& range) {
    const Bits first = bitsOf(range.first), last = bitsOf(range.last);
    std::size_t i = 0;
    while (i < 32 && first[i] == last[i]) ++i;
    while (i < 32 && !first[i] && last[i]) ++i;
    return i == 32;
}

IPv4Prefix commonBitByBit(IPv4Address a, IPv4Address b) {
    const Bits left = bitsOf(a), right = bitsOf(b);
    Bits shared{}, mask{};
    for (std::size_t i = 0; i < 32 && left[i] == right[i]; ++i) {
        shared[i] = left[i];
        mask[i] = true;
    }
    return {valueOf(shared), valueOf(mask)};
}

TEST(IPv4Ranges, AgreeWithABitByBitModelOverRandomPairs) {
    Random random(2);
    int blocks = 0;
    for (int round = 0; round < 100'000; ++round) {
        const IPv4Range range = randomPair(random);
        SCOPED_TRACE(text(range.first) + " " + text(range.last));
        const bool isBlock = isBlockBitByBit(range);
        const IPv4Prefix common = commonBitByBit(range.first, range.last);
        ASSERT_EQ(isIPv4Block(range), isBlock);
        IPv4Address mask = 7;
        ASSERT_EQ(ipv4BlockMask(range, mask), isBlock);
        ASSERT_EQ(mask, isBlock ? common.mask : 7);
        ASSERT_EQ(commonIPv4Prefix(range.first, range.last), common);
        blocks += isBlock;

        // A shown range can be read back, unless it runs backwards; of those only single addresses can.
        const bool single = range.last == 0 || range.first == range.last;
        const std::optional<IPv4Range> expected = single                      ? IPv4Range{range.first, range.first}
                                                  : range.first <= range.last ? std::optional(range)
                                                                              : std::nullopt;
        for (const MaskForm form : {MaskForm::Dotted, MaskForm::PrefixLength}) {
            ASSERT_EQ(whole(text(range, form)), expected);
            ASSERT_EQ(piece(text(range, form)), expected);
        }
    }
    EXPECT_GT(blocks, 40'000);
    EXPECT_LT(blocks, 60'000);
}

// ---- parsing addresses

TEST(AParsedAddress, IsZeroForEveryError) {
    for (const char* from :
         {"", ".", "1", "1.2.3", "1.2.3.", "1.2.3.4.", "1.2.3.4.5", ".1.2.3.4", "1..2.3", "256.0.0.1", "1.2.3.256",
          "1.2.3.4294967297", " 1.2.3.4", "1.2.3.4 ", "1.2.3.4/24", "-1.2.3.4", "a.b.c.d", "1.2.3.0x4", "0.0.0.0"}) {
        EXPECT_EQ(parseIPv4(from), 0U) << from;
    }
    EXPECT_EQ(parseIPv4(std::string_view("1.2.3.4\0", 8)), 0U);
}

// inet_pton refuses leading zeros and inet_aton reads them as octal; here they change nothing.
TEST(AParsedAddress, MayHaveLeadingZerosInItsParts) {
    EXPECT_EQ(parseIPv4("010.000.0000000000000000008.255"), 0x0A0008FFU);
    EXPECT_EQ(parseIPv4("010.0.0.0256"), 0U);
}

TEST(AParsedAddress, CanBeTheFrontOfAText) {
    IPv4Address address = 7;
    std::size_t end = 7;
    for (const char* from : {"1.2.3.4", "1.2.3.4.5", "1.2.3.4..", "1.2.3.4x", "1.2.3.4 1.2.3.4"}) {
        address = 7;
        end = 0;
        EXPECT_TRUE(parseIPv4Partial(from, address, end)) << from;
        EXPECT_EQ(address, 0x01020304U);
        EXPECT_EQ(end, 7U);
    }
    address = 7;
    for (const char* from : {"", "1.2.3", "1.2.3.x", "1.2.3.4567", "x1.2.3.4"}) {
        EXPECT_FALSE(parseIPv4Partial(from, address, end)) << from;
        EXPECT_EQ(address, 7U);
        EXPECT_EQ(end, 7U);
    }
}

TEST(ADottedNumber, HasOnlyDigitsAndDotsAndAtLeastOneDot) {
    for (const char* from : {"1.2.3.4", ".", "1.", "...", "999.1"}) EXPECT_TRUE(isDottedNumber(from)) << from;
    for (const char* from : {"", "1", "1234", "1.2.3.4 ", "a.b", "1.2/3", "-1.2"})
        EXPECT_FALSE(isDottedNumber(from)) << from;
}

// ---- parsing ranges

constexpr IPv4Range network{0x0A000000, 0x0A0000FF};

TEST(AParsedRange, HasFiveFormsOfWhichAPieceOfTextLacksTheColon) {
    EXPECT_EQ(whole("10.0.0.7"), (IPv4Range{0x0A000007, 0x0A000007}));
    EXPECT_EQ(whole("10.0.0.1..10.0.0.5"), (IPv4Range{0x0A000001, 0x0A000005}));
    EXPECT_EQ(whole("10.0.0.1..10.0.0.1"), (IPv4Range{0x0A000001, 0x0A000001}));
    EXPECT_EQ(whole("10.0.0.7/24"), network);
    EXPECT_EQ(whole("10.0.0.7/255.255.255.0"), network);
    EXPECT_EQ(whole("10.0.0.7:255.255.255.0"), network);

    EXPECT_EQ(piece("10.0.0.7"), (IPv4Range{0x0A000007, 0x0A000007}));
    EXPECT_EQ(piece("10.0.0.1..10.0.0.5"), (IPv4Range{0x0A000001, 0x0A000005}));
    EXPECT_EQ(piece("10.0.0.7/24"), network);
    EXPECT_EQ(piece("10.0.0.7/255.255.255.0"), network);
    EXPECT_EQ(piece("10.0.0.7:255.255.255.0"), std::nullopt);
}

TEST(AParsedRange, TakesEveryMaskOfLeadingOnes) {
    for (unsigned length = 0; length <= 32; ++length) {
        const IPv4Address mask = maskOf(length);
        const IPv4Range expected{0x0A00C807 & mask, 0x0A00C807 | ~mask};
        const std::string shortForm = "10.0.200.7/" + std::to_string(length);
        const std::string dotted = "10.0.200.7/" + text(mask);
        EXPECT_EQ(whole(shortForm), expected);
        EXPECT_EQ(piece(shortForm), expected);
        EXPECT_EQ(whole(dotted), expected);
        EXPECT_EQ(piece(dotted), expected);
        EXPECT_EQ(whole("10.0.200.7:" + text(mask)), expected);
    }
}

// A piece of text with a mask with holes returns a range with more addresses than the mask matches.
TEST(AParsedRange, TakesAMaskWithHolesOnlyInAPieceOfText) {
    EXPECT_EQ(whole("10.1.2.3/255.0.255.0"), std::nullopt);
    EXPECT_EQ(whole("10.1.2.3:255.0.255.0"), std::nullopt);
    EXPECT_EQ(whole("10.1.2.3/0.0.0.255"), std::nullopt);
    EXPECT_EQ(piece("10.1.2.3/255.0.255.0"), (IPv4Range{0x0A000200, 0x0AFF02FF}));
    EXPECT_EQ(piece("10.1.2.3/0.0.0.255"), (IPv4Range{0x00000003, 0xFFFFFF03}));
}

// In a whole text a comment, a prefix length or a typing error after the second address has no effect.
TEST(AParsedRange, IgnoresWhatFollowsTheSecondAddressOnlyInAWholeText) {
    for (const char* from :
         {"10.0.0.1..10.0.0.5x", "10.0.0.1..10.0.0.5/8", "10.0.0.1..10.0.0.5.6", "10.0.0.1..10.0.0.5 "}) {
        EXPECT_EQ(whole(from), (IPv4Range{0x0A000001, 0x0A000005})) << from;
        EXPECT_EQ(piece(from), std::nullopt) << from;
    }
    EXPECT_EQ(whole("10.0.0.1..10.0.0.567"), std::nullopt); // still the second address
}

TEST(AParsedRange, FailsForAnythingElse) {
    for (const char* from : {"",
                             "10.0.0",
                             "10.0.0.9..10.0.0.1",
                             "10.0.0.1..",
                             "10.0.0.1...10.0.0.2",
                             "10.0.0.1..10.0.0",
                             "10.0.0.1.10.0.0.2",
                             "10.0.0.1-10.0.0.2",
                             "10.0.0.1 ",
                             " 10.0.0.1",
                             "10.0.0.1/",
                             "10.0.0.1:",
                             "10.0.0.1/33",
                             "10.0.0.1/-1",
                             "10.0.0.1/+1",
                             "10.0.0.1/24 ",
                             "10.0.0.1/24x",
                             "10.0.0.1/4294967304",
                             "10.0.0.1/255.255.255",
                             "10.0.0.1/255.255.255.0x",
                             "10.0.0.1:24",
                             "10.0.0.1/24/24",
                             "10.0.0.1/24..10.0.0.2",
                             "/24",
                             "..10.0.0.1",
                             "10.0.0.1,10.0.0.2"}) {
        EXPECT_EQ(whole(from), std::nullopt) << from;
        EXPECT_EQ(piece(from), std::nullopt) << from;
    }
}

TEST(AParsedRange, LooksAtNothingBeyondThePiece) {
    const std::string list = "10.0.0.1..10.0.0.5,10.0.0.7/24";
    IPv4Range range;
    EXPECT_TRUE(parseIPv4Range(list.data(), list.data() + 18, range));
    EXPECT_EQ(range, (IPv4Range{0x0A000001, 0x0A000005}));
    EXPECT_TRUE(parseIPv4Range(list.data() + 19, list.data() + list.size(), range));
    EXPECT_EQ(range, network);
    EXPECT_TRUE(parseIPv4Range(list.data(), list.data() + 8, range));
    EXPECT_EQ(range, (IPv4Range{0x0A000001, 0x0A000001}));
    EXPECT_FALSE(parseIPv4Range(nullptr, nullptr, range));
}

// ---- the whole grammar against regular expressions

std::optional<IPv4Address> modelAddress(const std::string& from) {
    static const std::string octet = "0*([0-9]{1,3})";
    static const std::regex form(octet + "\\." + octet + "\\." + octet + "\\." + octet);
    std::smatch parts;
    if (!std::regex_match(from, parts, form)) return std::nullopt;
    IPv4Address address = 0;
    for (std::size_t i = 1; i <= 4; ++i) {
        const int value = std::stoi(parts[i]);
        if (value > 255) return std::nullopt;
        address = address * 256 + static_cast<IPv4Address>(value);
    }
    return address;
}

bool hasLeadingOnesOnly(IPv4Address mask) {
    for (unsigned length = 0; length <= 32; ++length) {
        if (mask == maskOf(length)) return true;
    }
    return false;
}

// The text after a slash or a colon.
std::optional<IPv4Address> modelMask(const std::string& from, const std::string& delimiter, bool isPiece) {
    static const std::regex length("0*([0-9]{1,2})");
    std::smatch digits;
    if (delimiter == "/" && std::regex_match(from, digits, length)) {
        const int value = std::stoi(digits[1]);
        return value <= 32 ? std::optional(maskOf(static_cast<unsigned>(value))) : std::nullopt;
    }
    const auto mask = modelAddress(from);
    return mask && (isPiece || hasLeadingOnesOnly(*mask)) ? mask : std::nullopt;
}

std::optional<IPv4Range> modelRange(const std::string& from, bool isPiece) {
    static const std::string address = "((?:[0-9]+\\.){3}[0-9]+)";
    static const std::regex wholeForm(address + "(?:\\.\\." + address + "[\\s\\S]*|([/:])(.*))?");
    static const std::regex pieceForm(address + "(?:\\.\\." + address + "|(/)(.*))?");
    std::smatch parts;
    if (!std::regex_match(from, parts, isPiece ? pieceForm : wholeForm)) return std::nullopt;
    const auto first = modelAddress(parts[1]);
    if (!first) return std::nullopt;
    if (parts[2].matched) {
        const auto last = modelAddress(parts[2]);
        return last && *last >= *first ? std::optional(IPv4Range{*first, *last}) : std::nullopt;
    }
    if (!parts[3].matched) return IPv4Range{*first, *first};
    const auto mask = modelMask(parts[4], parts[3], isPiece);
    return mask ? std::optional(IPv4Range{*first & *mask, *first | ~*mask}) : std::nullopt;
}

std::string randomRangeText(Random& random) {
    const char* const parts[] = {"10.0.0.7",
                                 "10.0.0.9",
                                 "0.0.0.0",
                                 "255.255.255.255",
                                 "010.1.2.003",
                                 "255.255.0.0",
                                 "255.0.255.0",
                                 "24",
                                 "0",
                                 "32",
                                 "33",
                                 "008",
                                 "256.1.1.1",
                                 "1.2.3",
                                 ""};
    const char* const delimiters[] = {"..", "/", ":", ".", "...", "-", "", ",", " "};
    std::string made = parts[random.below(5)];
    for (unsigned more = random.below(8); more > 0 && more < 7; more /= 3) {
        made += delimiters[random.below(random.below(4) ? 3 : std::size(delimiters))];
        made += parts[random.below(std::size(parts))];
    }
    // Every second text gets a typing error.
    if (random.below(2) && !made.empty()) {
        const std::size_t at = random.below(made.size());
        const char with = "0123456789./:. x\n-"[random.below(18)];
        random.below(2) ? made.insert(at, 1, with) : made.replace(at, 1, 1, with);
    }
    return made;
}

TEST(AParsedRange, AgreesWithRegularExpressionsOverRandomTexts) {
    Random random(5);
    int accepted = 0, differing = 0;
    constexpr int rounds = 10'000;
    for (int round = 0; round < rounds; ++round) {
        const std::string from = randomRangeText(random);
        SCOPED_TRACE(from);
        const auto inWhole = modelRange(from, false);
        const auto inPiece = modelRange(from, true);
        ASSERT_EQ(whole(from), inWhole);
        ASSERT_EQ(piece(from), inPiece);
        ASSERT_EQ(parseIPv4(from), modelAddress(from).value_or(0));
        accepted += inWhole.has_value();
        differing += inWhole != inPiece;
    }
    EXPECT_GT(accepted, rounds / 5);
    EXPECT_LT(accepted, rounds * 4 / 5);
    EXPECT_GT(differing, rounds / 50);
}

} // namespace
