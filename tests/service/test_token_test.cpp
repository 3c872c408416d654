// SPDX-License-Identifier: MIT
//
// Cases that SoftHSM2 can't produce: tokens that count tries and lock, modules that are slow, crash, hang and return
// nonsense. The service loads the test token module; the test controls it from outside. Runs under Wine too.
#include <panelkit/bridge/command_stream.h>
#include <panelkit/tokens/tokens_controller.h>

#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <platform/text/utf8_character.h>
#include <testing/token_module_control.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

using panelkit::testing::Crash;
using panelkit::testing::TokenModuleControl;
using panelkit::testing::TokenTraits;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using testing::HasSubstr;
using vocabulary::Refused;
using namespace std::chrono_literals;
namespace providerField = vocabulary::provider;
namespace tokenField = vocabulary::token;
namespace flag = vocabulary::tokenFlag;
namespace title = vocabulary::pinTitle;

namespace {

const std::string module = builtProgram(PANELKIT_TEST_TOKEN_FILE);

class TheTestToken : public testing::Test {
protected:
    TheTestToken() {
        control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "1234"});
        control.insert("reader", "office");
        service =
            std::make_unique<RunningService>(std::vector<std::string>{"--embedded-module", "", "--allow-module", module,
                                                                      "--load-timeout", "5", "--stop-grace", "1"},
                                             environment());
        connect();
    }
    ~TheTestToken() override {
        closePooledSessions();
        service.reset(); // before the folder is removed
    }

    std::map<std::string, std::optional<std::string>> environment() const {
        return {{"PANELKIT_TEST_TOKEN_DIR", control.folder()}};
    }
    void connect() const {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service->endpoint());
    }
    // Returns the problem; empty when it is loaded.
    std::string load() {
        ProviderInfo info;
        info.*providerField::path = module;
        info.*providerField::name = "card";
        const bool loaded = controller.ProviderLoad(info);
        EXPECT_EQ(loaded, info.*providerField::problem == "") << bridge::lastFailure().text();
        return info.*providerField::problem;
    }
    std::vector<TokenInfo> tokens() {
        std::vector<TokenInfo> listed;
        EXPECT_TRUE(controller.EnumProviderTokens(nullptr, listed)) << bridge::lastFailure().text();
        return listed;
    }
    TokenInfo office() {
        const auto listed = tokens();
        EXPECT_EQ(listed.size(), 1U);
        return listed.empty() ? TokenInfo() : listed[0];
    }
    std::string titleOfLogin(const std::string& pin, bool mayBeFinal = false) {
        PinStateMessage message;
        return controller.TokenLogin(office(), pin, mayBeFinal, &message) ? "in" : message.title;
    }
    static Refused refusal() { return static_cast<Refused>(bridge::lastFailure().detail); }

    TokenModuleControl control;
    std::unique_ptr<RunningService> service;
    VpnTokensController controller;
};

TEST_F(TheTestToken, CountsTriesDownAndKeepsTheLastOneFromScripts) {
    ASSERT_EQ(load(), "");
    EXPECT_EQ(titleOfLogin("9999"), title::wrongPin);
    EXPECT_TRUE(office().flags & flag::userPinCountLow);
    PinStateMessage message;
    EXPECT_FALSE(controller.TokenLogin(office(), "9999", false, &message));
    EXPECT_THAT(message.text, HasSubstr("One try remains"));

    // The guard: no PIN is tried, not even a correct one.
    EXPECT_EQ(titleOfLogin("9999"), title::finalTry);
    EXPECT_EQ(titleOfLogin("1234"), title::finalTry);
    EXPECT_EQ(control.counters("office").userTriesLeft, 1U);
    EXPECT_FALSE(controller.TokenChangePassword(office(), "1234", "5678", false, false));
    EXPECT_EQ(refusal(), Refused::finalTry);

    EXPECT_EQ(titleOfLogin("9999", true), title::locked);
    EXPECT_TRUE(office().flags & flag::userPinLocked);
    EXPECT_EQ(titleOfLogin("1234", true), title::locked);
    EXPECT_FALSE(controller.TokenChangePassword(office(), "1234", "5678", false, true));
    EXPECT_EQ(refusal(), Refused::pinLocked);
}

TEST_F(TheTestToken, DoesNotCountAnEmptyPin) {
    ASSERT_EQ(load(), "");
    EXPECT_FALSE(controller.TokenLogin(office(), "", false, nullptr));
    EXPECT_EQ(control.counters("office").userTriesLeft, 3U);
}

TEST_F(TheTestToken, ForgetsWrongTriesAfterAGoodOne) {
    ASSERT_EQ(load(), "");
    EXPECT_EQ(titleOfLogin("9999"), title::wrongPin);
    EXPECT_EQ(titleOfLogin("9999"), title::wrongPin);
    EXPECT_EQ(titleOfLogin("1234", true), "in");
    EXPECT_EQ(control.counters("office").userTriesLeft, 3U);
    EXPECT_FALSE(office().flags & flag::userPinCountLow);
}

