// SPDX-License-Identifier: MIT
//
// The notifications of panelkitd, end to end: the service loads the test token module, the test controls it from
// outside and listens as a front end does. Runs under Wine too.
#include <panelkit/notifications/notifications_listener.h>
#include <panelkit/tokens/tokens_controller.h>

#include "../support/bytes.h"
#include "../support/heard_notices.h"
#include "../support/run_speed.h"
#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <testing/token_module_control.h>
#include <vocabulary/notifications.h>
#include <vocabulary/tokens.h>

#include <gmock/gmock.h>

#include <ctime>

using panelkit::testing::TokenModuleControl;
using PKCS11::TokenInfo;
using vocabulary::Notification;
using namespace std::chrono_literals;
namespace field = vocabulary::token;
namespace flag = vocabulary::tokenFlag;

namespace {

const std::string module = builtProgram(PANELKIT_TEST_TOKEN_FILE);

class ServiceNotifications : public testing::Test {
protected:
    ServiceNotifications() {
        control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "1234"});
        control.insert("reader", "office");
        control.addSlot("other");
        service = std::make_unique<RunningService>(
            std::vector<std::string>{"--embedded-module", "", "--allow-module", module, "--token-poll", "1"},
            std::map<std::string, std::optional<std::string>>{{"PANELKIT_TEST_TOKEN_DIR", control.folder()}});
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service->endpoint());
    }
    ~ServiceNotifications() override {
        heard.reset();
        closePooledSessions();
        service.reset(); // before the folder is removed
    }

    void listen() {
        heard = std::make_unique<HeardNotices>();
        ASSERT_TRUE(heard->waitForAttached(1));
    }
    void load() {
        PKCS11::ProviderInfo info;
        info.*vocabulary::provider::path = module;
        info.*vocabulary::provider::name = "card";
        ASSERT_TRUE(controller.ProviderLoad(info)) << info.*vocabulary::provider::problem;
    }
    TokenInfo office() {
        std::vector<TokenInfo> listed;
        EXPECT_TRUE(controller.EnumProviderTokens(nullptr, listed)) << bridge::lastFailure().text();
        return listed.empty() ? TokenInfo() : listed[0];
    }
    // Returns the token of the next notification of that kind.
    TokenInfo next(Notification expected) {
        const auto notice = heard->next(expected);
        EXPECT_TRUE(notice) << "waiting for " << static_cast<int>(expected);
        if (notice) lastNumber = notice->token.moment.number;
        const vocabulary::TokenNotice payload = notice ? notice->token : vocabulary::TokenNotice();
        EXPECT_NEAR(static_cast<double>(payload.moment.time), static_cast<double>(std::time(nullptr)), 60.0);
        return payload.token;
    }

    TokenModuleControl control;
    std::unique_ptr<RunningService> service;
    std::unique_ptr<HeardNotices> heard;
    VpnTokensController controller;
    std::uint64_t lastNumber = 0;
};

TEST_F(ServiceNotifications, TellOfTokensThatComeAndGo) {
    listen();
    load();
    EXPECT_EQ(next(Notification::tokenArrived).*field::label, "Office") << "with its provider";
    control.remove("reader");
    EXPECT_EQ(next(Notification::tokenRemoved).*field::label, "Office");
    control.insert("other", "office");
    EXPECT_EQ(next(Notification::tokenArrived), office()) << "as it is listed";
    PKCS11::ProviderInfo card;
    card.*vocabulary::provider::name = "card";
    ASSERT_TRUE(controller.ProviderUnload(card));
    EXPECT_EQ(next(Notification::tokenRemoved).*field::label, "Office") << "with its provider";
    EXPECT_TRUE(heard->silentFor(1500ms));
}

