// SPDX-License-Identifier: MIT
//
// Notifications from the server to its receivers: none is lost, their order, and the handling of those that are not
// answered.
#include <platform/bridge/server.h>

#include <platform/bridge/command_sender.h>
#include <platform/bridge/receiver.h>
#include <testing/scripted_service.h>

#include "../../support/run_speed.h"
#include "../../support/waiting.h"
#include "raw_client.h"

using bridge::server::Push;
using bridge::server::PushOutcome;

namespace {

constexpr auto notifications = static_cast<ModuleIdType>(25);

class Quiet : public bridge::server::Service {
public:
    bool admits(const bridge::Peer&) override { return true; }
    bridge::server::Answer handle(bridge::server::Session&, const bridge::server::Request&) override {
        return bridge::server::Answer::reply({});
    }
    void lagged(const bridge::Peer&) override { ++laggards; }
    std::atomic<int> laggards{0};
};

class Listener : public bridge::client::CommandListener {
public:
    using Handle = std::function<bool(std::int32_t id, const std::string& payload)>;
    explicit Listener(Handle handle) : CommandListener(notifications), handle_(std::move(handle)) {
        bridge::client::AddCommandListener(this);
        bridge::client::CommandReceiver_init();
    }
    ~Listener() override {
        bridge::client::CommandReceiver_fini();
        bridge::client::DelCommandListener(this);
    }
    bool onCommand(bridge::client::RecvSession*, std::int32_t id, const std::string& payload, std::string&) override {
        return handle_(id, payload);
    }
    void onServerAttach() override { attached.add(); }

    Count attached;

private:
    const Handle handle_;
};

class Pushes : public testing::Test {
protected:
    explicit Pushes(bridge::server::PushLimits limits = {}) : server(endpoint, service, with(limits)) {
        running = std::thread([this] { server.run(); });
        CommandSender::Instance().SetEndpoint(endpoint);
    }
    ~Pushes() override {
        server.stop();
        running.join();
    }
    static bridge::server::Options with(bridge::server::PushLimits limits) {
        bridge::server::Options options;
        options.push = limits;
        return options;
    }
    void push(std::int32_t id, const std::string& payload, std::function<void(PushOutcome)> outcome = {}) {
        Push one{25, id, payload, {}};
        if (outcome) one.answered = [outcome](PushOutcome what, const std::string&) { outcome(what); };
        server.push(std::move(one));
    }
    // A receiver that is welcomed and then does nothing.
    raw::Client idleReceiver() const { return raw::greeted(endpoint, bridge::Role::receiver); }

    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    Quiet service;
    bridge::server::Server server;
    std::thread running;
};

// Ten kinds in turn, as fast as the line accepts them.
TEST_F(Pushes, AreAllHandledAndThoseOfOneIdInOrder) {
    constexpr int total = slowRun ? 5'000 : 100'000;
    constexpr int kinds = 10;
    std::array<std::atomic<int>, kinds> last{};
    std::atomic<int> disorder{0};
    Count handled;
    Listener listener([&](std::int32_t id, const std::string& payload) {
        const int number = std::stoi(payload);
        if (last.at(static_cast<std::size_t>(id)).exchange(number) >= number) ++disorder;
        return true;
    });
    ASSERT_TRUE(listener.attached.reaches(1));
    for (int i = 1; i <= total; ++i) {
        ASSERT_TRUE(handled.reaches(i - 500)) << i; // no more than 500 at a time wait
        push(i % kinds, std::to_string(i), [&](PushOutcome outcome) {
            if (outcome == PushOutcome::handled) handled.add();
        });
    }
    EXPECT_TRUE(handled.reaches(total));
    EXPECT_EQ(disorder, 0);
    EXPECT_EQ(service.laggards, 0);
}

TEST_F(Pushes, ReachAReceiverFromTheMomentThatItKnowsOfTheService) {
    for (int i = 0; i < 20; ++i) {
        const auto receiver = idleReceiver();
        push(1, "at once");
        EXPECT_EQ(raw::readFrame(*receiver).first.kind, bridge::FrameKind::push) << i;
    }
}

TEST_F(Pushes, ToNobodyAreForgotten) {
    push(1, "x", [](PushOutcome) { ADD_FAILURE() << "nobody was sent it"; });
    server.drainPushes(1s);
}

class ImpatientPushes : public Pushes {
protected:
    ImpatientPushes() : Pushes({.waiting = 10, .waitingBytes = 1000, .writeWait = 100ms}) {}
};

// A front end drops a notification while its handler is busy with one of the same id. So the next one has to wait,
// longer than a write may take, and what comes after the handler's end must not be lost.
TEST_F(ImpatientPushes, WaitForAHandlerThatTakesLonger) {
    constexpr int total = 10;
    std::atomic<int> dropped{0};
    std::atomic<bool> busy{false};
    Count begun, letGo, answered;
    Listener listener([&](std::int32_t, const std::string&) { // as the library's listener does
        if (busy.exchange(true)) {
            ++dropped;
            return false;
        }
        begun.add();
        letGo.reaches(1);
        busy = false;
        return true;
    });
    ASSERT_TRUE(listener.attached.reaches(1));
    for (int i = 0; i < total; ++i) {
        push(1, "x", [&](PushOutcome outcome) {
            if (outcome == PushOutcome::handled) answered.add();
        });
        ASSERT_TRUE(begun.reaches(1));
    }
    EXPECT_FALSE(begun.reaches(2, 500ms)) << "five times as long as a write may take";
    letGo.add();
    EXPECT_TRUE(answered.reaches(total, 10s)) << answered.value() << " of " << total;
    EXPECT_EQ(dropped, 0);
}

TEST_F(ImpatientPushes, CloseAReceiverThatDoesNotKeepUpAndSayItOnce) {
    const auto receiver = idleReceiver();
    Count lost;
    for (int i = 0; i < 50; ++i) {
        push(1, "x", [&](PushOutcome outcome) {
            if (outcome == PushOutcome::lost) lost.add();
        });
    }
    EXPECT_TRUE(lost.reaches(10)) << "what waited, and what was under way";
    EXPECT_EQ(service.laggards, 1);
    push(2, std::string(2000, 'x')); // no receiver is left
    EXPECT_EQ(service.laggards, 1);
}

TEST_F(Pushes, AreDrainedForAllReceiversTogetherInTheGivenTime) {
    std::vector<raw::Client> receivers;
    for (int i = 0; i < 8; ++i) receivers.push_back(idleReceiver());
    push(1, "x");
    const auto start = std::chrono::steady_clock::now();
    server.drainPushes(1s);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s) << "one after the other they would take eight";
}

} // namespace
