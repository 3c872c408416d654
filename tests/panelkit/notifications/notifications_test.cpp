// SPDX-License-Identifier: MIT
#include <panelkit/notifications/notifications_listener.h>

#include "../../support/bytes.h"
#include "../../support/service_fixture.h"
#include "../../support/waiting.h"

#include <random>

using panelkit::testing::PushResult;
using std::chrono::milliseconds;

namespace {

NotificationIdType id(std::int32_t value) { return static_cast<NotificationIdType>(value); }

const PushResult refused{PushResult::Kind::notHandled, ""};
PushResult answered(const std::string& reply) { return {PushResult::Kind::handled, reply}; }

// A handler that echoes, counts, and does what the test says.
class Handler : public VpnNotificationHandler {
public:
    explicit Handler(std::int32_t value, std::function<bool(const std::string&)> whatItDoes = {})
        : VpnNotificationHandler(id(value)), does(std::move(whatItDoes)) {}
    bool handle(CommandStreamIn& payload, CommandStreamOut& reply) override {
        ++handled;
        std::string text;
        payload >> text;
        if (does && !does(text)) return false;
        reply << std::string_view("echo " + text);
        return true;
    }
    std::function<bool(const std::string&)> does;
    std::atomic<int> handled{0};
};

// Counts how often the service attaches and detaches.
class Attentive final : public VpnNotificationsDispatcher {
public:
    void handleServerAttachNotification() override { attached.add(); }
    void handleServerDetachNotification() override { detached.add(); }
    Count attached, detached;
};

class Notifications : public WithScriptedService {
protected:
    ~Notifications() override { end(); }
    void listen(VpnNotificationsDispatcher* dispatcher = nullptr) {
        VpnNotificationsListener::init(dispatcher);
        listening = true;
        ASSERT_TRUE(service->waitForReceiver());
    }
    void end() {
        if (listening) VpnNotificationsListener::fini();
        listening = false;
    }
    PushResult push(std::int32_t value, const std::string& text) { return service->push(value, encoded(text)); }
    std::future<PushResult> send(std::int32_t value, const std::string& text) {
        return std::async(std::launch::async, [this, value, text] { return push(value, text); });
    }
    static std::string echo(const std::string& text) { return encoded("echo " + text); }

