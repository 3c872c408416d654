// SPDX-License-Identifier: MIT
#include <panelkit/format/ipv4.h>

#include "../../support/address_judge.h"
#include "../../support/random.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

using namespace panelkit;

namespace {

// Its leading ones, without a shift by 32.
IPv4Address maskOf(unsigned length) { return static_cast<IPv4Address>(0xFFFFFFFF'00000000 >> length); }

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

// ---- texts

TEST(AnIPv4Address, HasTheTextAndTheValueOfTheSystem) {
    Random random(1);
    for (int round = 0; round < 10'000; ++round) {
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

TEST(IPv4Ranges, AreBlocksOfEveryLengthAndNothingElse) {
    for (unsigned length = 0; length <= 32; ++length) {
        const IPv4Address mask = maskOf(length);
        const IPv4Range block{0x9A55C3A7 & mask, 0x9A55C3A7 | ~mask};
        IPv4Address found = 7;
        EXPECT_TRUE(isIPv4Block(block)) << length;
        EXPECT_TRUE(ipv4BlockMask(block, found));
        EXPECT_EQ(found, mask);
        EXPECT_EQ(commonIPv4Prefix(block.first, block.last), (IPv4Prefix{block.first, mask}));
        for (const MaskForm form : {MaskForm::Dotted, MaskForm::PrefixLength}) {
            EXPECT_EQ(whole(text(block, form)), block);
            EXPECT_EQ(piece(text(block, form)), block);
        }
        for (unsigned bit = 0; bit < 32 - length;
             ++bit) { // a hole, which leaves two addresses alone when it is all there is
            const IPv4Range other{block.first, block.last ^ 1U << bit};
            EXPECT_EQ(isIPv4Block(other), bit + 1 == 32 - length) << length << ' ' << bit;
        }
    }
    IPv4Address mask = 7;
    for (const IPv4Range& other : {IPv4Range{1, 2}, IPv4Range{1, 255}, IPv4Range{255, 0}, IPv4Range{0, 0x80000000}}) {
        EXPECT_FALSE(isIPv4Block(other)) << text(other, MaskForm::Dotted);
        EXPECT_FALSE(ipv4BlockMask(other, mask));
        EXPECT_EQ(mask, 7U) << "left alone";
    }
    EXPECT_EQ(commonIPv4Prefix(0x0A000001, 0x0A000002), (IPv4Prefix{0x0A000000, 0xFFFFFFFC}));
    EXPECT_EQ(commonIPv4Prefix(0, 0x80000000), (IPv4Prefix{0, 0}));
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

} // namespace
