// SPDX-License-Identifier: MIT
#include <panelkit/format/hex_text.h>
#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>
#include <panelkit/format/number_range.h>
#include <panelkit/format/time_text.h>

#include "../../support/time_judge.h"

#include <gtest/gtest.h>

#include <clocale>

using namespace panelkit;

namespace {

std::string everyKindOfText() {
    std::string text, part;
    char local[PlainTimeTextSize], range[IPv4RangeTextSize], ipv6[IPv6TextSize];
    const PackedTime time = parsePackedTime("12345.01.02 03:04:05");
    packedTimeToText(time, text);
    packedTimeToIsoText(time, part);
    text += "\n" + part + "\n";
    appendPackedTime(time, text);
    appendCtime(951782400, text += '\n');
    text += std::string("\n") + plainTimeToLocalText(951782400, local) + "\n";
    IPv4Range block;
    if (parseIPv4Range("10.0.0.7/24", block)) text += ipv4RangeToText(block, MaskForm::PrefixLength, range);
    IPv6Address address;
    if (parseIPv6("2001:DB8::1", address)) text += std::string("\n") + ipv6ToText(address, ipv6) + "\n";
    appendHex("\xE9", text);
    PortRange ports;
    if (parsePortRange("1024..65535", ports)) text += "\n" + std::to_string(ports.last);
    return text;
}

// The environment's locale and some with other names, separators and character classes. Locales that the machine lacks
// are skipped; the environment's always exists.
TEST(Texts, AreTheSameInEveryLocale) {
    const ScopedTimeZone zone("UTC0");
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* name : {"C", "", "ru_RU.UTF-8", "Russian_Russia.1251", "de_DE.UTF-8", "German_Germany.1252"}) {
        if (!std::setlocale(LC_ALL, name)) continue;
        EXPECT_EQ(everyKindOfText(), "12345.01.02 03:04:05 GMT\n"
                                     "12345-01-02T03:04:05\n"
                                     "02.01.12345 03:04:05 GMT\n"
                                     "Tue Feb 29 00:00:00 2000\n"
                                     "2000.02.29 00:00:00\n"
                                     "10.0.0.0/24\n"
                                     "2001:db8::1\n"
                                     "E9\n"
                                     "65535")
            << name;
        // 0xA0 is a blank in some Windows code pages, not here.
        EXPECT_EQ(parsePackedTime("2020.01.02\xA0"
                                  "03:04:05"),
                  PackedTime{})
            << name;
    }
    EXPECT_TRUE(std::setlocale(LC_ALL, before.c_str()));
}

} // namespace
