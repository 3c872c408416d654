// SPDX-License-Identifier: MIT
//
// What needs a service that can be asked to end, and the system's count of wake-ups.
#include "../support/heard_notices.h"
#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <fstream>
#include <thread>

using vocabulary::Notification;
using namespace std::chrono_literals;

namespace {

struct Listening {
    Listening() {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
        heard = std::make_unique<HeardNotices>();
        EXPECT_TRUE(heard->waitForAttached(1));
    }
    RunningService service{{"--embedded-module", ""}};
    std::unique_ptr<HeardNotices> heard;
};

TEST(AServiceThatIsAskedToEnd, SaysSoToThoseWhoListen) {
    Listening listening;
    EXPECT_EQ(listening.service.terminate().status, 0);
    EXPECT_TRUE(listening.heard->next(Notification::serviceStopping));
    EXPECT_TRUE(listening.heard->waitForDetached(1));
}

TEST(AServiceThatIsAskedToEnd, WaitsOnlyAMomentForAFrontEndThatDoesNotAnswer) {
    Listening listening;
    listening.heard->holdAnswers();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(listening.service.terminate().status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

long ownWakeUps() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
}

long wakeUpsOf(std::int64_t process) {
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            const std::string key = "voluntary_ctxt_switches:";
            if (line.rfind(key, 0) == 0) sum += std::stol(line.substr(key.size()));
        }
    }
    return sum;
}

// Laptops run this all day.
TEST(AListenerWithNothingToHear, SleepsAndSoDoesTheService) {
    Listening listening;
    std::this_thread::sleep_for(200ms); // what begins is over
    constexpr int seconds = 5;
    const long own = ownWakeUps();
    const long services = wakeUpsOf(listening.service.process().id());
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    EXPECT_LE(ownWakeUps() - own, seconds);
    EXPECT_LE(wakeUpsOf(listening.service.process().id()) - services, 2 * seconds);
}

} // namespace
