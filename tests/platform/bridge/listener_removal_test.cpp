// SPDX-License-Identifier: MIT
//
// Listeners that throw, and listeners that are removed while one of their functions runs.
#include <panelkit/bridge/commands.h>
#include <testing/scripted_service.h>

#include "../../support/test.h"

#include <platform/bridge/command_sender.h>
#include <platform/bridge/receiver.h>

namespace {

using bridge::client::CommandListener;
using panelkit::testing::PushResult;
using panelkit::testing::ScriptedService;

struct Listener : CommandListener {
    Listener() : CommandListener(ModuleNotifications) { bridge::client::AddCommandListener(this); }
    ~Listener() override { bridge::client::DelCommandListener(this); }
    bool onCommand(bridge::client::RecvSession*, std::int32_t, const std::string&, std::string&) override {
        ++heard;
        if (command) command();
        return true;
    }
    void onServerAttach() override { run(attach); }
    void onServerDetach() override { run(detach); }
    void onSessionOpened(bridge::client::RecvSession*) override { run(open); }
    void onSessionClosed(bridge::client::RecvSession*) override { run(close); }
    static void run(const std::function<void()>& what) {
        if (what) what();
    }

    std::function<void()> command, attach, detach, open, close;
    std::atomic<int> heard{0};
};

class ListenersOfOurs : public testing::Test {
protected:
    void begin() {
        CommandSender::Instance().SetEndpoint(service.endpoint());
        bridge::client::CommandReceiver_init();
        ASSERT_TRUE(service.waitForReceiver());
    }
    ~ListenersOfOurs() override { bridge::client::CommandReceiver_fini(); }

    ScriptedService service;
};

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

} // namespace