    bool listening = false;
};

// ---- the registry

TEST(NotificationHandlers, RegisterByIdInOrderAndUnregisterWhenDestroyed) {
    std::vector<NotificationIdType> ids(9);
    {
        Handler seven(7), minus(-3), two(2);
        VpnNotificationsDispatcher::notificationsList(ids);
        EXPECT_THAT(ids, ElementsAre(id(-3), id(2), id(7)));
    }
    VpnNotificationsDispatcher::notificationsList(ids);
    EXPECT_TRUE(ids.empty());
}

TEST(NotificationHandlers, NeedAGuiUnlessTheySayOtherwiseAndUnknownIdsNeedNone) {
    Handler handler(5);
    EXPECT_FALSE(VpnNotificationsDispatcher::noNeedGuiToHandle(id(5)));
    handler.SetNoNeedGui();
    EXPECT_TRUE(handler.noNeedGui());
    EXPECT_TRUE(VpnNotificationsDispatcher::noNeedGuiToHandle(id(5)));
    EXPECT_TRUE(VpnNotificationsDispatcher::noNeedGuiToHandle(id(6)));
}

bool dispatch(std::int32_t value) {
    std::string reply;
    const std::string text = encoded(std::string("x"));
    CommandStreamIn in(text);
    CommandStreamOut out(reply);
    return VpnNotificationsDispatcher().handleNotification(id(value), in, out);
}

TEST(NotificationHandlers, ThatWereReplacedTakeTheirSuccessorOutWhenDestroyed) {
    auto first = std::make_unique<Handler>(4);
    const Handler second(4);
    EXPECT_TRUE(dispatch(4));
    first.reset();
    EXPECT_FALSE(dispatch(4));
}

class Quiet : public VpnNotificationHandler { // it can be copied
public:
    using VpnNotificationHandler::VpnNotificationHandler;
    bool handle(CommandStreamIn&, CommandStreamOut&) override { return true; }
};

TEST(NotificationHandlers, CopyIdAndFlagAndLeaveTheRegistryAlone) {
    Quiet original(id(8));
    original.SetNoNeedGui();
    {
        const Quiet copy(original);
        EXPECT_EQ(copy.notificationId(), id(8));
        EXPECT_TRUE(copy.noNeedGui());
        EXPECT_TRUE(dispatch(8));
    }
    EXPECT_FALSE(dispatch(8)) << "the copy's destructor unregisters the id";
}

TEST(NotificationHandlers, AreForgottenAllAtOnce) {
    const Handler one(1), two(2);
    VpnNotificationsDispatcher().stopHandleNotifications();
    EXPECT_FALSE(dispatch(1));
    EXPECT_FALSE(dispatch(2));
}

// ---- over the bridge

TEST_F(Notifications, ReachTheHandlerOfTheirIdAndAreAnswered) {
    Handler one(1), two(2, [](const std::string&text) { return text != "no"; });
    listen();
    EXPECT_EQ(push(1, "a"), answered(echo("a")));
    EXPECT_EQ(push(2, "b"), answered(echo("b")));
    EXPECT_EQ(push(2, "no"), refused);
    EXPECT_EQ(push(3, "nobody"), refused);
    EXPECT_EQ(one.handled, 1);
    EXPECT_EQ(two.handled, 2);
}

TEST_F(Notifications, OfAnIdThatWasRegisteredAfterwardsAreNotRouted) {
    Handler one(1);
    listen();
    Handler late(2);
    EXPECT_EQ(push(2, "x"), refused);
    EXPECT_EQ(late.handled, 0);
}

TEST_F(Notifications, WithoutAHandlerAnyMoreAreRefused) {
    auto gone = std::make_unique<Handler>(1);
    listen();
    EXPECT_EQ(push(1, "x"), answered(echo("x")));
    gone.reset();
    EXPECT_EQ(push(1, "x"), refused);
}

TEST_F(Notifications, ThatAHandlerThrowsAtAreRefusedAndTheNextIsHandled) {
    Handler handler(1, [](const std::string& text) -> bool {
        if (text == "bad") throw std::runtime_error("from the handler");
        return true;
    });
    listen();
    EXPECT_EQ(push(1, "bad"), refused);
    EXPECT_EQ(push(1, "good"), answered(echo("good")));
    EXPECT_EQ(service->push(1, "not a text"), refused) << "a payload that ends early";
    EXPECT_EQ(push(1, "good"), answered(echo("good")));
}

TEST_F(Notifications, ThatDifferAreDroppedWhileTheirIdIsBusy) {
    Gate gate;
    Handler busy(1, [&](const std::string&) { return gate.pass(); });
    listen();
    auto first = send(1, "first");
    gate.awaitWaiting();
    EXPECT_EQ(push(1, "other"), refused);
    gate.open();
    EXPECT_EQ(first.get(), answered(echo("first")));
    EXPECT_EQ(push(1, "other"), answered(echo("other")));
    EXPECT_EQ(busy.handled, 2);
}

// The newest of several counts: its payload, and its sender.
TEST_F(Notifications, ThatComeAgainAreComparedWithTheNewest) {
    Gate gate;
    std::atomic<bool> waits{false};
    Handler handler(1, [&](const std::string&) { return !waits || gate.pass(); });
    listen();
    EXPECT_EQ(push(1, "former"), answered(echo("former")));
    waits = true;
    auto newest = send(1, "newest");
    gate.awaitWaiting();
    EXPECT_EQ(push(1, "former"), refused) << "its handling is over";
    for (int i = 0; i < 2; ++i) {
        auto newer = send(1, "newest");
        EXPECT_EQ(newest.get(), refused) << "while the handling runs, the newer one takes its place";
        newest = std::move(newer);
    }
    gate.open();
    EXPECT_EQ(newest.get(), answered(echo("newest")));
    EXPECT_EQ(handler.handled, 2);
}

// Each of two equal ones has a session of its own, whatever became of the sessions of former ones. Memory may be used
// again, so a former one is not told from the present one every time.
TEST_F(Notifications, ThatComeTwiceLeaveTheRefusalToTheFirst) {
    std::atomic<Gate*> gate{nullptr};
    const Handler handler(1), other(2, [&](const std::string&) { return gate.load()->pass(); });
    listen();
    EXPECT_EQ(push(1, "former"), answered(echo("former")));
    for (int round = 0; round < 5; ++round) {
        Gate closed;
        gate = &closed;
        auto holding = send(2, "x"); // so that no other handler runs
        closed.awaitWaiting();
        auto first = send(1, "same");
        std::this_thread::sleep_for(milliseconds(50));
        auto second = send(1, "same");
        EXPECT_EQ(first.wait_for(std::chrono::seconds(5)), std::future_status::ready);
        closed.open();
        EXPECT_EQ(first.get(), refused);
        EXPECT_EQ(second.get(), answered(echo("same")));
        EXPECT_EQ(holding.get(), answered(echo("x")));
    }
}

// A handler must be able to rely on running alone, and on not being destroyed during its call.
TEST_F(Notifications, OfAllIdsRunOneAtATimeAndHoldUpWhoMakesHandlers) {
    Gate gate;
    Handler slow(1, [&](const std::string&) { return gate.pass(); });
    Handler other(2);
    listen();
    auto first = send(1, "x");
    gate.awaitWaiting();
    auto second = send(2, "x");
    auto made = std::async(std::launch::async, [] { const Handler passing(3); });
    EXPECT_EQ(made.wait_for(milliseconds(100)), std::future_status::timeout);
    EXPECT_EQ(other.handled, 0);
    gate.open();
    second.get();
    EXPECT_EQ(other.handled, 1);
}

TEST_F(Notifications, EndByWayOfTheDispatcher) {
    class Stopping final : public VpnNotificationsDispatcher {
    public:
        void stopHandleNotifications() override {
            ++stopped;
            wasListening = service->push(2, "").kind == PushResult::Kind::notHandled; // an answer, so it still listens
            VpnNotificationsDispatcher::stopHandleNotifications();
        }
        panelkit::testing::ScriptedService* service = nullptr;
        bool wasListening = false;
        int stopped = 0;
    } dispatcher;
    dispatcher.service = service.get();
    Handler handler(1);
    listen(&dispatcher);
    EXPECT_EQ(dispatcher.stopped, 0);
    end();
    EXPECT_EQ(dispatcher.stopped, 1);
    EXPECT_TRUE(dispatcher.wasListening) << "so that nothing is handled from then on";
}

TEST_F(Notifications, MayCreateAndDestroyHandlers) {
    std::unique_ptr<Handler> made;
    auto doomed = std::make_unique<Handler>(2);
    Handler handler(1, [&](const std::string&) {
        doomed.reset();
        made = std::make_unique<Handler>(3);
        return true;
    });
    Handler placeholder(3);
    listen();
    EXPECT_EQ(push(1, "go"), answered(echo("go")));
    EXPECT_EQ(push(2, "x"), refused);
    EXPECT_EQ(push(3, "x"), answered(echo("x")));
    EXPECT_EQ(made->handled, 1);
}

TEST_F(Notifications, EndOnlyWhenNoHandlerRunsAnyMore) {
    Gate gate;
    std::atomic<bool> ended{false};
    Handler handler(1, [&](const std::string&) {
        gate.pass();
        std::this_thread::sleep_for(milliseconds(50));
        ended = true;
        return true;
    });
    listen();
    std::thread sender([&] { push(1, "x"); });
    gate.awaitWaiting();
    std::thread opener([&] {
        std::this_thread::sleep_for(milliseconds(50));
        gate.open();
    });
    end();
    EXPECT_TRUE(ended);
    opener.join();
    service->cutAll();
    sender.join();
    std::vector<NotificationIdType> ids;
    VpnNotificationsDispatcher::notificationsList(ids);
    EXPECT_TRUE(ids.empty()) << "fini empties the registry";
}

TEST_F(Notifications, CanBeBegunAgain) {
    {
        Handler handler(1);
        listen();
        EXPECT_EQ(push(1, "one"), answered(echo("one")));
        end();
    }
    Handler handler(1);
    killService();
    restartService();
    listen();
    EXPECT_EQ(push(1, "two"), answered(echo("two")));
}

TEST_F(Notifications, TellOnceForEachTimeThatTheServiceComesAndGoes) {
    Attentive dispatcher;
    Handler handler(1);
    listen(&dispatcher);
    constexpr int times = 50;
    for (int i = 1; i <= times; ++i) {
        ASSERT_TRUE(dispatcher.attached.reaches(i)) << i;
        killService();
        ASSERT_TRUE(dispatcher.detached.reaches(i)) << i;
        restartService();
    }
    ASSERT_TRUE(dispatcher.attached.reaches(times + 1));
    ASSERT_TRUE(service->waitForReceiver());
    EXPECT_EQ(push(1, "still here"), answered(echo("still here")));
    end();
    EXPECT_EQ(dispatcher.attached.value(), times + 1);
    EXPECT_EQ(dispatcher.detached.value(), times + 1);
}

TEST_F(WithoutService, TheListenerWaitsForItAndEndsWithoutIt) {
    Attentive dispatcher;
    const Handler handler(1);
    VpnNotificationsListener::init(&dispatcher);
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_EQ(dispatcher.attached.value(), 0);
    {
        panelkit::testing::ScriptedService late(CommandSender::Instance().Endpoint());
        EXPECT_TRUE(dispatcher.attached.reaches(1));
    }
    VpnNotificationsListener::fini();
    EXPECT_EQ(dispatcher.detached.value(), 1);
}

// Two ids for eight senders, so there are duplicates and busy ids, while handlers come and go. Every push has exactly
// one answer, and every handling answers one sender.
TEST_F(Notifications, ThatCollideAreEachAnsweredOnce) {
    constexpr int each = 300;
    Handler one(1), two(2);
    listen();
    std::atomic<int> handledAnswers{0}, refusals{0};
    std::atomic<bool> done{false};
    std::thread others([&] { // ids without senders
        for (int round = 0; !done; ++round) const Handler passing(100 + round % 7);
    });
    std::vector<std::thread> senders;
    for (int i = 0; i < 8; ++i) {
        senders.emplace_back([&, i] {
            std::mt19937 random(static_cast<unsigned>(i));
            for (int n = 0; n < each; ++n) {
                const PushResult result = push(1 + static_cast<int>(random() % 2), std::to_string(random() % 3));
                ASSERT_NE(result.kind, PushResult::Kind::noAnswer);
                ++(result.kind == PushResult::Kind::handled ? handledAnswers : refusals);
            }
        });
    }
    for (std::thread& sender : senders) sender.join();
    done = true;
    others.join();
    EXPECT_EQ(handledAnswers + refusals, 8 * each);
    EXPECT_EQ(handledAnswers, one.handled + two.handled);
}

} // namespace
