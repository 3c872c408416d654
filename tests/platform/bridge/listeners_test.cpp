// SPDX-License-Identifier: MIT
//
// Who hears a notification; listeners that throw, and listeners that are removed while one of their functions runs; and
// what a job holds.
#include <panelkit/bridge/commands.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/receiver.h>
#include <platform/bridge/workers.h>
#include <testing/scripted_service.h>

#include "../../support/test.h"

namespace {

using bridge::client::CommandListener;
using panelkit::testing::PushResult;
using panelkit::testing::ScriptedService;

struct Listener : CommandListener {
    explicit Listener(ModuleIdType of = ModuleNotifications, bool handled = true)
        : CommandListener(of), handles(handled) {
        bridge::client::AddCommandListener(this);
    }
    ~Listener() override { bridge::client::DelCommandListener(this); }
    bool onCommand(bridge::client::RecvSession*, std::int32_t, const std::string& payload,
                   std::string& reply) override {
        ++heard;
        run(command);
        reply = payload;
        return handles;
    }
    void onServerAttach() override { run(attach); }
    void onServerDetach() override { run(detach); }
    void onSessionOpened(bridge::client::RecvSession*) override {
        ++opened;
        run(open);
    }
    void onSessionClosed(bridge::client::RecvSession*) override {
        ++closed;
        run(close);
    }
    static void run(const std::function<void()>& what) {
        if (what) what();
    }

    const bool handles;
    std::function<void()> command, attach, detach, open, close;
    std::atomic<int> heard{0}, opened{0}, closed{0};
};

class ListenersOfOurs : public testing::Test {
protected:
    void begin() {
        CommandSender::Instance().SetEndpoint(service.endpoint());
        bridge::client::CommandReceiver_init();
        ASSERT_TRUE(service.waitForReceiver());
    }
    static void end() { bridge::client::CommandReceiver_fini(); }
    ~ListenersOfOurs() override { end(); }

    ScriptedService service;
};

TEST_F(ListenersOfOurs, HearWhatIsForTheirModuleUntilOneHandlesIt) {
    Listener other(ModuleTokens), first(ModuleNotifications, false), second, third;
    begin();
    EXPECT_EQ(service.push(1, "x"), (PushResult{PushResult::Kind::handled, "x"}));
    EXPECT_EQ(other.heard + third.heard, 0);
    EXPECT_EQ(first.heard + second.heard, 2);
    end();
    for (const Listener* listener : {&first, &second}) {
        EXPECT_EQ(listener->opened, listener->heard);
        EXPECT_EQ(listener->closed, listener->heard);
    }
}

// Several listeners answer at once on the one line.
TEST_F(ListenersOfOurs, AnswerAtTheSameTime) {
    const Listener listener;
    begin();
    std::atomic<int> answered{0};
    std::vector<std::thread> senders;
    for (int i = 0; i < 4; ++i) {
        senders.emplace_back([&, i] {
            const std::string text(3000, static_cast<char>('a' + i));
            for (int n = 0; n < 100; ++n)
                answered += service.push(i, text) == PushResult{PushResult::Kind::handled, text};
        });
    }
    for (std::thread& sender : senders) sender.join();
    EXPECT_EQ(answered, 400);
}

TEST_F(ListenersOfOurs, HaveEndedWhenTheReceiverHas) {
    std::promise<void> begun, goesOn;
    Listener listener;
    listener.command = [&] {
        begun.set_value();
        goesOn.get_future().wait();
    };
    begin();
    auto pushed = std::async(std::launch::async, [&] { service.push(1, "x"); });
    begun.get_future().wait();
    auto ended = std::async(std::launch::async, end);
    EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    goesOn.set_value();
    ended.get();
    pushed.get();
}

TEST_F(ListenersOfOurs, MayThrowFromEachFunctionAndReceivingGoesOn) {
    const std::function<void()> toss = [] { throw std::runtime_error("from a front end"); };
    const std::function<void()> tossText = [] { throw "a text"; };
    Listener listener;
    std::atomic<int> attached{0};
    listener.attach = [&] {
        ++attached;
        toss();
    };
    listener.detach = tossText;
    begin();
    EXPECT_EQ(service.push(1, "").kind, PushResult::Kind::handled);
    struct Row {
        const char* name;
        std::function<void()> Listener::*function;
        PushResult::Kind expected;
    };
    const Row rows[] = {{"open", &Listener::open, PushResult::Kind::notHandled},
                        {"command", &Listener::command, PushResult::Kind::notHandled},
                        {"close", &Listener::close, PushResult::Kind::handled}};
    for (const Row& row : rows) {
        for (const auto& how : {toss, tossText}) {
            listener.*row.function = how;
            EXPECT_EQ(service.push(1, "").kind, row.expected) << row.name;
        }
        listener.*row.function = nullptr;
    }
    service.cutAll();
    while (attached < 2) std::this_thread::yield();
    ASSERT_TRUE(service.waitForReceiver());
    EXPECT_EQ(service.push(1, "").kind, PushResult::Kind::handled) << "after a detach and an attach that threw";
}

TEST_F(ListenersOfOurs, AreRemovedOnlyWhenNoneOfTheirFunctionsRuns) {
    auto listener = std::make_unique<Listener>();
    std::promise<void> entered, mayLeave;
    std::atomic<bool> left{false};
    listener->command = [&] {
        entered.set_value();
        mayLeave.get_future().wait();
        left = true;
    };
    begin();
    std::thread sender([&] { service.push(1, ""); });
    entered.get_future().wait();
    std::atomic<bool> removed{false};
    std::thread remover([&] {
        bridge::client::DelCommandListener(listener.get());
        EXPECT_TRUE(left) << "the listener may be destroyed now";
        removed = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // for a remover that does not wait
    EXPECT_FALSE(removed);
    mayLeave.set_value();
    remover.join();
    sender.join();
    listener.reset();
    EXPECT_EQ(service.push(1, "").kind, PushResult::Kind::notHandled);
}

TEST_F(ListenersOfOurs, MayRemoveThemselves) {
    Listener once, other;
    once.command = [&] { bridge::client::DelCommandListener(&once); };
    begin();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(service.push(1, "").kind, PushResult::Kind::handled) << i;
    EXPECT_EQ(once.heard, 1);
    EXPECT_EQ(other.heard, 2);
}

// What a job holds is free when its end is reported, and does not live on in the idle thread.
TEST(AJob, HoldsNothingWhenItHasEnded) {
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    {
        bridge::Job job([held = std::move(held)] {});
        EXPECT_TRUE(job.waitFor(std::chrono::seconds(10)));
        EXPECT_TRUE(watched.expired());
    }
}

} // namespace
