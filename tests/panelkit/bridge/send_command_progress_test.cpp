// SPDX-License-Identifier: MIT
#include <panelkit/bridge/idle_hooks.h>
#include <panelkit/bridge/send_command.h>

#include "../../support/cpu_time.h"
#include "../../support/service_fixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

using panelkit::Command;
using panelkit::LockedSession;
using panelkit::ProgressCommand;
using panelkit::testing::Reaction;
using std::chrono::milliseconds;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

using Clock = std::chrono::steady_clock;

// A hook of the test's own.
class Hook : public SendCommandProgress::IdleLoop {
public:
    explicit Hook(std::function<void(const SendCommandProgress&)> whatItDoes) : does(std::move(whatItDoes)) {}
    void OnExecuteCommand(const SendCommandProgress& progress) override {
        ++calls;
        thread = std::this_thread::get_id();
        if (does) does(progress);
    }
    std::function<void(const SendCommandProgress&)> does;
    int calls = 0;
    std::thread::id thread;
};

// Work that is done here, without a service.
class Work : public SendCommandProgress {
public:
    Work(std::function<bool()> whatToDo, IdleLoop* whileRunning)
        : SendCommandProgress(SessionsPool::GetSession(SessionTokens), ModuleTokens, 0, whileRunning),
          todo(std::move(whatToDo)) {}
    bool DoWork() override { return todo(); }
    std::function<bool()> todo;
};

class ALongCommand : public WithScriptedService {
protected:
    bool run(Hook& hook, std::string* reply = nullptr) {
        const LockedSession session(SessionTokens);
        ProgressCommand command(Command::TokensReloadAll, session.get(), hook);
        const bool answered = command.execute();
        if (reply) *reply = command.reply();
        return answered;
    }
    void answerAfter(int time) {
        service->on(Command::TokensReloadAll, Reaction::reply("done").after(milliseconds(time)));
    }
};

TEST_F(ALongCommand, GivesTheReplyAndCallsTheHookOnTheCallersThread) {
    answerAfter(200);
    bool sawItRunning = false;
    Hook hook([&](const SendCommandProgress& progress) { sawItRunning = progress.running; });
    std::string reply;
    EXPECT_TRUE(run(hook, &reply));
    EXPECT_EQ(reply, "done");
    EXPECT_TRUE(sawItRunning);
    EXPECT_EQ(hook.thread, std::this_thread::get_id());
    EXPECT_LE(hook.calls, 10) << "the hook is paced";
}

TEST_F(ALongCommand, ThatTakesFiveMillisecondsReturnsAtOnceWithoutTheHook) {
    answerAfter(5);
    Hook hook(panelkit::drawConsoleDots);
    CaptureStdout();
    const auto start = Clock::now();
    EXPECT_TRUE(run(hook));
    const auto took = Clock::now() - start;
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_LT(took, milliseconds(45));
    EXPECT_EQ(hook.calls, 0);
}

TEST_F(ALongCommand, OfThreeSecondsCostsNextToNoProcessorWithTheSilentHook) {
    answerAfter(3000);
    Hook hook([](const SendCommandProgress&) { panelkit::yieldOnce(); });
    ASSERT_TRUE(SessionsPool::GetSession(SessionTokens)->Connect());
    const auto start = threadCpuTime();
    EXPECT_TRUE(run(hook));
    EXPECT_LT(threadCpuTime() - start, milliseconds(30)) << "1% of a core";
    EXPECT_GT(hook.calls, 30);
}

TEST_F(ALongCommand, DrawsADotForEachSecondBegun) {
    answerAfter(2500);
    Hook hook(panelkit::drawConsoleDots);
    CaptureStdout();
    EXPECT_TRUE(run(hook));
    EXPECT_EQ(GetCapturedStdout(), "\n...\n");
}

