// SPDX-License-Identifier: MIT
#include <panelkit/bridge/send_command.h>
#include <panelkit/bridge/sessions_pool.h>

#include "../../support/service_fixture.h"

#include <platform/bridge/bridge_session.h>

using panelkit::DirectCommand;

// Access to the pool's private state.
struct SessionsPoolProbe {
    static SessionsPool make() { return {}; }
    static std::array<BridgeSession*, 7>& slots(SessionsPool& pool) { return pool.slots_; }
};

namespace {

SessionId_t id(std::uint32_t value) { return static_cast<SessionId_t>(value); }

using ASessionsPool = WithScriptedService;

TEST_F(ASessionsPool, SelectsFourSlotsByIdentifier) {
    BridgeSession* common = SessionsPool::GetSession(id(0));
    for (const std::uint32_t value : {3U, 5U, 6U, 7U, 100U, 0xFFFFFFFFU}) {
        EXPECT_EQ(SessionsPool::GetSession(id(value)), common) << value;
    }
    const std::set<BridgeSession*> distinct{common, SessionsPool::GetSession(id(1)), SessionsPool::GetSession(id(2)),
                                            SessionsPool::GetSession(id(4))};
    EXPECT_EQ(distinct.size(), 4U);
    EXPECT_EQ(common->name(), "Common");
    EXPECT_EQ(SessionsPool::GetSession(id(1))->name(), "Certificates");
    EXPECT_EQ(SessionsPool::GetSession(id(2))->name(), "Tokens");
    EXPECT_EQ(SessionsPool::GetSession(id(4))->name(), "Monitor");
}

TEST_F(ASessionsPool, ConnectsASessionWithItsFirstCommand) {
    BridgeSession* tokens = SessionsPool::GetSession(SessionTokens);
    EXPECT_TRUE(service->opened().empty());
    EXPECT_TRUE(tokens->Connect());
    EXPECT_THAT(service->opened(), ElementsAre("Tokens"));
    EXPECT_EQ(tokens->service(), "scripted service");
}

constexpr std::array ids{SessionParameters, SessionCertificates, SessionTokens, SessionMonitor};

// The sessions of all slots, open.
std::array<BridgeSession*, 4> openAll() {
    std::array<BridgeSession*, 4> sessions{};
    for (std::size_t i = 0; i < ids.size(); ++i) {
        sessions[i] = SessionsPool::GetSession(ids[i]);
        EXPECT_TRUE(sessions[i]->Connect());
    }
    return sessions;
}

int brokenOnes(const std::array<BridgeSession*, 4>& sessions) {
    return static_cast<int>(std::count_if(sessions.begin(), sessions.end(), [](auto* one) { return one->broken(); }));
}

TEST_F(ASessionsPool, ClosesEverySessionWhenItFindsOneBroken) {
    const auto sessions = openAll();
    service->on(Command::TokenLogout, Reaction::cutBefore());
    EXPECT_FALSE(DirectCommand<Command::TokenLogout>().send());
    EXPECT_EQ(brokenOnes(sessions), 1);
    EXPECT_NE(SessionsPool::GetSession(SessionTokens), sessions[2]);
    EXPECT_EQ(brokenOnes(sessions), 4);
    EXPECT_NE(SessionsPool::GetSession(SessionCertificates), sessions[1]);
}

TEST_F(ASessionsPool, ClosesTheOneSessionThatIsNamed) {
    for (const SessionId_t one : ids) {
        const auto sessions = openAll();
        SessionsPool::CloseSession(one);
        EXPECT_EQ(brokenOnes(sessions), 1) << one;
        EXPECT_NE(SessionsPool::GetSession(one)->Connect(), false);
        EXPECT_EQ(brokenOnes(sessions), 1) << "the others serve on";
    }
}

TEST_F(ASessionsPool, LendsASessionOutAndTakesItBack) {
    BridgeSession* lent = SessionsPool::LockSession(SessionTokens);
    SessionsPool::UnlockSession(SessionTokens, lent);
    EXPECT_EQ(SessionsPool::GetSession(SessionTokens), lent);
    EXPECT_EQ(lent->broken(), 0U);
}

TEST_F(ASessionsPool, ClosesAReturnedSessionWhosePlaceWasTaken) {
    BridgeSession* lent = SessionsPool::LockSession(SessionTokens);
    ASSERT_TRUE(lent->Connect());
    BridgeSession* meanwhile = SessionsPool::GetSession(SessionTokens);
    EXPECT_NE(meanwhile, lent);
    SessionsPool::UnlockSession(SessionTokens, lent);
    EXPECT_NE(lent->broken(), 0U);
    EXPECT_TRUE(service->waitForClosed(1));
    EXPECT_EQ(SessionsPool::GetSession(SessionTokens), meanwhile);
}

TEST_F(ASessionsPool, ClosesAReturnedSessionThatBroke) {
    BridgeSession* lent = SessionsPool::LockSession(SessionTokens);
    CommandSender::Instance().CloseSession(lent);
    BridgeSession* other = SessionsPool::GetSession(SessionCertificates);
    SessionsPool::UnlockSession(SessionTokens, lent);
    EXPECT_NE(SessionsPool::GetSession(SessionTokens), lent);
    EXPECT_EQ(other->broken(), 0U) << "the pool never held a broken session";
}

TEST_F(ASessionsPool, ClosesNothingTwiceWithoutHarm) {
    SessionsPool::CloseSession(SessionTokens);
    BridgeSession* session = SessionsPool::GetSession(SessionTokens);
    SessionsPool::CloseSession(SessionTokens);
    CommandSender::Instance().CloseSession(session);
    CommandSender::Instance().CloseSession(nullptr);
    EXPECT_NE(session->broken(), 0U);
    EXPECT_NE(SessionsPool::GetSession(SessionTokens), session);
}

TEST_F(ASessionsPool, GivesNullOnlyForAnUnusableEndpoint) {
    CommandSender::Instance().SetEndpoint("");
    EXPECT_EQ(SessionsPool::GetSession(SessionTokens), nullptr);
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::badEndpoint);
    EXPECT_EQ(SessionsPool::LockSession(SessionTokens), nullptr);
    CommandSender::Instance().SetEndpoint(endpoint + std::string(300, 'x'));
    EXPECT_EQ(SessionsPool::GetSession(SessionTokens), nullptr);
    EXPECT_THAT(bridge::lastFailure().text(), testing::HasSubstr("bytes, the system allows"));

