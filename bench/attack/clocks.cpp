// SPDX-License-Identifier: MIT
//
// The clock of the day jumps by seconds, hours and decades, forwards and back, while clients change the service's state
// and front ends are started: each command is answered in real time, nothing spins or is announced again and again, and
// after a start in another century everybody finds the last change. Needs libfaketime.
#include <bench/attack/places.h>
#include <tests/support/panelctl.h>

#include <platform/system/files.h>

#include <unistd.h>

#include <random>

namespace {

constexpr const char* library = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1";

class JumpingClock {
public:
    JumpingClock() { jump("+0"); }
    void jump(const std::string& offset) const { platform::replaceFile(folder_.file("time"), offset + "\n", false); }
    std::map<std::string, std::optional<std::string>> environment() const {
        return {{"LD_PRELOAD", library},
                {"FAKETIME_TIMESTAMP_FILE", folder_.file("time")},
                {"FAKETIME_NO_CACHE", "1"},
                {"FAKETIME_DONT_FAKE_MONOTONIC", "1"}};
    }

private:
    TemporaryFolder folder_;
};

// Processor time of a process so far, in milliseconds.
double processorTime(RunningService& service) {
    std::ifstream stat("/proc/" + std::to_string(service.process().id()) + "/stat");
    std::string field;
    double ticks = 0;
    for (int i = 1; i <= 15 && stat >> field; ++i) {
        if (i >= 14) ticks += std::stod(field); // in user mode, and in the kernel
    }
    return ticks * 1000 / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

constexpr std::array jumps = {"+1",
                              "-1",
                              "+3600",
                              "-3600",
                              "+86400",
                              "+10y",
                              "-10y",
                              "-30y",
                              "+60y",
                              "@2038-01-19 03:14:05",
                              "@1970-01-02 00:00:00",
                              "+0"};

TEST(AClockThatJumps, ChangesNothing) {
    if (!std::filesystem::exists(library)) GTEST_SKIP() << "there is no " << library;
    const JumpingClock clock;
    RunningService service({"--embedded-module", "", "--token-poll", "1"}, clock.environment());
    CommandSender::Instance().SetEndpoint(service.endpoint());
    const std::vector<attack::Place> places = attack::allPlaces();
    std::minstd_rand random(20261126);
    std::uint32_t number = 100;
    std::uint64_t commands = 0;
    double longest = 0, busiest = 0;
    attack::Usage before;
    const int rounds = attack::times(240);
    for (int round = 0; round < rounds; ++round) {
        if (round == 10) before = attack::usageOf(service);
        Client client;
        ++number;
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (i % 3 == 0) clock.jump(jumps[random() % jumps.size()]);
            const auto start = std::chrono::steady_clock::now();
            ASSERT_TRUE(places[i].write(client, number)) << places[i].name << bridge::lastFailure().text();
            longest = std::max(longest, attack::millisecondsSince(start));
            ++commands;
        }
        if (round % 8 == 0) {
            const double spent = processorTime(service);
            std::this_thread::sleep_for(500ms);
            busiest = std::max(busiest, processorTime(service) - spent);
            const platform::ChildResult shown =
                panelctl(service.endpoint(), {"policy", "show"}, {}, clock.environment());
            ASSERT_EQ(shown.status, 0) << shown.error;
        }
        if (round % 40 == 39) {
            service.kill();
            clock.jump(jumps[random() % jumps.size()]);
            service.start();
            Client reader;
            for (const attack::Place& place : places) ASSERT_EQ(place.read(reader), number) << place.name;
        }
    }
    EXPECT_EQ(service.log().find("error"), std::string::npos) << service.log();
    EXPECT_LT(longest, 10'000);
    EXPECT_LT(busiest, 250) << "it is busy although nobody asks for anything";
    attack::report("jumps of the clock", rounds * 3);
    attack::report("changes meanwhile, none lost", static_cast<double>(commands));
    attack::report("the longest, ms", longest);
    attack::report("processor time at rest, ms in 500 ms, at most", busiest);
    if (rounds > 10) attack::expectUsage(service, before, 8U << 20);
    attack::reportChecked("each command was answered in time, none was refused, nothing was lost, nothing spins");
}

} // namespace
