// SPDX-License-Identifier: MIT
#include <panelkit/bridge/idle_hooks.h>
#include <panelkit/bridge/send_command.h>

#include "../../support/service_fixture.h"
#include "../../support/standard_output.h"

using panelkit::LockedSession;
using panelkit::ProgressCommand;
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
        shortestPause = std::min(shortestPause, Clock::now() - lastEnd_);
        if (does) does(progress);
        lastEnd_ = Clock::now();
    }
    std::function<void(const SendCommandProgress&)> does;
    int calls = 0;
    std::thread::id thread;
    Clock::duration shortestPause = Clock::duration::max(); // before a call, from when the hook was made on

private:
    Clock::time_point lastEnd_ = Clock::now();
};

// Work without a service.
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
        ProgressCommand<Command::TokensReloadAll> command(session.get(), hook);
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
}

// A wait that did not sleep would call the hook again at once.
TEST_F(ALongCommand, PausesBeforeEachCallOfTheHook) {
    answerAfter(500);
    Hook hook([](const SendCommandProgress&) { panelkit::yieldOnce(); });
    EXPECT_TRUE(run(hook));
    EXPECT_GE(hook.calls, 2);
    EXPECT_GE(hook.shortestPause, milliseconds(10)) << "20 ms, and systems round";
}

// Even on a busy machine most of them end before the hook is due.
TEST_F(ALongCommand, ThatEndsSoonIsNotWaitedForAndCallsNoHook) {
    answerAfter(0);
    Hook hook(nullptr);
    constexpr int commands = 200;
    for (int i = 0; i < commands; ++i) EXPECT_TRUE(run(hook));
    EXPECT_LT(hook.calls, commands * 3 / 4);
}

TEST_F(ALongCommand, DrawsADotForEachSecondBegun) {
    answerAfter(1500);
    Hook hook(panelkit::drawConsoleDots);
    CaptureStdout();
    EXPECT_TRUE(run(hook));
    EXPECT_EQ(GetCapturedStdout(), "\n..\n");
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

TEST_F(ALongCommand, ShowsItsDotsAtOnce) {
    Hook hook(nullptr);
    Work work([] { return true; }, &hook);
    work.running = true;
    const std::string seen = seenWhile([&] { panelkit::drawConsoleDots(work); }, "\n.", [&] { work.running = false; });
    EXPECT_EQ(seen, "\n.");
}

TEST_F(ALongCommand, WithoutASessionFailsAndLeavesTheHookAlone) {
    Hook hook(nullptr);
    ProgressCommand<Command::TokensReloadAll> command(nullptr, hook);
    EXPECT_FALSE(command.execute());
    EXPECT_EQ(hook.calls, 0);
}

TEST_F(ALongCommand, LeavesItsFailureWithTheThreadThatExecutedIt) {
    service->on(Command::TokensReloadAll, Reaction::refuse("not today", 12));
    Hook hook(nullptr);
    EXPECT_FALSE(run(hook));
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::refused);
    EXPECT_EQ(bridge::lastFailure().text(), "not today");
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

// Each is answered only when all are there. The pool belongs to one thread, so each has a session that was opened
// before.
TEST_F(ALongCommand, RunsInParallelWithOthers) {
    constexpr int commands = 8;
    std::atomic<int> arrived{0}, answered{0};
    service->on(Command::TokensReloadAll, [&](const auto&) {
        ++arrived;
        for (int i = 0; i < 2000 && arrived < commands; ++i) std::this_thread::sleep_for(milliseconds(5));
        return arrived < commands ? Reaction::refuse("the others did not come") : Reaction::reply("");
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < commands; ++i) {
        threads.emplace_back([&answered, session = CommandSender::Instance().OpenNewSession("Tokens", 1)] {
            Hook hook(nullptr);
            answered += ProgressCommand<Command::TokensReloadAll>(session, hook).execute();
            CommandSender::Instance().CloseSession(session);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(answered, commands);
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