    CommandSender::Instance().SetEndpoint(endpoint);
    EXPECT_NE(SessionsPool::GetSession(SessionTokens), nullptr);
}

TEST_F(ASessionsPool, ClosesItsSessionsInTheOrderOfTheSlotsWhenItEnds) {
    {
        SessionsPool pool = SessionsPoolProbe::make();
        std::array<BridgeSession*, 7>& slots = SessionsPoolProbe::slots(pool);
        const std::array names{"0", "1", "2", "3", "4", "5", "6"};
        for (std::size_t i = 0; i < slots.size(); ++i) {
            slots[i] = CommandSender::Instance().OpenNewSession(names[i], 1);
            ASSERT_TRUE(slots[i]->Connect());
        }
        // A session is closed when its command has ended. So the end of the pool waits at the first one, and the others
        // are open meanwhile.
        const std::array<BridgeSession*, 7> sessions = slots;
        service->on(Command::TokenLogout, Reaction::reply("").after(std::chrono::milliseconds(200)));
        std::thread command([&] { sendOver(sessions[0], panelkit::commandRow(Command::TokenLogout), ""); });
        while (service->requests().empty()) std::this_thread::yield();
        std::thread end([&] {
            SessionsPool ending = SessionsPoolProbe::make();
            ending = pool;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        for (BridgeSession* session : sessions) EXPECT_EQ(session->broken(), 0U) << session->name();
        command.join();
        end.join();
        for (BridgeSession* session : sessions) EXPECT_NE(session->broken(), 0U) << session->name();
    }
    ASSERT_TRUE(service->waitForClosed(7));
}

// ---- failures of a send, and their effects

struct Fault {
    const char* name;
    Reaction reaction;
    bridge::FailureCode code;
};

class AFaultyService : public WithScriptedService, public testing::WithParamInterface<Fault> {};

TEST_P(AFaultyService, FailsTheCommandAndIsUsableForTheNext) {
    service->on(Command::EnumProviders, GetParam().reaction);
    service->on(Command::TokenLogout, Reaction::reply("fine"));
    BridgeSession* const session = SessionsPool::GetSession(SessionTokens);
    session->setWaitSetting(300);
    std::string reply;
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send(&reply));
    EXPECT_EQ(session->broken() == 0, GetParam().code == bridge::FailureCode::refused);
    EXPECT_EQ(bridge::lastFailure().code, GetParam().code) << bridge::lastFailure().text();
    EXPECT_FALSE(bridge::lastFailure().text().empty());

    EXPECT_TRUE(DirectCommand<Command::TokenLogout>().send(&reply));
    EXPECT_EQ(reply, "fine");
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::none);
}

using bridge::FailureCode;
INSTANTIATE_TEST_SUITE_P(
    Bridge, AFaultyService,
    testing::Values(Fault{"refuses", Reaction::refuse(), FailureCode::refused},
                    Fault{"cuts_before", Reaction::cutBefore(), FailureCode::connectionLost},
                    Fault{"cuts_inside", Reaction::cutInside("0123456789", 5), FailureCode::connectionLost},
                    Fault{"cuts_in_header", Reaction::raw("0123456789"), FailureCode::timedOut},
                    Fault{"claims_much", Reaction::claim(0xFFFFFFFF), FailureCode::connectionLost},
                    Fault{"sends_short", Reaction::claim(10), FailureCode::timedOut},
                    Fault{"sends_one_less_than_a_header", Reaction::raw(std::string(19, '\x07')),
                          FailureCode::timedOut},
                    Fault{"is_silent", Reaction::silence(), FailureCode::timedOut},
                    Fault{"sends_nonsense", Reaction::raw(std::string(64, '\x07')), FailureCode::connectionLost}),
    [](const auto& fault) { return fault.param.name; });

