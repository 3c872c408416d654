// SPDX-License-Identifier: MIT
//
// ModuleHost with a process that lies, and the providers whose modules it runs. A host is the same program as its
// parent; so this program is the lying host, too, when it is started as one.
#include "../support/running_service.h"
#include "../support/test.h"
#include "refusal_of.h"

#include <service/modules/host_process.h>
#include <service/modules/module_host.h>
#include <service/tokens/providers.h>
#include <service/tokens/token_watcher.h>

#include <platform/bridge/messages.h>
#include <vocabulary/tokens.h>

#include <unistd.h>

using namespace panelkitd;
using vocabulary::Refused;

namespace {

// A blank token, and one for each line of the module's file, which has the serial number. While a file ".hold" is
// there, the listing does not end.
std::vector<HostToken> listing(const std::string& path) {
    std::vector<HostToken> tokens{{.slot = 1, .flags = ~std::uint64_t{0}}};
    std::ifstream file(path);
    for (std::string serial; std::getline(file, serial);) tokens.push_back({.slot = 1, .serial = serial});
    if (std::filesystem::exists(path + ".hold")) std::ofstream(path + ".held");
    while (std::filesystem::exists(path + ".hold")) std::this_thread::sleep_for(1ms);
    return tokens;
}

int lie(const std::string& path, const char* channel) {
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
        case HostCommand::tokens: body = encoded(HostTokens{1, true, listing(path)}); break;
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

TEST_F(ALyingHost, CantRefuseForAReasonThatOnlyTheServiceHas) {
    EXPECT_EQ(refusalTo(HostCommand::login), Refused::deviceError);
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

// ---- providers

class AProvider : public testing::Test {
protected:
    AProvider() {
        std::ofstream(path).close();
        info.*vocabulary::provider::path = path;
        info.*vocabulary::provider::isRemembered = true;
        provider = providers.load(info);
    }

    const TemporaryFolder folder;
    const std::string path = folder.file("card.so");
    const StateFolder state{folder.file("state")};
    Providers providers{state, {}};
    PKCS11::ProviderInfo info;
    std::shared_ptr<Provider> provider;
};

TEST_F(AProvider, ShowsNoLogInThatATokenClaims) {
    const auto seen = provider->tokens();
    ASSERT_EQ(seen.tokens.size(), 1U);
    EXPECT_FALSE(seen.tokens[0].flags & vocabulary::tokenFlag::loggedIn);
}

TEST_F(AProvider, ThatHangsIsEndedWhenItIsUnloaded) {
    std::promise<void> taken;
    auto hanging = std::async(std::launch::async, [&] {
        HeldToken token = provider->hold({});
        taken.set_value();
        return refusalOf([&] { token.mechanisms(); });
    });
    taken.get_future().wait();
    providers.unload(info);
    EXPECT_EQ(hanging.wait_for(10s), std::future_status::ready) << "it would have twenty seconds";
    EXPECT_EQ(hanging.get(), Refused::moduleFailed);
}

TEST_F(AProvider, IsNotLoadedAtTheStartWhenSomebodyCouldHaveChangedItsModule) {
    std::filesystem::permissions(path, std::filesystem::perms{0777});
    Providers later(state, {});
    ASSERT_EQ(later.all().size(), 1U);
    EXPECT_FALSE(later.all()[0]->problem().empty());
    std::filesystem::permissions(path, std::filesystem::perms{0755});
    later.load(info);
    ASSERT_EQ(later.all().size(), 1U) << "the one that could not be loaded is replaced";
    EXPECT_TRUE(later.all()[0]->problem().empty());
}

TEST_F(AProvider, IsNotListedAsItWasBeforeACommand) {
    std::atomic<int> arrived{0};
    Announcer announcer;
    TokenWatcher watcher(
        providers, announcer, 1h, [&] { ++arrived; }, UnattendedLogins({}));
    std::ofstream(path + ".hold").close();
    watcher.providersChanged();
    for (int i = 0; i < 1000 && !std::filesystem::exists(path + ".held"); ++i) std::this_thread::sleep_for(10ms);
    PKCS11::TokenInfo made;
    made.*vocabulary::token::provider = "card";
    made.*vocabulary::token::serial = "1";
    watcher.initialized(made);
    EXPECT_EQ(arrived, 1);
    std::ofstream(path) << "1\n2\n";
    std::filesystem::remove(path + ".hold");
    watcher.providersChanged();
    for (int i = 0; i < 1000 && arrived < 2; ++i) std::this_thread::sleep_for(10ms);
    EXPECT_TRUE(watcher.stop(10s));
    EXPECT_EQ(arrived, 2) << "each once";
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 5 && std::string(argv[1]) == hostOption) return lie(argv[2], argv[4]);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
