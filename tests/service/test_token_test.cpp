// SPDX-License-Identifier: MIT
//
// Cases that SoftHSM2 can't produce: tokens that count tries and lock, modules that are slow, crash, hang and return
// nonsense. The service loads the test token module; the test controls it from outside. Runs under Wine too.
#include "steered_token.h"
#include "with_service.h"

#include <panelkit/bridge/command_stream.h>
#include <platform/text/utf8_character.h>

using panelkit::testing::Crash;
namespace tokenField = vocabulary::token;
namespace flag = vocabulary::tokenFlag;
namespace title = vocabulary::pinTitle;

namespace {

class TheTestToken : public Steered<WithService> {
protected:
    TheTestToken() : Steered({"--embedded-module", "", "--load-timeout", "5", "--stop-grace", "1"}) {}
    TokenInfo office() { return token("Office"); }
    std::string problem() { return WithService::load(testModule); }
    std::string titleOfLogin(const std::string& pin, bool mayBeFinal = false) {
        PinStateMessage message;
        return tokens.TokenLogin(office(), pin, mayBeFinal, &message) ? "in" : message.title;
    }
};

TEST_F(TheTestToken, CountsTriesDownAndKeepsTheLastOneFromScripts) {
    load();
    EXPECT_EQ(titleOfLogin("9999"), title::wrongPin);
    EXPECT_TRUE(office().flags & flag::userPinCountLow);
    PinStateMessage message;
    EXPECT_FALSE(tokens.TokenLogin(office(), "9999", false, &message));
    EXPECT_THAT(message.text, HasSubstr("One try remains"));

    // The guard: no PIN is tried, not even a correct one.
    EXPECT_EQ(titleOfLogin("9999"), title::finalTry);
    EXPECT_EQ(titleOfLogin("user-1"), title::finalTry);
    EXPECT_EQ(control.counters("office").userTriesLeft, 1U);
    EXPECT_FALSE(tokens.TokenChangePassword(office(), "user-1", "5678", false, false));
    EXPECT_EQ(refusal(), Refused::finalTry);

    EXPECT_EQ(titleOfLogin("9999", true), title::locked);
    EXPECT_TRUE(office().flags & flag::userPinLocked);
    EXPECT_EQ(titleOfLogin("user-1", true), title::locked);
    EXPECT_FALSE(tokens.TokenChangePassword(office(), "user-1", "5678", false, true));
    EXPECT_EQ(refusal(), Refused::pinLocked);

    control.createToken("office", {.label = "Office", .userPin = "user-1"});
    control.fail("C_Login", 0xA4); // CKR_PIN_LOCKED, although no flag says so
    EXPECT_EQ(titleOfLogin("user-1"), title::locked);
}

TEST_F(TheTestToken, CountsNoEmptyPinAndForgetsWrongTriesAfterAGoodOne) {
    load();
    EXPECT_FALSE(tokens.TokenLogin(office(), "", false, nullptr));
    EXPECT_EQ(control.counters("office").userTriesLeft, 3U);
    EXPECT_EQ(titleOfLogin("9999"), title::wrongPin);
    EXPECT_EQ(titleOfLogin("9999"), title::wrongPin);
    EXPECT_EQ(titleOfLogin("user-1", true), "in");
    EXPECT_EQ(control.counters("office").userTriesLeft, 3U);
    EXPECT_FALSE(office().flags & flag::userPinCountLow);
}

TEST_F(TheTestToken, MayComeAndGo) {
    load();
    const TokenInfo there = office();
    EXPECT_EQ(titleOfLogin("user-1"), "in");
    control.remove("reader");
    EXPECT_TRUE(listed().empty());
    EXPECT_FALSE(tokens.TokenLogout(there));
    EXPECT_EQ(refusal(), Refused::noSuchToken);
    control.insert("other", "office");
    EXPECT_FALSE(office().flags & flag::loggedIn);
    EXPECT_TRUE(tokens.TokenLogin(there, "user-1", false, nullptr)) << "named as it was listed before";
}

TEST_F(TheTestToken, SaysWhatItCanNotDo) {
    load();
    control.setTraits("office", {.writeProtected = true});
    EXPECT_TRUE(office().flags & flag::writeProtected);
    EXPECT_EQ(titleOfLogin("user-1"), "in");
    EXPECT_FALSE(tokens.TokenChangePassword(office(), "user-1", "5678", false, false));
    EXPECT_EQ(refusal(), Refused::writeProtected);
    control.fail("C_SeedRandom", 0x120); // CKR_RANDOM_SEED_NOT_SUPPORTED
    EXPECT_FALSE(tokens.InitTokenRNG(office(), "seed"));
    EXPECT_EQ(refusal(), Refused::notSupported);
}

// A log-in that hangs delays neither listings nor other modules.
TEST_F(TheTestToken, ThatHangsHoldsUpNobodyElse) {
    load();
    std::string request;
    CommandStreamOut(request).append(office(), std::string("user-1"), false);
    control.recordCalls();
    control.hang("C_Login");
    std::thread loggingIn([&] {
        std::string reply;
        EXPECT_TRUE(Client().send(panelkit::Command::TokenLogin, request, &reply));
        EXPECT_EQ(reply, "\1");
    });
    ASSERT_TRUE(control.waitForCalls("C_Login", 1));
    EXPECT_EQ(listed().size(), 1U) << "as it was last seen";
    std::vector<PKCS11::ProviderInfo> providers;
    EXPECT_TRUE(tokens.EnumProviders(providers));
    control.clear("C_Login");
    loggingIn.join();
}

// While they wait for a module, the requests of one account take no more memory than its share.
TEST_F(TheTestToken, ThatHangsKeepsOnlySoMuchMemoryBusy) {
    load();
    std::string request;
    CommandStreamOut(request).append(office(), std::string(1'000'000, 's'));
    control.recordCalls();
    control.hang("C_SeedRandom");
    std::atomic<int> refused{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < 24; ++i) {
        clients.emplace_back([&] {
            if (!Client().send(panelkit::Command::InitTokenRNG, request)) refused += refusal() == Refused::overBudget;
        });
    }
    EXPECT_TRUE(waitFor([&] { return refused == 4; })) << refused << " of 24 that would take 10 MB each";
    control.clear("C_SeedRandom");
    for (std::thread& client : clients) client.join();
}

TEST_F(TheTestToken, ThatCrashesOrLiesIsNotLoaded) {
    const std::pair<std::function<void()>, const char*> rows[] = {
        {[&] { control.crash("C_Initialize", Crash::abort); }, "the module of provider \"card\" crashed"},
        {[&] { control.crash("C_Initialize", Crash::nullWrite); }, "the module of provider \"card\" crashed"},
        {[&] { control.crash("C_GetTokenInfo"); }, "the module of provider \"card\" crashed"},
        {[&] { control.fail("C_Initialize", 0x30); }, "CKR_DEVICE_ERROR"},
        {[&] { control.null("C_GetFunctionList"); }, "function list is empty"},
        {[&] { control.null("C_Login"); }, "functions are missing"},
        {[&] { control.version("C_GetFunctionList", 9, 1); }, "version 9.1"},
        {[&] { control.count("C_GetSlotList", 1'000'000'000); }, "which can't be"},
    };
    for (const auto& [breakIt, text] : rows) {
        breakIt();
        EXPECT_THAT(problem(), HasSubstr(text));
        control.clearFaults();
    }
    EXPECT_EQ(problem(), "") << "nothing of it stays";
}

TEST_F(TheTestToken, ThatHangsIsNotLoaded) {
    control.hang("C_GetSlotList");
    SessionsPool::GetSession(SessionTokens)->setWaitSetting(60'000);
    EXPECT_THAT(problem(), HasSubstr("did not answer in time"));
    EXPECT_TRUE(listed().empty()) << "the service goes on";
}

TEST_F(TheTestToken, ThatWritesGarbageIsShownAsTextAllTheSame) {
    load();
    control.garbage("C_GetTokenInfo");
    const TokenInfo token = listed().at(0);
    EXPECT_TRUE(platform::isValidUtf8(token.*tokenField::label));
    EXPECT_TRUE(platform::isValidUtf8(token.*tokenField::serial));
    control.clearFaults();
    control.count("C_GetSlotList", 1'000'000'000); // now that it is loaded
    EXPECT_EQ(listed().size(), 1U) << "as it was last seen";
    ASSERT_EQ(bridge::lastRemarks().size(), 2U);
    EXPECT_EQ(static_cast<Refused>(bridge::lastRemarks()[0].code), Refused::incomplete);
    EXPECT_THAT(bridge::lastRemarks()[1].phrase.arguments, testing::Contains("1000000000"));
}

} // namespace