TEST_F(ServiceNotifications, TellOfLogInsAndOfWhateverEndsThem) {
    listen();
    load();
    next(Notification::tokenArrived);
    const auto logIn = [&] {
        ASSERT_TRUE(controller.TokenLogin(office(), "1234", false, nullptr));
        EXPECT_TRUE(next(Notification::tokenLoggedIn).flags & flag::loggedIn);
    };
    logIn();
    ASSERT_TRUE(controller.TokenLogin(office(), "1234", false, nullptr)) << "which is nothing new";
    ASSERT_TRUE(controller.TokenLogout(office()));
    EXPECT_FALSE(next(Notification::tokenLoggedOut).flags & flag::loggedIn);
    EXPECT_FALSE(controller.TokenLogin(office(), "wrong", false, nullptr));

    logIn();
    ASSERT_TRUE(controller.ReloadAll());
    next(Notification::tokenLoggedOut);

    logIn();
    ASSERT_TRUE(controller.TokenInitialize(office(), "New", "so-secret", "5678", true));
    EXPECT_EQ(next(Notification::tokenLoggedOut).*field::label, "New");
    const TokenInfo fresh = next(Notification::tokenInitialized);
    EXPECT_EQ(fresh.*field::label, "New");
    EXPECT_EQ(fresh, office());

    ASSERT_TRUE(controller.TokenLogin(office(), "5678", false, nullptr));
    next(Notification::tokenLoggedIn);
    control.remove("reader");
    next(Notification::tokenRemoved);
    EXPECT_TRUE(heard->silentFor(1500ms)) << "a token that is gone is not told to be logged out as well";
}

// Every log-in and log-out is reported, and the numbers give the order.
TEST_F(ServiceNotifications, LoseNothingThatCommandsDoInARow) {
    listen();
    load();
    next(Notification::tokenArrived);
    const TokenInfo token = office();
    ASSERT_TRUE(controller.TokenLogin(token, "1234", false, nullptr));
    next(Notification::tokenLoggedIn);
    constexpr int times = slowRun ? 20 : 100;
    for (int i = 0; i < times; ++i) {
        ASSERT_TRUE(controller.TokenLogout(token));
        ASSERT_TRUE(controller.TokenLogin(token, "1234", false, nullptr));
    }
    for (int i = 0; i < times; ++i) {
        const std::uint64_t before = lastNumber;
        next(Notification::tokenLoggedOut);
        EXPECT_EQ(lastNumber, before + 1);
        next(Notification::tokenLoggedIn);
        EXPECT_EQ(lastNumber, before + 2);
    }
    EXPECT_TRUE(heard->silentFor(100ms));
}

// A front end that hangs delays neither the service nor other front ends.
TEST_F(ServiceNotifications, AreNotHeldUpByAFrontEndThatDoesNotAnswer) {
    listen();
    load();
    next(Notification::tokenArrived);
    heard->holdAnswers();
    ASSERT_TRUE(controller.TokenLogin(office(), "1234", false, nullptr));
    ASSERT_TRUE(controller.TokenLogout(office()));
    EXPECT_NE(service->terminate().status, 3) << "as one that had to leave something behind";
    heard->letAnswersGo();
}

TEST_F(ServiceNotifications, ComeAgainAfterEachRestartWithoutANewBeginning) {
    constexpr int times = slowRun ? 5 : 50;
    listen();
    for (int i = 1; i <= times; ++i) {
        service->kill();
        ASSERT_TRUE(heard->waitForDetached(i)) << i;
        service->start();
        ASSERT_TRUE(heard->waitForAttached(i + 1)) << i;
    }
    EXPECT_EQ(heard->attached(), times + 1);
    EXPECT_EQ(heard->detached(), times);
    load();
    EXPECT_EQ(next(Notification::tokenArrived).*field::label, "Office");
}

// Front ends read these bytes: changing the payloads breaks those that are not rebuilt.
TEST(NotificationPayloads, StandOnTheWireAsEver) {
    const TokenInfo token{7, "L", "S", "", "P", 2};
    const std::string tokenBytes = hex("07 00 00 00 00 00 00 00  01 00 00 00 'L' 01 00 00 00 'S' 00 00 00 00 "
                                       "01 00 00 00 'P'  02 00 00 00");
    const std::string moment = hex("09 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00");
    EXPECT_EQ(encoded(vocabulary::TokenNotice{{9, 3}, token}), moment + tokenBytes);
    EXPECT_EQ(encoded(vocabulary::ConfigurationNotice{{9, 3}, "u", {"LOG", "IKE"}}),
              moment + hex("01 00 00 00 'u' 02 00 00 00 03 00 00 00 'LOG' 03 00 00 00 'IKE'"));
    EXPECT_EQ(encoded(vocabulary::PolicyNotice{{9, 3}, "user", "p", "u", "r"}),
              moment + hex("04 00 00 00 'user' 01 00 00 00 'p' 01 00 00 00 'u' 01 00 00 00 'r'"));
    EXPECT_EQ(encoded(vocabulary::CertificateNotice{{9, 3}, token, {}, -1}),
              moment + tokenBytes + encoded(CertInfo{}) + hex("FF FF FF FF"));
    EXPECT_EQ(encoded(vocabulary::StoppingNotice{{9, 3}}), moment);
}

} // namespace
