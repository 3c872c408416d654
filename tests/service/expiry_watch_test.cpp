// SPDX-License-Identifier: MIT
//
// The expiry watch, with a real server and a listening front end.
#include <service/certs/expiry_watch.h>

#include "../support/heard_notices.h"
#include "../support/service_fixture.h"

#include <platform/bridge/server.h>
#include <vocabulary/certs.h>

#include <ctime>

using panelkitd::Announcer;
using panelkitd::AnnouncingThrough;
using panelkitd::daysLeft;
using panelkitd::ExpirySettings;
using panelkitd::ExpiryWatch;
using panelkitd::WatchedCertificate;
using vocabulary::Notification;

namespace {

constexpr std::int64_t day = 86'400;

CertInfo endingIn(double days, const std::string& subject = "CN=a") {
    CertInfo certificate;
    certificate.subject = subject;
    certificate.notAfter = static_cast<std::uint64_t>(std::time(nullptr) + static_cast<std::int64_t>(days * 86'400));
    return certificate;
}

TEST(DaysLeft, CountWholeDaysAndBelowZeroBehindTheEnd) {
    constexpr std::int64_t now = 1'000 * day;
    const ExpirySettings settings{true, 30, 0s};
    const auto at = [&](std::int64_t end, std::uint32_t state = 0) {
        CertInfo certificate;
        certificate.notAfter = static_cast<std::uint64_t>(end);
        certificate.state = state;
        return daysLeft(certificate, now, settings);
    };
    EXPECT_EQ(at(now + 30 * day), 30);
    EXPECT_EQ(at(now + 30 * day + 1), std::nullopt);
    EXPECT_EQ(at(now + day - 1), 0);
    EXPECT_EQ(at(now), 0);
    EXPECT_EQ(at(now - 1), -1);
    EXPECT_EQ(at(now - day), -1);
    EXPECT_EQ(at(now - day - 1), -2);
    EXPECT_EQ(at(253'402'300'799), std::nullopt) << "the end of the year 9999: no end at all";
    EXPECT_EQ(at(0, static_cast<std::uint32_t>(vocabulary::CertState::unreadable)), std::nullopt);
}

class Mute : public bridge::server::Service {
public:
    bool admits(const bridge::Peer&) override { return true; }
    bridge::server::Answer handle(bridge::server::Session&, const bridge::server::Request&) override {
        return bridge::server::Answer::reply({});
    }
};

class WithAListener : public testing::Test {
protected:
    WithAListener() {
        CommandSender::Instance().SetEndpoint(endpoint);
        heard = std::make_unique<HeardNotices>();
        EXPECT_TRUE(heard->attached.reaches(1));
    }
    ~WithAListener() override {
        heard.reset();
        server.stop();
        serving.join();
    }
    int nextDaysLeft() {
        const auto notice = heard->next(Notification::certificateExpiring);
        EXPECT_TRUE(notice);
        return notice ? notice->certificate.daysLeft : 9999;
    }

    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    Mute service;
    bridge::server::Server server{endpoint, service, {}};
    std::thread serving{[this] { server.run(); }};
    Announcer announcer;
    const AnnouncingThrough announcing{announcer, server};
    std::unique_ptr<HeardNotices> heard;
};

using AnExpiryWatch = WithAListener;
using AnAnnouncer = WithAListener;

TEST_F(AnExpiryWatch, AnnouncesWhatEndsSoonOnceADayAndAnewWithOtherSettings) {
    ExpirySettings settings{true, 30, 0s};
    const std::vector<WatchedCertificate> all{
        {{}, endingIn(10.5)}, {{}, endingIn(-2.5)}, {{}, endingIn(100.5)}, {{}, endingIn(5000)}};
    ExpiryWatch watch([&] { return all; }, announcer, settings, 1ms, 10ms);
    EXPECT_EQ(nextDaysLeft(), 10);
    EXPECT_EQ(nextDaysLeft(), -3);
    watch.set(settings);
    EXPECT_TRUE(heard->silentFor(200ms)) << "it is done for today";
    settings.days = 200;
    watch.set(settings);
    EXPECT_EQ(nextDaysLeft(), 10);
    EXPECT_EQ(nextDaysLeft(), -3);
    EXPECT_EQ(nextDaysLeft(), 100);
    settings.enabled = false;
    watch.set(settings);
    EXPECT_TRUE(heard->silentFor(200ms));
    EXPECT_TRUE(watch.stop(5s));
}

TEST_F(AnExpiryWatch, WaitsForItsTimeOfTheDay) {
    const ExpirySettings settings{true, 30, 86'400s}; // after the end of any day
    ExpiryWatch watch([] { return std::vector<WatchedCertificate>{{{}, endingIn(1)}}; }, announcer, settings, 1ms);
    EXPECT_TRUE(heard->silentFor(200ms));
}

TEST_F(AnExpiryWatch, OutlivesASourceThatFails) {
    std::atomic<bool> fails{true};
    const auto source = [&] {
        if (fails.exchange(false)) throw std::runtime_error("no token");
        return std::vector<WatchedCertificate>{{{}, endingIn(1.5)}};
    };
    const ExpiryWatch watch(source, announcer, {true, 30, 0s}, 1ms, 10ms);
    EXPECT_EQ(nextDaysLeft(), 1);
}

TEST_F(AnAnnouncer, WaitsUntilThoseWhoListenHaveHeardTheEnd) {
    heard->holdAnswers();
    auto told = std::async(std::launch::async, [this] { announcer.announceServiceStopping(); });
    EXPECT_EQ(told.wait_for(50ms), std::future_status::timeout);
    heard->letAnswersGo();
    told.get();
}

TEST(Rounds, GoOnAfterOneThatFails) {
    std::atomic<int> begun{0};
    const panelkitd::Rounds rounds(
        [&](bool) -> std::chrono::milliseconds {
            if (++begun == 1) throw std::runtime_error("no");
            return 1h;
        },
        1ms);
    for (int i = 0; i < 1000 && begun < 2; ++i) std::this_thread::sleep_for(10ms);
    EXPECT_EQ(begun, 2);
}

TEST(Rounds, TellThatTheCurrentOneDoesNotEnd) {
    std::atomic<bool> entered{false}, released{false};
    panelkitd::Rounds rounds(
        [&](bool) {
            entered = true;
            while (!released) std::this_thread::sleep_for(1ms);
            return std::chrono::milliseconds(0);
        },
        1h);
    rounds.ask();
    while (!entered) std::this_thread::sleep_for(1ms);
    EXPECT_FALSE(rounds.stop(20ms));
    released = true;
    EXPECT_TRUE(rounds.stop(10s));
}

} // namespace
