// SPDX-License-Identifier: MIT
#include <panelkit/format/ipv4.h>

#include "../../support/test.h"

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

TEST(AnIPv4Address, HasATextOfFourNumbers) {
    const std::pair<IPv4Address, const char*> rows[] = {
        {0, "0.0.0.0"}, {0x0A630107, "10.99.1.7"}, {0x64C86400, "100.200.100.0"}, {0xFFFFFFFF, "255.255.255.255"}};
    for (const auto& [address, shown] : rows) {
        EXPECT_EQ(text(address), shown);
        EXPECT_EQ(parseIPv4(shown), address);
    }
}

TEST(AnIPv4Mask, ShowsDottedOrAsItsLeadingOnes) {
    char buffer[IPv4TextSize];
    for (unsigned length = 0; length <= 32; ++length) {
        EXPECT_EQ(ipv4MaskToText(maskOf(length), MaskForm::PrefixLength, buffer), "/" + std::to_string(length));
        EXPECT_EQ(ipv4MaskToText(maskOf(length), MaskForm::Dotted, buffer), text(maskOf(length)));
    }
    // The length of a mask with holes does not describe the mask completely.
    EXPECT_STREQ(ipv4MaskToText(0xFF00FF00, MaskForm::PrefixLength, buffer), "/8");
    EXPECT_STREQ(ipv4MaskToText(0x00FFFFFF, MaskForm::PrefixLength, buffer), "/0");
    char network[IPv4NetworkTextSize];
    EXPECT_STREQ(ipv4NetworkToText(0x0A000007, 0xFFFFFF00, MaskForm::Dotted, network), "10.0.0.7/255.255.255.0");
    EXPECT_STREQ(ipv4NetworkToText(0x0A000007, 0xFFFFFF00, MaskForm::PrefixLength, network), "10.0.0.7/24");
    EXPECT_STREQ(ipv4NetworkToText(0xFFFFFFFF, 0xFFFFFFFF, MaskForm::Dotted, network),
                 "255.255.255.255/255.255.255.255");
}

