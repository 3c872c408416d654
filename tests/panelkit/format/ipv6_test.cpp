// SPDX-License-Identifier: MIT
#include <panelkit/format/ipv6.h>

#include "../../support/address_judge.h"
#include "../../support/random.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

using namespace panelkit;

namespace {

std::string text(const IPv6Address& address) {
    char buffer[IPv6TextSize];
    return ipv6ToText(address, buffer);
}

std::optional<IPv6Address> parsed(std::string_view from) {
    const IPv6Address before{{7}};
    IPv6Address address = before;
    if (parseIPv6(from, address)) return address;
    EXPECT_EQ(address, before) << from; // left alone
    return std::nullopt;
}

// The address of a text that the system understands.
IPv6Address known(const std::string& from) { return {judgeIPv6(from).value()}; }

// Addresses with runs of zero and all-ones groups, so that every place of a double colon occurs.
IPv6Address randomAddress(Random& random) {
    IPv6Address address;
    for (std::size_t i = 0; i < 8; ++i) {
        const std::uint16_t groups[] = {0, 0, 0xFFFF, static_cast<std::uint16_t>(random.below(16)),
                                        static_cast<std::uint16_t>(random())};
        address.setGroup(i, groups[random.below(std::size(groups))]);
    }
    return address;
}

bool bitOf(const IPv6Address& address, std::size_t bit) { return (address.bytes[bit / 8] >> (7 - bit % 8) & 1) != 0; }

void flipBit(IPv6Address& address, std::size_t bit) {
    address.bytes[bit / 8] = static_cast<std::uint8_t>(address.bytes[bit / 8] ^ 0x80 >> bit % 8);
}

// The words of a mask in network order are the bytes of its text form.
IPv6Mask maskOf(const std::string& from) {
    IPv6Mask mask;
    const IPv6Address address = known(from);
    std::memcpy(mask.words.data(), address.bytes.data(), 16);
    return mask;
}

TEST(AnIPv6Address, HasTheTextOfTheSystemAndComesBackFromIt) {
    Random random(1);
    for (int round = 0; round < 50'000; ++round) {
        const IPv6Address address = randomAddress(random);
        const std::string shown = text(address);
        ASSERT_EQ(shown, judgeIPv6Text(address.bytes));
        // The system may end an address in dotted form, which is not read back.
        if (shown.find('.') == std::string::npos) {
            ASSERT_EQ(parsed(shown), address) << shown;
        }
    }
}

TEST(AnIPv6Address, IsSeenAsGroupsInTheOrderOfItsText) {
    const auto address = parsed("2001:DB8:a:0bc:0:0:0:1").value();
    EXPECT_EQ(address, (IPv6Address{{0x20, 0x01, 0x0D, 0xB8, 0, 0x0A, 0, 0xBC, 0, 0, 0, 0, 0, 0, 0, 1}}));
    EXPECT_EQ(address.group(0), 0x2001);
    EXPECT_EQ(address.group(3), 0xBC);
    EXPECT_EQ(address.group(7), 1);
}

// ---- parsing: texts that the system accepts too, then the differences one by one

TEST(AParsedIPv6Address, HasADoubleColonForTheMissingGroups) {
    EXPECT_EQ(parsed("::"), IPv6Address());
    for (const char* from : {"::1", "1::", "::1:2", "1::8", "1:2:3:4:5:6:7::", "::2:3:4:5:6:7:8", "1:2:3::5:6:7:8"}) {
        EXPECT_EQ(parsed(from), known(from)) << from;
    }
}

TEST(AParsedIPv6Address, FailsForAnythingElse) {
    for (const char* from : {"",
                             ":",
                             "1",
                             "1:2:3:4:5:6:7",
                             "1:2:3:4:5:6:7:8:9",
                             "1:2:3:4:5:6:7:",
                             "1:2:3:4:5:6:7:8:",
                             "1::2:",
                             ":::",
                             ":::1",
                             "1:::2",
                             "1::2::3",
                             "::1::",
                             "12345::",
                             "g::",
                             "::1 ",
                             " ::1",
                             "::-1",
                             "::0x1",
                             "::1/64",
                             "1-2::",
                             "1:2:3:4:5:6:7:8::9",
                             "1:2:3:4::5:6:7:8:9",
                             "1.2.3.4"}) {
        EXPECT_EQ(parsed(from), std::nullopt) << from;
    }
    EXPECT_EQ(parsed(std::string_view("::1\0", 4)), std::nullopt);
    EXPECT_EQ(parsed({}), std::nullopt);
}

// URLs and endpoints have this form; a single bracket is refused.
TEST(AParsedIPv6Address, MayStandInSquareBrackets) {
    EXPECT_EQ(parsed("[::1]"), known("::1"));
    EXPECT_EQ(parsed("[1:2:3:4:5:6:7:8]"), known("1:2:3:4:5:6:7:8"));
    for (const char* from : {"[", "]", "[]", "[::1", "::1]", "[[::1]]", "[::1]:80", ":[::1]"}) {
        EXPECT_EQ(parsed(from), std::nullopt) << from;
    }
}

// So a text that lost one of its two leading colons is accepted if the groups happen to be complete.
TEST(AParsedIPv6Address, MayHaveOneMoreColonAtTheFront) {
    EXPECT_EQ(parsed(":1:2:3:4:5:6:7:8"), known("1:2:3:4:5:6:7:8"));
    EXPECT_EQ(parsed("[:1::8]"), known("1::8"));
    EXPECT_EQ(parsed(":1"), std::nullopt);
}

// The system wants at least one group missing; here the extra colon is accepted.
TEST(AParsedIPv6Address, MayHaveADoubleColonAlthoughNoGroupIsMissing) {
    for (const char* from : {"::1:2:3:4:5:6:7:8", "1:2:3:4::5:6:7:8", "1:2:3:4:5:6:7:8::"}) {
        EXPECT_EQ(parsed(from), known("1:2:3:4:5:6:7:8")) << from;
        EXPECT_EQ(judgeIPv6(from), std::nullopt) << from;
    }
}

// Only groups: a mapped address must be written ::ffff:a00:1, and the caller must remove a zone.
TEST(AParsedIPv6Address, HasNoDottedPartAndNoZone) {
    EXPECT_TRUE(judgeIPv6("::ffff:10.0.0.1"));
    EXPECT_EQ(parsed("::ffff:10.0.0.1"), std::nullopt);
    EXPECT_EQ(parsed("fe80::1%1"), std::nullopt);
}

// ---- masks and ranges

TEST(AnIPv6Mask, HasItsWordsInNetworkOrder) {
    EXPECT_EQ(ipv6PrefixToMask(0), IPv6Mask());
    EXPECT_EQ(ipv6PrefixToMask(1), maskOf("8000::"));
    EXPECT_EQ(ipv6PrefixToMask(24), maskOf("ffff:ff00::"));
    EXPECT_EQ(ipv6PrefixToMask(33), maskOf("ffff:ffff:8000::"));
    EXPECT_EQ(ipv6PrefixToMask(127), maskOf("ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe"));
    EXPECT_EQ(ipv6PrefixToMask(128), maskOf("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"));
    EXPECT_EQ(ipv6PrefixToMask(129), ipv6PrefixToMask(128));
    EXPECT_EQ(ipv6PrefixToMask(0xFFFFFFFF), ipv6PrefixToMask(128));
}

TEST(AnIPv6Mask, ComesBackAsItsPrefixLength) {
    for (unsigned length = 0; length <= 128; ++length) EXPECT_EQ(ipv6MaskToPrefix(ipv6PrefixToMask(length)), length);
}

// Bits after the first zero are ignored, so a mask with holes loses them in a prefix length.
TEST(AnIPv6Mask, EndsForItsPrefixLengthAtItsFirstZero) {
    EXPECT_EQ(ipv6MaskToPrefix(maskOf("ffff:ffff:fff0:ffff::")), 44U);
    EXPECT_EQ(ipv6MaskToPrefix(maskOf("ffff::ffff:0:0:0")), 16U);
    EXPECT_EQ(ipv6MaskToPrefix(maskOf("::ffff")), 0U);
}

TEST(AnIPv6Range, RunsFromTheAddressUnderItsMaskToTheLast) {
    const IPv6Range expected{known("2001:db8:1:2::"), known("2001:db8:1:2:ffff:ffff:ffff:ffff")};
    const IPv6Address address = known("2001:db8:1:2:3:4:5:6");
    EXPECT_EQ(ipv6RangeOf(address, 64), expected);
    EXPECT_EQ(ipv6RangeOf(address, maskOf("ffff:ffff:ffff:ffff::")), expected);
    EXPECT_EQ(ipv6LastOf(address, maskOf("ffff:ffff:ffff:ffff::")), expected.last);
    // A mask with holes is used as it is.
    EXPECT_EQ(ipv6RangeOf(address, maskOf("ffff::ffff")),
              (IPv6Range{known("2001::6"), known("2001:ffff:ffff:ffff:ffff:ffff:ffff:6")}));
}

bool isBlockBitByBit(const IPv6Range& range) {
    std::size_t bit = 0;
    while (bit < 128 && bitOf(range.first, bit) == bitOf(range.last, bit)) ++bit;
    while (bit < 128 && !bitOf(range.first, bit) && bitOf(range.last, bit)) ++bit;
    return bit == 128;
}

TEST(IPv6Ranges, AgreeWithABitByBitModelOverRandomPairs) {
    Random random(3);
    int blocks = 0;
    for (int round = 0; round < 20'000; ++round) {
        const IPv6Address address = randomAddress(random);
        const unsigned length = random.below(129);
        IPv6Range range = ipv6RangeOf(address, length);
        for (std::size_t bit = 0; bit < 128; ++bit) {
            ASSERT_EQ(bitOf(range.first, bit), bit < length && bitOf(address, bit)) << length;
            ASSERT_EQ(bitOf(range.last, bit), bit >= length || bitOf(address, bit)) << length;
        }
        ASSERT_TRUE(isIPv6Block(range)) << text(address) << "/" << length;

        flipBit(random.below(2) ? range.first : range.last, random.below(128));
        ASSERT_EQ(isIPv6Block(range), isBlockBitByBit(range)) << text(range.first) << ".." << text(range.last);
        blocks += isIPv6Block(range);
        const IPv6Range any{address, randomAddress(random)};
        ASSERT_EQ(isIPv6Block(any), isBlockBitByBit(any)) << text(any.first) << ".." << text(any.last);
    }
    EXPECT_GT(blocks, 0);
}

} // namespace