// The answer that each thread gets is its own.
TEST_F(ASessionsPool, MayHaveASessionThatSeveralThreadsUse) {
    service->on(Command::InitTokenRNG, [](const auto& request) { return Reaction::reply(request.payload); });
    BridgeSession* const session = SessionsPool::GetSession(SessionTokens);
    const panelkit::CommandRow& row = panelkit::commandRow(Command::InitTokenRNG);
    std::atomic<int> answered = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, sent = std::string(100, static_cast<char>('a' + i))] {
            for (int round = 0; round < 100; ++round) {
                std::string reply;
                answered += sendOver(session, row, sent, &reply) && reply == sent;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(answered, 400);
}

TEST_F(ASessionsPool, DeliversAReplyBehindWhichTheServiceDied) {
    service->on(Command::EnumProviders, Reaction::cutAfter("last words"));
    std::string reply;
    EXPECT_TRUE(DirectCommand<Command::EnumProviders>().send(&reply));
    EXPECT_EQ(reply, "last words");
}

// A reply that comes after the time-out must never be taken for the next command's.
TEST_F(ASessionsPool, NeverTakesALateReplyForTheNextCommands) {
    SessionsPool::GetSession(SessionTokens)->setWaitSetting(100);
    service->on(Command::EnumProviders, Reaction::reply("late").after(std::chrono::milliseconds(300)));
    service->on(Command::TokenLogout, Reaction::reply("mine"));
    std::string reply;
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send(&reply));
    EXPECT_TRUE(DirectCommand<Command::TokenLogout>().send(&reply));
    EXPECT_EQ(reply, "mine");
}

TEST_F(ASessionsPool, SendsNothingThatIsAboveTheLimit) {
    const std::string huge((64U << 20) + 1, 'x');
    EXPECT_FALSE(DirectCommand<Command::ParseCertFile>().with(huge, std::string()).send());
    EXPECT_EQ(bridge::lastFailure().code, FailureCode::tooLarge);
    EXPECT_EQ(SessionsPool::GetSession(SessionCertificates)->broken(), 0U);
    EXPECT_TRUE(service->requests().empty());
}

TEST_F(ASessionsPool, SaysWhyAServiceDoesNotWelcomeIt) {
    const auto failureAfter = [this](const panelkit::testing::Greeting& greeting) {
        service->greet(greeting);
        EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send());
        EXPECT_EQ(SessionsPool::GetSession(SessionTokens)->broken(), 0U)
            << "the next command may find a better service";
        return bridge::lastFailure().code;
    };
    EXPECT_EQ(failureAfter({.version = 2, .verdict = 1}), FailureCode::versionMismatch);
    EXPECT_THAT(bridge::lastFailure().text(),
                testing::HasSubstr("speaks version 2 of the protocol; this program speaks versions 1 to 2"));
    EXPECT_EQ(failureAfter({.verdict = 2, .text = "not you"}), FailureCode::accessDenied);
    EXPECT_EQ(bridge::lastFailure().text(), "access denied: not you");
    EXPECT_EQ(failureAfter({.verdict = 2, .text = "not you", .why = {{0, Loc::makePhrase("not %s", "x")}}}),
              FailureCode::accessDenied);
    EXPECT_EQ(bridge::lastFailure().phrases,
              (std::vector{Loc::makePhrase("access denied"), Loc::makePhrase("not %s", "x")}));
    EXPECT_EQ(failureAfter({.verdict = 3}), FailureCode::overloaded);
    EXPECT_EQ(failureAfter({.raw = std::string(20, '\0')}), FailureCode::versionMismatch);

    service->greet({});
    service->on(Command::EnumProviders, Reaction::reply(""));
    EXPECT_TRUE(DirectCommand<Command::EnumProviders>().send());
}

TEST_F(ASessionsPool, GivesUpOnAServiceThatNeverGreets) {
    service->greet({.silent = true});
    SessionsPool::GetSession(SessionTokens)->setWaitSetting(200);
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send());
    EXPECT_EQ(bridge::lastFailure().code, FailureCode::timedOut);
}

TEST_F(WithoutService, FailsForWantOfItAndConnectsOnceItIsThere) {
    BridgeSession* session = SessionsPool::GetSession(SessionTokens);
    EXPECT_FALSE(DirectCommand<Command::EnumProviders>().send());
    EXPECT_TRUE(session->failedForWantOfService());
    EXPECT_EQ(session->lastFailure(), 5U);

    panelkit::testing::ScriptedService late(CommandSender::Instance().Endpoint());
    late.on(Command::EnumProviders, Reaction::reply(""));
    EXPECT_TRUE(DirectCommand<Command::EnumProviders>().send());
    EXPECT_EQ(SessionsPool::GetSession(SessionTokens), session);
    EXPECT_FALSE(session->failedForWantOfService());
}

} // namespace