// A last address of zero means that none is set, so the range is shown as its first address. Other ranges that run
// backwards are shown as they are, and no parser accepts them.
TEST(AnIPv4Range, ShowsAsAddressBlockOrPair) {
    const struct {
        IPv4Range range;
        const char *dotted, *prefix;
    } rows[] = {
        {{0x0A000001, 0x0A000001}, "10.0.0.1", "10.0.0.1"},
        {{0x0A000000, 0x0A0000FF}, "10.0.0.0/255.255.255.0", "10.0.0.0/24"},
        {{0x0A000000, 0x0A000001}, "10.0.0.0/255.255.255.254", "10.0.0.0/31"},
        {{0, 0xFFFFFFFF}, "0.0.0.0/0.0.0.0", "0.0.0.0/0"},
        {{0x0A000001, 0x0A000005}, "10.0.0.1..10.0.0.5", "10.0.0.1..10.0.0.5"},
        {{0xFFFFFF64, 0xFFFFFFFE}, "255.255.255.100..255.255.255.254", "255.255.255.100..255.255.255.254"},
        {{0x0A000001, 0}, "10.0.0.1", "10.0.0.1"},
        {{0, 0}, "0.0.0.0", "0.0.0.0"},
        {{0x0A000005, 0x0A000001}, "10.0.0.5..10.0.0.1", "10.0.0.5..10.0.0.1"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(text(row.range, MaskForm::Dotted), row.dotted);
        EXPECT_EQ(text(row.range, MaskForm::PrefixLength), row.prefix);
    }
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
        // A hole leaves two addresses alone when it is all there is.
        for (unsigned bit = 0; bit < 32 - length; ++bit) {
            EXPECT_EQ(isIPv4Block({block.first, block.last ^ 1U << bit}), bit + 1 == 32 - length) << length << bit;
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

// inet_pton refuses leading zeros and inet_aton reads them as octal; here they change nothing.
TEST(AParsedAddress, IsZeroForEveryError) {
    for (const std::string_view from : {"", ".", "1", "1.2.3", "1.2.3.", "1.2.3.4.", "1.2.3.4.5", ".1.2.3.4", "1..2.3",
                                        "256.0.0.1", "1.2.3.256", "1.2.3.4294967297", " 1.2.3.4", "1.2.3.4 ",
                                        "1.2.3.4/24", "-1.2.3.4", "a.b.c.d", "1.2.3.0x4", "10.0.0.0256"}) {
        EXPECT_EQ(parseIPv4(from), 0U) << from;
    }
    EXPECT_EQ(parseIPv4(std::string_view("1.2.3.4\0", 8)), 0U);
    EXPECT_EQ(parseIPv4("010.000.0000000000000000008.255"), 0x0A0008FFU);
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

constexpr IPv4Range network{0x0A000000, 0x0A0000FF}, fromOneToFive{0x0A000001, 0x0A000005};

// A piece of a text has no form with a colon, and a mask with holes returns a range with more addresses than the mask
// matches. In a whole text a comment, a prefix length or a typing error after the second address has no effect.
TEST(AParsedRange, DependsOnItsFormAndOnWhetherItIsAWholeText) {
    using Found = std::optional<IPv4Range>;
    constexpr auto none = std::nullopt;
    const struct {
        std::string_view from;
        Found whole, piece;
    } rows[] = {
        {"10.0.0.7", {{0x0A000007, 0x0A000007}}, {{0x0A000007, 0x0A000007}}},
        {"10.0.0.1..10.0.0.5", fromOneToFive, fromOneToFive},
        {"10.0.0.1..10.0.0.1", {{0x0A000001, 0x0A000001}}, {{0x0A000001, 0x0A000001}}},
        {"10.0.0.7/24", network, network},
        {"10.0.0.7/255.255.255.0", network, network},
        {"10.0.0.7:255.255.255.0", network, none},
        {"10.1.2.3/255.0.255.0", none, {{0x0A000200, 0x0AFF02FF}}},
        {"10.1.2.3:255.0.255.0", none, none},
        {"10.1.2.3/0.0.0.255", none, {{0x00000003, 0xFFFFFF03}}},
        {"10.0.0.1..10.0.0.5x", fromOneToFive, none},
        {"10.0.0.1..10.0.0.5/8", fromOneToFive, none},
        {"10.0.0.1..10.0.0.5.6", fromOneToFive, none},
        {"10.0.0.1..10.0.0.5 ", fromOneToFive, none},
        {"10.0.0.1..10.0.0.567", none, none}, // still the second address
    };
    for (const auto& row : rows) {
        EXPECT_EQ(whole(row.from), row.whole) << row.from;
        EXPECT_EQ(piece(row.from), row.piece) << row.from;
    }
    for (unsigned length = 0; length <= 32; ++length) {
        const IPv4Range expected{0x0A00C807 & maskOf(length), 0x0A00C807 | ~maskOf(length)};
        for (const std::string& mask : {std::to_string(length), text(maskOf(length))}) {
            EXPECT_EQ(whole("10.0.200.7/" + mask), expected);
            EXPECT_EQ(piece("10.0.200.7/" + mask), expected);
        }
        EXPECT_EQ(whole("10.0.200.7:" + text(maskOf(length))), expected);
    }
}

TEST(AParsedRange, FailsForAnythingElse) {
    // clang-format off
    for (const std::string_view from : {
        "", "10.0.0", "10.0.0.9..10.0.0.1", "10.0.0.1..", "10.0.0.1...10.0.0.2", "10.0.0.1..10.0.0",
        "10.0.0.1.10.0.0.2", "10.0.0.1-10.0.0.2", "10.0.0.1 ", " 10.0.0.1", "10.0.0.1/", "10.0.0.1:", "10.0.0.1/33",
        "10.0.0.1/-1", "10.0.0.1/+1", "10.0.0.1/24 ", "10.0.0.1/24x", "10.0.0.1/4294967304", "10.0.0.1/255.255.255",
        "10.0.0.1/255.255.255.0x", "10.0.0.1:24", "10.0.0.1/24/24", "10.0.0.1/24..10.0.0.2", "/24", "..10.0.0.1",
        "10.0.0.1,10.0.0.2"}) {
        // clang-format on
        EXPECT_EQ(whole(from), std::nullopt) << from;
        EXPECT_EQ(piece(from), std::nullopt) << from;
    }
}

TEST(AParsedRange, LooksAtNothingBeyondThePiece) {
    const std::string_view list = "10.0.0.1..10.0.0.5,10.0.0.7/24";
    EXPECT_EQ(piece(list.substr(0, 18)), fromOneToFive);
    EXPECT_EQ(piece(list.substr(19)), network);
    EXPECT_EQ(piece(list.substr(0, 8)), (IPv4Range{0x0A000001, 0x0A000001}));
    IPv4Range range;
    EXPECT_FALSE(parseIPv4Range(nullptr, nullptr, range));
}

} // namespace
