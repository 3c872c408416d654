// SPDX-License-Identifier: MIT
#include <panelkit/format/hex_text.h>
#include <panelkit/format/host_lookup.h>
#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>
#include <panelkit/format/log_level.h>
#include <panelkit/format/number_range.h>
#include <panelkit/format/time_text.h>

#include <gtest/gtest.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

using namespace panelkit;

namespace {

// Calls every function, with input that depends on the number.
std::string work(unsigned number) {
    std::string text;
    char ipv4[IPv4RangeTextSize], ipv6[IPv6TextSize], local[PlainTimeTextSize];
    const PackedTime time = parsePackedTime(std::to_string(1970 + number % 400) + ".03.04 05:06:07");
    appendPackedTime(time, text);
    appendPackedTimeLocal(time, text += ' ');
    appendCtime(packedTimeToPlain(time), text += ' ');
    text += plainTimeToLocalText(packedTimeToPlain(time), local);
    IPv4Range range;
    if (parseIPv4Range("10.0.0.7/" + std::to_string(number % 40), range)) {
        text += ipv4RangeToText(range, MaskForm::Dotted, ipv4);
    }
    IPv6Address address;
    if (parseIPv6("[fe80::" + std::to_string(number % 10000) + "]", address)) {
        text += ipv6ToText(ipv6RangeOf(address, number % 129).last, ipv6);
    }
    appendHex(text.substr(0, 4), text, ':');
    PortRange ports;
    if (parsePortRange(std::to_string(number % 100) + "..50", ports)) text += std::to_string(ports.first);
    return text + logLevelName(number % 5, "none");
}

// Holds back all threads until the last one is there.
class Gate {
public:
    explicit Gate(int threads) : missing_(threads) {}

    void pass() {
        std::unique_lock lock(mutex_);
        if (--missing_ == 0) opened_.notify_all();
        opened_.wait(lock, [this] { return missing_ <= 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    int missing_;
};

TEST(EightThreads, FormatAndParseAtOnce) {
    constexpr int threadCount = 8;
    constexpr unsigned rounds = 2000;
    std::array<std::vector<std::string>, threadCount> texts;
    {
        Gate gate(threadCount);
        std::vector<std::jthread> threads;
        threads.reserve(threadCount);
        for (auto& mine : texts) {
            threads.emplace_back([&] {
                gate.pass();
                for (unsigned i = 0; i < rounds; ++i) mine.push_back(work(i));
                IPv4HostLookup lookup("10.1.2.3");
                IPv4Address address = 0;
                EXPECT_TRUE(lookup.next(address));
                EXPECT_EQ(address, 0x0A010203U);
            });
        }
    }
    for (unsigned i = 0; i < rounds; ++i) {
        const std::string alone = work(i);
        for (const auto& one : texts) ASSERT_EQ(one[i], alone);
    }
}

} // namespace
