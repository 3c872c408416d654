// SPDX-License-Identifier: MIT
#include <panelkit/format/ipv6.h>

#include "../../support/test.h"

#include <cstring>

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

IPv6Address known(std::string_view from) { return parsed(from).value(); }

// The words of a mask in network order are the bytes of its text form.
IPv6Mask maskOf(const std::string& from) {
    IPv6Mask mask;
    const IPv6Address address = known(from);
    std::memcpy(mask.words.data(), address.bytes.data(), 16);
    return mask;
}

// Each with its bytes, the groups in the order of the text. It is printed in the shortest form.
TEST(AnIPv6Address, IsItsGroupsWithADoubleColonForTheMissingOnes) {
    const struct {
        const char *text, *printed;
        std::array<std::uint16_t, 8> groups;
    } rows[] = {
        {"::", "::", {}},
        {"::1", "::1", {0, 0, 0, 0, 0, 0, 0, 1}},
        {"1::", "1::", {1}},
        {"1::8", "1::8", {1, 0, 0, 0, 0, 0, 0, 8}},
        {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0", {1, 2, 3, 4, 5, 6, 7, 0}},
        {"::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8", {0, 2, 3, 4, 5, 6, 7, 8}},
        {"1:2:3::5:6:7:8", "1:2:3:0:5:6:7:8", {1, 2, 3, 0, 5, 6, 7, 8}},
        {"2001:DB8:a:0bc:0:0:0:1", "2001:db8:a:bc::1", {0x2001, 0xDB8, 0xA, 0xBC, 0, 0, 0, 1}},
        {"FFFF:0:0:1:0:0:0:ffff", "ffff:0:0:1::ffff", {0xFFFF, 0, 0, 1, 0, 0, 0, 0xFFFF}},
        // URLs and endpoints have square brackets.
        {"[::1]", "::1", {0, 0, 0, 0, 0, 0, 0, 1}},
        {"[1:2:3:4:5:6:7:8]", "1:2:3:4:5:6:7:8", {1, 2, 3, 4, 5, 6, 7, 8}},
        // A text that lost one of its two leading colons is accepted if the groups happen to be complete.
        {":1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8", {1, 2, 3, 4, 5, 6, 7, 8}},
        {"[:1::8]", "1::8", {1, 0, 0, 0, 0, 0, 0, 8}},
        // The system wants at least one group missing; here the extra colon is accepted.
        {"::1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8", {1, 2, 3, 4, 5, 6, 7, 8}},
        {"1:2:3:4::5:6:7:8", "1:2:3:4:5:6:7:8", {1, 2, 3, 4, 5, 6, 7, 8}},
        {"1:2:3:4:5:6:7:8::", "1:2:3:4:5:6:7:8", {1, 2, 3, 4, 5, 6, 7, 8}},
    };
    for (const auto& row : rows) {
        const auto address = parsed(row.text);
        ASSERT_TRUE(address) << row.text;
        for (std::size_t i = 0; i < 8; ++i) {
            EXPECT_EQ(address->group(i), row.groups[i]) << row.text;
            EXPECT_EQ(address->bytes[2 * i] << 8 | address->bytes[2 * i + 1], row.groups[i]) << row.text;
        }
        EXPECT_EQ(text(*address), row.printed);
    }
}

// Only groups: a mapped address must be written ::ffff:a00:1, and the caller must remove a zone.
TEST(AnIPv6Address, IsNotReadFromAnythingElse) {
    // clang-format off
    for (const std::string_view from : {
        "", ":", "1", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7:", "1:2:3:4:5:6:7:8:", "1::2:", ":::",
        ":::1", "1:::2", "1::2::3", "::1::", "12345::", "g::", "::1 ", " ::1", "::-1", "::0x1", "::1/64", "1-2::",
        "1:2:3:4:5:6:7:8::9", "1:2:3:4::5:6:7:8:9", "1.2.3.4", "[", "]", "[]", "[::1", "::1]", "[[::1]]",
        "[::1]:80", ":[::1]", ":1", "::ffff:10.0.0.1", "fe80::1%1"}) {
        // clang-format on
        EXPECT_EQ(parsed(from), std::nullopt) << from;
    }
    EXPECT_EQ(parsed(std::string_view("::1\0", 4)), std::nullopt);
    EXPECT_EQ(parsed({}), std::nullopt);
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

// Bits after the first zero are ignored, so a mask with holes loses them in a prefix length.
TEST(AnIPv6Mask, ComesBackAsItsPrefixLength) {
    for (unsigned length = 0; length <= 128; ++length) EXPECT_EQ(ipv6MaskToPrefix(ipv6PrefixToMask(length)), length);
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

TEST(AnIPv6Range, IsABlockForEveryPrefixLengthAndWithoutHoles) {
    const IPv6Address address = known("a5c3:5a3c:a5c3:5a3c:a5c3:5a3c:a5c3:5a3c");
    for (unsigned length = 0; length <= 128; ++length) {
        IPv6Range range = ipv6RangeOf(address, length);
        EXPECT_TRUE(isIPv6Block(range)) << length;
        for (unsigned bit = length; bit < 127; ++bit) { // a hole; the last bit leaves a smaller block
            range.last.bytes[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
            EXPECT_EQ(isIPv6Block(range), bit == length) << length << ' ' << bit;
            range.last.bytes[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
        }
    }
    EXPECT_FALSE(isIPv6Block({known("::1"), known("::2")}));
    EXPECT_FALSE(isIPv6Block({known("::ff"), known("::")}));
}

} // namespace