TEST_F(TheTestToken, MayComeAndGo) {
    ASSERT_EQ(load(), "");
    const TokenInfo there = office();
    EXPECT_EQ(titleOfLogin("1234"), "in");
    control.remove("reader");
    EXPECT_TRUE(tokens().empty());
    EXPECT_FALSE(controller.TokenLogout(there));
    EXPECT_EQ(refusal(), Refused::noSuchToken);
    control.insert("other", "office");
    EXPECT_FALSE(office().flags & flag::loggedIn);
    EXPECT_TRUE(controller.TokenLogin(there, "1234", false, nullptr)) << "named as it was listed before";
}

TEST_F(TheTestToken, SaysWhatItCanNotDo) {
    ASSERT_EQ(load(), "");
    control.setTraits("office", {.writeProtected = true});
    EXPECT_TRUE(office().flags & flag::writeProtected);
    EXPECT_EQ(titleOfLogin("1234"), "in");
    EXPECT_FALSE(controller.TokenChangePassword(office(), "1234", "5678", false, false));
    EXPECT_EQ(refusal(), Refused::writeProtected);
    control.fail("C_SeedRandom", 0x120); // CKR_RANDOM_SEED_NOT_SUPPORTED
    EXPECT_FALSE(controller.InitTokenRNG(office(), "seed"));
    EXPECT_EQ(refusal(), Refused::notSupported);
}

// A log-in that hangs delays neither listings nor other modules.
TEST_F(TheTestToken, ThatHangsHoldsUpNobodyElse) {
    ASSERT_EQ(load(), "");
    const TokenInfo token = office();
    control.recordCalls();
    control.hang("C_Login");
    BridgeSession* slow = CommandSender::Instance().OpenNewSession("Tokens", 1);
    std::thread loggingIn([&] {
        std::string request, reply;
        CommandStreamOut(request).append(token, std::string("1234"), false);
        EXPECT_TRUE(
            slow->__SendCommand(ModuleTokens, 2, request.data(), static_cast<unsigned>(request.size()), &reply));
        EXPECT_EQ(reply, "\1");
    });
    ASSERT_TRUE(control.waitForCalls("C_Login", 1));
    EXPECT_EQ(tokens().size(), 1U) << "as it was last seen";
    std::vector<ProviderInfo> providers;
    EXPECT_TRUE(controller.EnumProviders(providers));
    control.clear("C_Login");
    loggingIn.join();
    CommandSender::Instance().CloseSession(slow);
}

TEST_F(TheTestToken, ThatCrashesOrLiesIsNotLoaded) {
    for (const Crash how : {Crash::abort, Crash::nullWrite}) {
        control.crash("C_Initialize", how);
        EXPECT_THAT(load(), HasSubstr("the module of provider \"card\" crashed"));
    }
    control.clearFaults();
    control.crash("C_GetTokenInfo");
    EXPECT_THAT(load(), HasSubstr("the module of provider \"card\" crashed"));
    control.clearFaults();
    control.fail("C_Initialize", 0x30); // CKR_DEVICE_ERROR
    EXPECT_THAT(load(), HasSubstr("CKR_DEVICE_ERROR"));
    control.clearFaults();
    control.null("C_GetFunctionList");
    EXPECT_THAT(load(), HasSubstr("function list is empty"));
    control.clearFaults();
    control.null("C_Login");
    EXPECT_THAT(load(), HasSubstr("functions are missing"));
    control.clearFaults();
    control.version("C_GetFunctionList", 9, 1);
    EXPECT_THAT(load(), HasSubstr("version 9.1"));
    control.clearFaults();
    control.count("C_GetSlotList", 1'000'000'000);
    EXPECT_THAT(load(), HasSubstr("which can't be"));
    control.clearFaults();
    EXPECT_EQ(load(), "") << "nothing of it stays";
}

TEST_F(TheTestToken, ThatHangsIsNotLoaded) {
    control.hang("C_GetSlotList");
    SessionsPool::GetSession(SessionTokens)->setWaitSetting(60'000);
    EXPECT_THAT(load(), HasSubstr("did not answer in time"));
    EXPECT_TRUE(tokens().empty()) << "the service goes on";
}

TEST_F(TheTestToken, ThatWritesGarbageIsShownAsTextAllTheSame) {
    ASSERT_EQ(load(), "");
    control.garbage("C_GetTokenInfo");
    const TokenInfo token = office();
    EXPECT_TRUE(platform::isValidUtf8(token.*tokenField::label));
    EXPECT_TRUE(platform::isValidUtf8(token.*tokenField::serial));
    control.clearFaults();
    control.count("C_GetSlotList", 1'000'000'000); // now that it is loaded
    EXPECT_EQ(tokens().size(), 1U) << "as it was last seen";
    ASSERT_EQ(bridge::lastRemarks().size(), 2U);
    EXPECT_EQ(static_cast<Refused>(bridge::lastRemarks()[0].code), Refused::incomplete);
    EXPECT_THAT(bridge::lastRemarks()[1].phrase.arguments, testing::Contains("1000000000"));
}

} // namespace
