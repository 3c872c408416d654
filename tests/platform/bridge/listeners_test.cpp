// SPDX-License-Identifier: MIT
//
// Who hears a notification, and what a job holds.
#include <platform/bridge/command_sender.h>
#include <platform/bridge/receiver.h>
#include <platform/bridge/workers.h>
#include <testing/scripted_service.h>

#include "../../support/test.h"

using namespace std::chrono_literals;

namespace {

constexpr auto module = static_cast<ModuleIdType>(25);

class Listener : public bridge::client::CommandListener {
public:
    explicit Listener(ModuleIdType of, bool handles) : CommandListener(of), handles_(handles) {
        bridge::client::AddCommandListener(this);
    }
    ~Listener() override { bridge::client::DelCommandListener(this); }
    bool onCommand(bridge::client::RecvSession*, std::int32_t, const std::string& payload,
                   std::string& reply) override {
        ++heard;
        if (payload == "throw") throw std::runtime_error("from the listener");
        reply = payload;
        return handles_;
    }
    void onSessionOpened(bridge::client::RecvSession*) override { ++opened; }
    void onSessionClosed(bridge::client::RecvSession*) override { ++closed; }
    void onServerAttach() override {}
    void onServerDetach() override {}

    std::atomic<int> heard{0}, opened{0}, closed{0};

private:
    bool handles_;
};

using panelkit::testing::PushResult;

TEST(Listeners, HearWhatIsForTheirModuleUntilOneHandlesIt) {
    panelkit::testing::ScriptedService service;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    Listener other(ModuleTokens, true), first(module, false), second(module, true), third(module, true);
    bridge::client::CommandReceiver_init();
    ASSERT_TRUE(service.waitForReceiver());
    EXPECT_EQ(service.push(1, "x"), (PushResult{PushResult::Kind::handled, "x"}));
    EXPECT_EQ(other.heard + third.heard, 0);
    EXPECT_EQ(first.heard + second.heard, 2);
    EXPECT_EQ(service.push(1, "throw").kind, PushResult::Kind::notHandled);
    bridge::client::CommandReceiver_fini();
    for (const Listener* listener : {&first, &second}) {
        EXPECT_EQ(listener->opened, listener->heard);
        EXPECT_EQ(listener->closed, listener->heard);
    }
}

// Several listeners answer at once on the one line.
TEST(Listeners, AnswerAtTheSameTime) {
    panelkit::testing::ScriptedService service;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    const Listener listener(module, true);
    bridge::client::CommandReceiver_init();
    ASSERT_TRUE(service.waitForReceiver());
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
    bridge::client::CommandReceiver_fini();
}

TEST(Listeners, HaveEndedWhenTheReceiverHas) {
    class Slow : public Listener {
    public:
        using Listener::Listener;
        bool onCommand(bridge::client::RecvSession*, std::int32_t, const std::string&, std::string&) override {
            begun.set_value();
            goesOn.get_future().wait();
            return true;
        }
        std::promise<void> begun, goesOn;
    };
    panelkit::testing::ScriptedService service;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    Slow listener(module, true);
    bridge::client::CommandReceiver_init();
    ASSERT_TRUE(service.waitForReceiver());
    auto pushed = std::async(std::launch::async, [&] { service.push(1, "x"); });
    listener.begun.get_future().wait();
    auto ended = std::async(std::launch::async, [] { bridge::client::CommandReceiver_fini(); });
    EXPECT_EQ(ended.wait_for(50ms), std::future_status::timeout);
    listener.goesOn.set_value();
    ended.get();
    pushed.get();
}

// What a job holds is free when its end is reported, and does not live on in the idle thread.
TEST(AJob, HoldsNothingWhenItHasEnded) {
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    {
        bridge::Job job([held = std::move(held)] {});
        EXPECT_TRUE(job.waitFor(10s));
        EXPECT_TRUE(watched.expired());
    }
}

} // namespace