TEST_F(ALongCommand, DrawsOneDotEvenWhenItEndsDuringTheFirstSecondAndNoneWhenItHadEnded) {
    Hook hook(nullptr);
    Work work([] { return true; }, &hook);
    CaptureStdout();
    panelkit::drawConsoleDots(work);
    EXPECT_EQ(GetCapturedStdout(), "");

    work.running = true;
    std::thread ending([&] {
        std::this_thread::sleep_for(milliseconds(100));
        work.running = false;
    });
    CaptureStdout();
    panelkit::drawConsoleDots(work);
    ending.join();
    EXPECT_EQ(GetCapturedStdout(), "\n.\n");
}

TEST_F(ALongCommand, WithoutASessionFailsAndLeavesTheHookAlone) {
    Hook hook(nullptr);
    ProgressCommand command(Command::TokensReloadAll, nullptr, hook);
    EXPECT_FALSE(command.execute());
    EXPECT_EQ(hook.calls, 0);
}

TEST_F(ALongCommand, LeavesItsFailureWithTheThreadThatExecutedIt) {
    service->on(Command::TokensReloadAll, Reaction::refuse("not today", 12));
    Hook hook(nullptr);
    EXPECT_FALSE(run(hook));
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::refused);
    EXPECT_EQ(bridge::lastFailure().text, "not today");
    EXPECT_EQ(bridge::lastFailure().detail, 12U);
}

TEST_F(ALongCommand, WaitsForTheWorkWhenTheHookThrowsAndThrowsThen) {
    bool worked = false;
    Hook hook([](const SendCommandProgress&) { throw std::runtime_error("from the hook"); });
    Work work(
        [&] {
            std::this_thread::sleep_for(milliseconds(200));
            return worked = true;
        },
        &hook);
    EXPECT_THROW(work.Execute(), std::runtime_error);
    EXPECT_TRUE(worked);
    EXPECT_EQ(hook.calls, 1);
    EXPECT_FALSE(work.running);
}

TEST_F(ALongCommand, ThrowsOnTheCallersThreadWhatTheWorkThrew) {
    Hook hook(nullptr);
    Work work([]() -> bool { throw std::string("from the work"); }, &hook);
    EXPECT_THROW(work.Execute(), std::string);
    EXPECT_FALSE(work.running);
}

TEST_F(ALongCommand, MayBeNestedInTheHookOfAnother) {
    bool inner = false;
    Hook silent(nullptr);
    Hook hook([&](const SendCommandProgress&) {
        if (!inner) inner = Work([] { return true; }, &silent).Execute();
    });
    Work outer(
        [] {
            std::this_thread::sleep_for(milliseconds(150));
            return true;
        },
        &hook);
    EXPECT_TRUE(outer.Execute());
    EXPECT_TRUE(inner);
}

// The pool belongs to one thread, so each command has a session that was opened before.
TEST_F(ALongCommand, RunsInParallelWithOthers) {
    answerAfter(200);
    constexpr int commands = 8;
    std::vector<BridgeSession*> sessions;
    for (int i = 0; i < commands; ++i) {
        sessions.push_back(CommandSender::Instance().OpenNewSession("Tokens", 1));
    }
    std::vector<std::thread> threads;
    std::atomic<int> answered{0};
    const auto start = Clock::now();
    for (BridgeSession* session : sessions) {
        threads.emplace_back([&, session] {
            Hook hook(nullptr);
            for (int round = 0; round < 3; ++round) {
                answered += ProgressCommand(Command::TokensReloadAll, session, hook).execute() ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(answered, commands * 3);
    EXPECT_LT(Clock::now() - start, milliseconds(3000)) << "one after the other they would take 4.8 s";
    for (BridgeSession* session : sessions) CommandSender::Instance().CloseSession(session);
}

TEST_F(ALongCommand, WipesItsRequest) {
    answerAfter(0);
    const LockedSession session(SessionTokens);
    Hook hook(nullptr);
    SendCommandProgress progress(session.get(), ModuleTokens, 14, &hook);
    progress.payload = "a secret that is longer than a short string";
    const char* bytes = progress.payload.data();
    EXPECT_TRUE(progress.Execute());
    EXPECT_EQ(std::string(bytes, 8), std::string(8, '\0'));
}

} // namespace
