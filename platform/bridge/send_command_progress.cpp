// SPDX-License-Identifier: MIT
#include <platform/bridge/send_command_progress.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/call_limits.h>
#include <platform/bridge/deadline.h>
#include <platform/bridge/failure.h>
#include <platform/bridge/workers.h>
#include <platform/system/wipe.h>

#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <utility>

namespace {

// A command that ends within the grace never calls the hook. The pause between two calls waits for the command, so its
// end wakes us at once.
constexpr std::chrono::milliseconds grace(50);

// The pause after a call. Each wake-up costs processor time, so a hook that found nothing to do is called less often.
// The events of a window, which come in bursts, still wait for less than a person notices.
std::chrono::milliseconds pauseAfter(bridge::Clock::duration call) {
    constexpr auto nothingToDo = std::chrono::microseconds(200);
    return std::chrono::milliseconds(call < nothingToDo ? 100 : 20);
}

constexpr std::chrono::milliseconds withoutHook = std::chrono::hours(1);

// Returns false when no thread or memory is left for the work, which then has not begun.
bool begin(std::optional<bridge::Job>& job, const std::function<void()>& work) {
    try {
        job.emplace(work);
        return true;
    } catch (const std::exception&) {
        bridge::setLastOutcome({{bridge::FailureCode::exhausted, {}}, {}});
        return false;
    }
}

} // namespace

SendCommandProgress::IdleLoop::~IdleLoop() = default;

SendCommandProgress::SendCommandProgress(BridgeSession* overSession, ModuleIdType ofModule, std::uint32_t code,
                                         IdleLoop* whileRunning)
    : session(overSession), module(ofModule), command(code), idle(whileRunning) {}

SendCommandProgress::~SendCommandProgress() {
    platform::wipe(payload);
    platform::wipe(reply); // an exported private key, say
}

bool SendCommandProgress::DoWork() {
    const platform::WipeOnExit wiped(payload);
    return session->__SendCommand(module, static_cast<long>(command), payload.data(),
                                  static_cast<unsigned>(payload.size()), &reply);
}

bool SendCommandProgress::Execute() {
    if (!session) return false;

    bool answered = false;
    bridge::SendOutcome outcome;
    std::exception_ptr thrownByWork;
    running = true;
    const auto limits = bridge::CallLimits::inForce();
    const auto work = [&] {
        const bridge::CallLimits same(limits);
        try {
            answered = DoWork();
            outcome = bridge::lastOutcome();
        } catch (...) {
            thrownByWork = std::current_exception();
        }
        running = false;
    };
    std::optional<bridge::Job> job;
    if (!begin(job, work)) {
        running = false;
        return false;
    }

    std::exception_ptr thrownByHook;
    for (auto wait = grace; !job->waitFor(wait);) {
        wait = withoutHook;
        if (!idle || thrownByHook) continue;
        const auto called = bridge::Clock::now();
        try {
            idle->OnExecuteCommand(*this);
        } catch (...) {
            thrownByHook = std::current_exception();
        }
        wait = pauseAfter(bridge::Clock::now() - called);
    }
    bridge::setLastOutcome(std::move(outcome));
    if (thrownByHook) std::rethrow_exception(thrownByHook);
    if (thrownByWork) std::rethrow_exception(thrownByWork);
    return answered;
}
