// SPDX-License-Identifier: MIT
//
// Texts are the same in every locale and in every thread.
#include <panelkit/format/hex_text.h>
#include <panelkit/format/host_lookup.h>
#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>
#include <panelkit/format/log_level.h>
#include <panelkit/format/number_range.h>
#include <panelkit/format/time_text.h>

#include "../../support/test.h"
#include "../../support/time_zone.h"

#include <clocale>

using namespace panelkit;

namespace {

// Calls every function, with input that depends on the number.
std::string textsOf(unsigned number) {
    std::string text, iso;
    char ipv4[IPv4RangeTextSize], ipv6[IPv6TextSize], local[PlainTimeTextSize];
    const PackedTime time = parsePackedTime(std::to_string(1970 + number % 400) + ".03.04 05:06:07");
    packedTimeToText(time, text);
    packedTimeToIsoText(time, iso);
    appendPackedTime(time, text += '\n' + iso + '\n');
    appendPackedTimeLocal(time, text += '\n');
    appendCtime(packedTimeToPlain(time), text += '\n');
    text += std::string("\n") + plainTimeToLocalText(packedTimeToPlain(time), local) + '\n';
    IPv4Range range;
    if (parseIPv4Range("10.0.0.7/" + std::to_string(number % 40), range)) {
        text += ipv4RangeToText(range, MaskForm::Dotted, ipv4);
    }
    IPv6Address address;
    if (parseIPv6("[fe80::" + std::to_string(number % 10000) + "]", address)) {
        text += std::string("\n") + ipv6ToText(ipv6RangeOf(address, number % 129).last, ipv6) + '\n';
    }
    appendHex("\xE9" + text.substr(0, 2), text, ':');
    PortRange ports;
    if (parsePortRange(std::to_string(number % 100) + "..50000", ports)) text += '\n' + std::to_string(ports.last);
    return text + logLevelName(number % 5, "none");
}

// The environment's locale and some with other names, separators and character classes. Locales that the machine lacks
// are skipped; the environment's always exists.
TEST(Texts, AreTheSameInEveryLocale) {
    const ScopedTimeZone zone("UTC0");
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* name : {"C", "", "ru_RU.UTF-8", "Russian_Russia.1251", "de_DE.UTF-8", "German_Germany.1252"}) {
        if (!std::setlocale(LC_ALL, name)) continue;
        EXPECT_EQ(textsOf(24), "1994.03.04 05:06:07 GMT\n1994-03-04T05:06:07\n04.03.1994 05:06:07 GMT\n"
                               "04.03.1994 05:06:07\nFri Mar  4 05:06:07 1994\n1994.03.04 05:06:07\n"
                               "10.0.0.0/255.255.255.0\nfe80:ff:ffff:ffff:ffff:ffff:ffff:ffff\nE9:31:39\n50000none")
            << name;
        // 0xA0 is a blank in some Windows code pages, not here.
        EXPECT_EQ(parsePackedTime("2020.01.02\xA0"
                                  "03:04:05"),
                  PackedTime{})
            << name;
    }
    EXPECT_TRUE(std::setlocale(LC_ALL, before.c_str()));
}

TEST(Texts, AreTheSameInEightThreads) {
    constexpr unsigned rounds = 2000;
    std::array<std::vector<std::string>, 8> texts;
    std::vector<std::thread> threads;
    for (auto& mine : texts) {
        threads.emplace_back([&mine] {
            for (unsigned i = 0; i < rounds; ++i) mine.push_back(textsOf(i));
            IPv4HostLookup lookup("10.1.2.3");
            IPv4Address address = 0;
            EXPECT_TRUE(lookup.next(address));
            EXPECT_EQ(address, 0x0A010203U);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (unsigned i = 0; i < rounds; ++i) {
        const std::string alone = textsOf(i);
        for (const auto& one : texts) ASSERT_EQ(one[i], alone);
    }
}

} // namespace
