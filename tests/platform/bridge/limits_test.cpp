// SPDX-License-Identifier: MIT
//
// What a server gives back: budgets, places of sessions and of receivers, and what a listener or a job holds.
#include <platform/bridge/server.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>
#include <platform/bridge/receiver.h>
#include <platform/bridge/workers.h>
#include <testing/scripted_service.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using bridge::server::Answer;
using namespace std::chrono_literals;

namespace {

constexpr auto module = static_cast<ModuleIdType>(25);

class Echo : public bridge::server::Service {
public:
    bool admits(const bridge::Peer&) override { return true; }
    Answer handle(bridge::server::Session&, const bridge::server::Request& request) override {
        return Answer::reply(request.payload);
    }
};

class Limits : public testing::Test {
protected:
    ~Limits() override { stop(); }
    void serve(bridge::server::Options options) {
        server = std::make_unique<bridge::server::Server>(endpoint, service, std::move(options));
        running = std::thread([this] { server->run(); });
        CommandSender::Instance().SetEndpoint(endpoint);
    }
    void stop() {
        if (!running.joinable()) return;
        server->stop();
        running.join();
        server.reset();
    }
    static BridgeSession* open() { return CommandSender::Instance().OpenNewSession("Test", 1); }
    static bool send(BridgeSession* session, const std::string& payload) {
        std::string reply;
        return session->__SendCommand(ModuleTokens, 1, payload.data(), static_cast<unsigned>(payload.size()), &reply) &&
               reply == payload;
    }

    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    Echo service;
    std::unique_ptr<bridge::server::Server> server;
    std::thread running;
};

TEST_F(Limits, OfBufferedBytesAreFreeAgainAfterEachRequest) {
    bridge::server::Options options;
    options.bufferLimit = 1000;
    serve(options);
    BridgeSession* const session = open();
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(send(session, std::string(900, 'x'))) << i;
    EXPECT_FALSE(send(open(), std::string(1001, 'x')));
    EXPECT_TRUE(send(session, std::string(1000, 'x'))) << "also after one that was refused";
    CommandSender::Instance().CloseSession(session);
}

// All, and those of one account: as many as the limit says, and one more when one has ended.
TEST_F(Limits, OfSessionsAreReached) {
    for (const auto& [all, own] : {std::pair{3U, 10U}, std::pair{10U, 3U}}) {
        bridge::server::Options options;
        options.sessions = all;
        options.sessionsPerUser = own;
        serve(options);
        std::vector<BridgeSession*> sessions;
        for (int i = 0; i < 3; ++i) {
            sessions.push_back(open());
            EXPECT_TRUE(sessions.back()->Connect()) << i;
        }
        EXPECT_FALSE(open()->Connect());
        EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::overloaded);
        CommandSender::Instance().CloseSession(sessions[0]);
        bool isFree = false; // once the server has noticed
        for (int i = 0; i < 1000 && !isFree; ++i) {
            BridgeSession* const next = open();
            isFree = next->Connect();
            if (!isFree) std::this_thread::sleep_for(5ms);
            CommandSender::Instance().CloseSession(next);
        }
        EXPECT_TRUE(isFree);
        for (BridgeSession* session : sessions) CommandSender::Instance().CloseSession(session);
        stop();
    }
}

// ---- listeners

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
