// SPDX-License-Identifier: MIT
//
// ModuleHost with a process that lies. A host is the same program as its parent; so this program is the lying host,
// too, when it is started as one.
#include "../support/test.h"
#include "refusal_of.h"

#include <service/modules/host_process.h>
#include <service/modules/module_host.h>
#include <service/tokens/provider.h>

#include <platform/bridge/messages.h>
#include <vocabulary/tokens.h>

#include <unistd.h>

using namespace panelkitd;
using vocabulary::Refused;

namespace {

int lie(const char* channel) {
    bridge::ChannelParent parent(channel);
    bridge::FrameReader reader(parent.channel());
    const auto send = [&](bridge::FrameHeader header, bridge::FrameKind kind, const std::string& body) {
        header.kind = kind;
        writeFrame(parent.channel(), header, body, {});
    };
    for (;;) {
        bridge::FrameHeader asked;
        std::string body;
        if (reader.readHeader(asked, bridge::never, {}) != bridge::FrameStatus::done) return 0;
        if (reader.readBody(asked, body, bridge::defaultFrameLimit, {}) != bridge::FrameStatus::done) return 0;
        body.clear();
        switch (static_cast<HostCommand>(asked.command)) {
        case HostCommand::describe: body = encoded(ModuleFacts()); break;
        case HostCommand::tokens: body = encoded(HostTokens{1, true, {{.slot = 1, .flags = ~std::uint64_t{0}}}}); break;
        case HostCommand::seed: std::_Exit(1);
        case HostCommand::mechanisms: std::this_thread::sleep_for(1h); break;
        case HostCommand::logout: --asked.tag; break; // as if it came late
        case HostCommand::login: {
            const auto reason = static_cast<std::uint32_t>(Refused::notStored); // which no token has
            send(asked, bridge::FrameKind::remarks, encode(std::vector{bridge::Remark{reason, Loc::makePhrase("no")}}));
            send(asked, bridge::FrameKind::refused,
                 encode(bridge::Refusal{bridge::RefusalReason::byModule, reason, ""}));
            continue;
        }
        default: break;
        }
        send(asked, bridge::FrameKind::reply, body);
    }
}

// Whether a thread of this process waits for something.
bool sleeps(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string number, name, state;
    return file >> number >> name >> state && state == "S";
}

class ALyingHost : public testing::Test {
protected:
    ALyingHost() { host.start(); }
    static ModuleLimits limits() {
        ModuleLimits limits;
        limits.firstPause = 20ms;
        limits.longestPause = 40ms;
        return limits;
    }
    Refused refusalTo(HostCommand command) {
        return refusalOf([&] { host.take(host.usual()).tell(command); });
    }
    ModuleHost host{{"card", "/m.so", {}, limits()}};
};

TEST_F(ALyingHost, IsNotBelievedWhenItAnswersAnotherCommand) {
    EXPECT_EQ(refusalTo(HostCommand::logout), Refused::moduleFailed);
}

TEST_F(ALyingHost, CanNotNameAReasonThatIsTheServicesOwn) {
    EXPECT_EQ(refusalTo(HostCommand::login), Refused::deviceError);
}

TEST_F(ALyingHost, ThatHangsIsEndedWhenItIsUnloaded) {
    std::promise<void> taken;
    auto hanging = std::async(std::launch::async, [&] {
        auto turn = host.take(host.usual());
        taken.set_value();
        return refusalOf([&] { turn.tell(HostCommand::mechanisms); });
    });
    taken.get_future().wait();
    host.stop();
    EXPECT_EQ(hanging.wait_for(10s), std::future_status::ready) << "it would have twenty seconds";
    EXPECT_EQ(hanging.get(), Refused::moduleFailed);
}

// Doubled each time, the pause would be more than ten seconds.
TEST_F(ALyingHost, IsStartedAgainAfterPausesThatHaveALimit) {
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(refusalTo(HostCommand::seed), Refused::moduleFailed);
        for (int look = 0; look < 1000 && !host.isRunning(); ++look) {
            host.lookAfter();
            std::this_thread::sleep_for(10ms);
        }
        ASSERT_TRUE(host.isRunning()) << i;
    }
}

TEST(AHostThatCrashed, IsNotStartedAgainAtOnceAndLaterEachTime) {
    ModuleHost host{{"card", "/m.so", {}, {.firstPause = 1min, .longestPause = 1h}}};
    const auto secondsAfterACrash = [&] {
        host.start();
        EXPECT_THROW(host.take(host.usual()).tell(HostCommand::seed), RefusedError);
        return std::stoi(host.problem().value().phrase.arguments.at(1));
    };
    EXPECT_LE(secondsAfterACrash(), 60);
    host.lookAfter();
    std::this_thread::sleep_for(300ms); // a start would take less
    EXPECT_FALSE(host.isRunning());
    EXPECT_GT(secondsAfterACrash(), 60);
}

TEST(AProvider, ShowsNoLogInThatATokenClaims) {
    const auto provider = std::make_shared<Provider>(Provider::Settings{"card", "/m.so", false, false},
                                                     std::map<std::string, std::string>(), ModuleLimits());
    ASSERT_TRUE(provider->load());
    const auto seen = provider->tokens();
    ASSERT_EQ(seen.tokens.size(), 1U);
    EXPECT_FALSE(seen.tokens[0].flags & vocabulary::tokenFlag::loggedIn);
}

// Who gives a turn back and wants another one comes after those who wait.
TEST_F(ALyingHost, ServesFirstWhoWaitsLongest) {
    for (int i = 0; i < 20; ++i) {
        std::optional<ModuleHost::Turn> turn(host.take(host.usual()));
        std::atomic<pid_t> other{0};
        std::atomic<bool> served{false};
        std::thread waiting([&] {
            other = ::gettid();
            const auto its = host.take(host.usual());
            served = true;
        });
        for (int look = 0; look < 1000 && (other == 0 || !sleeps(other)); ++look) std::this_thread::sleep_for(1ms);
        turn.reset();
        turn.emplace(host.take(host.usual()));
        EXPECT_TRUE(served) << i;
        turn.reset();
        waiting.join();
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 5 && std::string(argv[1]) == hostOption) return lie(argv[4]);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
