// SPDX-License-Identifier: MIT
#include <panelkit/format/number_range.h>

#include "../../support/test.h"

using namespace panelkit;

namespace {

const char* const noNumbers[] = {
    "", " ", "-1", "+1", " 1", "1 ", "0x1", "1.", "1a", "4294967296", "99999999999999999999"};

TEST(ANumber, IsEveryTextOfDigitsUpToItsBoundAndNoOther) {
    for (std::uint32_t value = 0; value <= 70000; ++value) {
        const std::string text = std::to_string(value);
        std::uint16_t port = 7;
        std::uint8_t small = 7;
        ASSERT_EQ(parsePort(text, port), value <= 65535) << text;
        ASSERT_EQ(port, value <= 65535 ? value : 7);
        ASSERT_EQ(parseSmallNumber(text, small), value <= 255) << text;
        ASSERT_EQ(small, value <= 255 ? value : 7);
    }
    for (const char* text : noNumbers) {
        std::uint16_t port = 7;
        std::uint8_t small = 7;
        EXPECT_FALSE(parsePort(text, port)) << text;
        EXPECT_FALSE(parseSmallNumber(text, small)) << text;
        EXPECT_EQ(port, 7);
        EXPECT_EQ(small, 7);
    }
}

TEST(ANumber, MayHaveLeadingZeros) {
    std::uint16_t port{};
    EXPECT_TRUE(parsePort("00000000000000000000000000080", port));
    EXPECT_EQ(port, 80);
}

TEST(ANumberRange, IsOneNumberOrTwoThatDoNotRunBackwards) {
    for (unsigned first = 0; first <= 256; ++first) {
        for (unsigned last = 0; last <= 256; ++last) {
            const std::string text = std::to_string(first) + ".." + std::to_string(last);
            SmallNumberRange small{7, 9};
            const bool valid = first <= last && last <= 255;
            ASSERT_EQ(parseSmallNumberRange(text, small), valid) << text;
            const SmallNumberRange expected = {static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(last)};
            ASSERT_EQ(small, valid ? expected : (SmallNumberRange{7, 9})) << text;
            PortRange ports{};
            ASSERT_EQ(parsePortRange(text, ports), first <= last) << text;
        }
    }
    PortRange ports;
    EXPECT_TRUE(parsePortRange("443", ports));
    EXPECT_EQ(ports, (PortRange{443, 443}));
    EXPECT_TRUE(parsePortRange("1024..65535", ports));
    EXPECT_EQ(ports, (PortRange{1024, 65535}));
}

TEST(ANumberRange, LeavesItsOutputAloneWhenItFails) {
    for (const char* text : {"80..79", "65536", "0..65536", "1..", "..1", "..", "1...2", "1..2..3", "1.2", "1-2",
                             "1 ..2", "1..2 ", "1..-2", "1..2x"}) {
        PortRange ports{7, 9};
        EXPECT_FALSE(parsePortRange(text, ports)) << text;
        EXPECT_EQ(ports, (PortRange{7, 9})) << text;
    }
    for (const char* text : noNumbers) {
        PortRange ports{7, 9};
        EXPECT_FALSE(parsePortRange(text, ports)) << text;
        EXPECT_FALSE(parsePortRange(std::string("1..") + text, ports)) << text;
        EXPECT_EQ(ports, (PortRange{7, 9})) << text;
    }
}

} // namespace
