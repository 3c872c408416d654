// SPDX-License-Identifier: MIT
//
// Tests that need a service that can be asked to end, or the system's count of wake-ups.
#include "../support/heard_notices.h"
#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <unistd.h>

using vocabulary::Notification;

namespace {

struct Listening {
    Listening() {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
        heard = std::make_unique<HeardNotices>();
        EXPECT_TRUE(heard->attached.reaches(1));
    }
    RunningService service{{"--embedded-module", ""}};
    std::unique_ptr<HeardNotices> heard;
};

TEST(AServiceThatIsAskedToEnd, SaysSoToThoseWhoListen) {
    Listening listening;
    EXPECT_EQ(listening.service.terminate().status, 0);
    EXPECT_TRUE(listening.heard->next(Notification::serviceStopping));
    EXPECT_TRUE(listening.heard->detached.reaches(1));
}

TEST(AServiceThatIsAskedToEnd, WaitsOnlyAMomentForAFrontEndThatDoesNotAnswer) {
    Listening listening;
    listening.heard->holdAnswers();
    EXPECT_EQ(listening.service.terminate().status, 0) << "3: it ended because its time was over";
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

// Laptops run this all day: a front end that listens, the service, and panelctl watch. On a busy machine their start
// may reach into the first interval, but not into all.
TEST(AListenerWithNothingToHear, SleepsAndSoDoTheServiceAndTheWatch) {
    Listening listening;
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--endpoint", listening.service.endpoint(), "watch"};
    const platform::ChildProcess watch(options);
    for (int i = 0; i < 1000 && watch.errorSoFar().empty(); ++i) std::this_thread::sleep_for(10ms);
    EXPECT_NE(watch.errorSoFar(), "");
    constexpr int seconds = 4;
    const std::array processes{std::int64_t{::getpid()}, watch.id(), listening.service.process().id()};
    std::array<long, 3> wakeUps{};
    bool sleeps = false;
    for (int interval = 0; interval < 5 && !sleeps; ++interval) {
        for (std::size_t i = 0; i < processes.size(); ++i) wakeUps[i] = -wakeUpsOf(processes[i]);
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        for (std::size_t i = 0; i < processes.size(); ++i) wakeUps[i] += wakeUpsOf(processes[i]);
        sleeps = wakeUps[0] <= seconds && wakeUps[1] <= seconds && wakeUps[2] <= 2 * seconds;
    }
    EXPECT_TRUE(sleeps) << wakeUps[0] << " of the front end, " << wakeUps[1] << " of the watch, " << wakeUps[2]
                        << " of the service";
}

} // namespace
