// SPDX-License-Identifier: MIT
//
// The service is killed while it commits, again and again: the file always has one complete commit, and never an older
// one than was acknowledged.
#include "../support/run_speed.h"
#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <service/config/configuration_text.h>

#include <panelkit/lparams/sections/sections.h>
#include <platform/system/files.h>

#include <random>

using namespace LPARAMS::Client;

namespace {

constexpr int kills = slowRun ? 20 : 200;

// Commits one state after the other until the service has ended. A state is a number, once in the first section of the
// file and once in the last, with a long text between them.
class Committer {
public:
    explicit Committer(unsigned start) : sent(start), acknowledged(start), thread_([this] { run(); }) {}
    ~Committer() { thread_.join(); }

    std::atomic<unsigned> sent, acknowledged;

private:
    void run() {
        ADMIN first;
        USER last;
        last.LSP_FILE.value = std::string(30'000, 'x');
        for (;;) {
            const unsigned next = sent + 1;
            first.SESSION_EXPTIME.value = last.PMP_TIMEOUT.value = next;
            sent = next;
            if (!first.save() || !last.save() || !writeToDisk()) return;
            acknowledged = next;
        }
    }

    std::thread thread_;
};

// The state in a text of the file; 0 when there is none or it is incomplete.
unsigned stateOf(const std::string& text) {
    const auto read = panelkitd::readConfiguration(text);
    if (!read.bodies || !read.bodies->contains("ADMIN") || !read.bodies->contains("USER")) return 0;
    const auto first = read.bodies->at("ADMIN").get<std::uint32_t>("SESSION_EXPTIME");
    const auto last = read.bodies->at("USER").get<std::uint32_t>("PMP_TIMEOUT");
    return first == last ? last : 0;
}

std::size_t filesOf(const std::string& folder, const std::string& part) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.path().filename().string().find(part) != std::string::npos;
    }
    return count;
}

TEST(ACommit, ThatIsCutOffLeavesTheOldFileOrTheNewOne) {
    RunningService service;
    std::minstd_rand random(20261121);
    unsigned state = 1000;
    std::size_t cutOff = 0;
    for (int round = 0; round < kills; ++round) {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
        unsigned acknowledged = 0, sent = 0;
        {
            Committer committer(state);
            while (committer.acknowledged == state) std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
            service.kill();
            acknowledged = committer.acknowledged;
            sent = committer.sent;
        }
        state = stateOf(platform::readFile(service.state() + "/configuration.json", 1 << 24));
        ASSERT_GE(state, acknowledged) << round;
        ASSERT_LE(state, sent) << round;
        ASSERT_NE(stateOf(platform::readFile(service.state() + "/configuration.last-good.json", 1 << 24)), 0U);
        cutOff += filesOf(service.state(), ".new-") > 0;
        service.start();
        ASSERT_EQ(service.log().find("error"), std::string::npos) << service.log();
        ASSERT_EQ(filesOf(service.state(), ".new-") + filesOf(service.state(), ".kept-"), 0U);
    }
    closePooledSessions();
    RecordProperty("commits", static_cast<int>(state - 1000));
    RecordProperty("cutOffInTheMiddle", static_cast<int>(cutOff));
    EXPECT_TRUE(slowRun || cutOff > 0) << "no kill met a file that was being written";
}

} // namespace
