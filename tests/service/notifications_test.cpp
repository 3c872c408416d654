// SPDX-License-Identifier: MIT
//
// The notifications of panelkitd, end to end: the service loads the test token module, the test controls it from
// outside and listens as a front end does. Runs under Wine too.
#include "../support/bytes.h"
#include "../support/heard_notices.h"
#include "../support/run_speed.h"
#include "steered_token.h"
#include "with_service.h"

#include <panelkit/notifications/notifications_listener.h>
#include <vocabulary/notifications.h>

#include <ctime>

using vocabulary::Notification;
namespace field = vocabulary::token;
namespace flag = vocabulary::tokenFlag;

namespace {

class ServiceNotifications : public Steered<WithService> {
protected:
    ServiceNotifications() : Steered({"--embedded-module", "", "--token-poll", "1"}) { control.addSlot("other"); }

    void listen() {
        heard = std::make_unique<HeardNotices>();
        ASSERT_TRUE(heard->attached.reaches(1));
    }
    TokenInfo office() {
        const auto all = listed();
        return all.empty() ? TokenInfo() : all[0];
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

    std::unique_ptr<HeardNotices> heard;
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
    ASSERT_TRUE(tokens.ProviderUnload(card));
    EXPECT_EQ(next(Notification::tokenRemoved).*field::label, "Office") << "with its provider";
    load();
    EXPECT_EQ(next(Notification::tokenArrived).*field::label, "Office");
    control.fail("C_GetTokenInfo", 0x30); // the device's error: nothing is known of the token
    EXPECT_TRUE(heard->silentFor(1500ms));
}

TEST_F(ServiceNotifications, TellOfLogInsAndOfWhateverEndsThem) {
    listen();
    load();
    next(Notification::tokenArrived);
    const auto logIn = [&] {
        ASSERT_TRUE(tokens.TokenLogin(office(), "user-1", false, nullptr));
        EXPECT_TRUE(next(Notification::tokenLoggedIn).flags & flag::loggedIn);
    };
    logIn();
    ASSERT_TRUE(tokens.TokenLogin(office(), "user-1", false, nullptr)) << "which is nothing new";
    ASSERT_TRUE(tokens.TokenLogout(office()));
    EXPECT_FALSE(next(Notification::tokenLoggedOut).flags & flag::loggedIn);
    EXPECT_FALSE(tokens.TokenLogin(office(), "wrong", false, nullptr));

    logIn();
    ASSERT_TRUE(tokens.ReloadAll());
    next(Notification::tokenLoggedOut);

    logIn();
    ASSERT_TRUE(tokens.TokenInitialize(office(), "New", "so-secret", "5678", true));
    EXPECT_EQ(next(Notification::tokenLoggedOut).*field::label, "New");
    const TokenInfo fresh = next(Notification::tokenInitialized);
    EXPECT_EQ(fresh.*field::label, "New");
    EXPECT_EQ(fresh, office());

    for (const bool isNew : {false, true}) { // a new one is usually logged in to before the service looks for it
        if (isNew) control.insert("reader", "office");
        ASSERT_TRUE(tokens.TokenLogin(office(), "5678", false, nullptr));
        if (isNew) {
            EXPECT_FALSE(next(Notification::tokenArrived).flags & flag::loggedIn);
        }
        next(Notification::tokenLoggedIn);
        control.remove("reader");
        next(Notification::tokenRemoved);
    }
    EXPECT_TRUE(heard->silentFor(1500ms)) << "a token that is gone is not told to be logged out as well";
}

// Every log-in and log-out is reported, and the numbers give the order.
TEST_F(ServiceNotifications, ReportEveryLogInAndLogOutInOrder) {
    listen();
    load();
    next(Notification::tokenArrived);
    const TokenInfo token = office();
    ASSERT_TRUE(tokens.TokenLogin(token, "user-1", false, nullptr));
    next(Notification::tokenLoggedIn);
    constexpr int times = slowRun ? 20 : 100;
    for (int i = 0; i < times; ++i) {
        ASSERT_TRUE(tokens.TokenLogout(token));
        ASSERT_TRUE(tokens.TokenLogin(token, "user-1", false, nullptr));
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

// Front ends read these bytes: changing the payloads breaks those that are not rebuilt.
TEST(NotificationPayloads, HaveTheirHandWrittenBytes) {
    const TokenInfo token{7, "L", "S", "", "P", 2};
    const std::string tokenBytes = hex("07 00 00 00 00 00 00 00  01 00 00 00 'L' 01 00 00 00 'S' 00 00 00 00 "
                                       "01 00 00 00 'P'  02 00 00 00");
    const std::string moment = hex("09 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00");
    EXPECT_EQ(encoded(vocabulary::TokenNotice{{9, 3}, token}), moment + tokenBytes);
    EXPECT_EQ(encoded(vocabulary::ConfigurationNotice{{9, 3}, "u", {"LOG", "IKE"}}),
              moment + hex("01 00 00 00 'u' 02 00 00 00 03 00 00 00 'LOG' 03 00 00 00 'IKE'"));
    EXPECT_EQ(encoded(vocabulary::PolicyNotice{{9, 3}, "user", "p", "u", "r"}),
              moment + hex("04 00 00 00 'user' 01 00 00 00 'p' 01 00 00 00 'u' 01 00 00 00 'r'"));
    EXPECT_EQ(encoded(vocabulary::TunnelNotice{{9, 3}, "s", "g", "u", 2, "r"}),
              moment + hex("01 00 00 00 's' 01 00 00 00 'g' 01 00 00 00 'u' 02 00 00 00 01 00 00 00 'r'"));
    EXPECT_EQ(encoded(vocabulary::CertificateNotice{{9, 3}, token, {}, -1}),
              moment + tokenBytes + encoded(CertInfo{}) + hex("FF FF FF FF"));
    EXPECT_EQ(encoded(vocabulary::StoppingNotice{{9, 3}}), moment);
}

} // namespace
