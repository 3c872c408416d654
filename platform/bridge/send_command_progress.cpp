// SPDX-License-Identifier: MIT
#include <platform/bridge/send_command_progress.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/call_limits.h>
#include <platform/bridge/failure.h>
#include <platform/bridge/workers.h>
#include <platform/system/wipe.h>

#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <utility>

namespace {

// A command that ends within the grace never calls the hook; after that the hook is called at most this often. The
// pause between two calls waits for the command, so its end wakes us at once.
constexpr auto grace = std::chrono::milliseconds(50);
constexpr auto pace = std::chrono::milliseconds(20);

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
    for (auto wait = grace; !job->waitFor(wait); wait = pace) {
        if (!idle || thrownByHook) continue;
        try {
            idle->OnExecuteCommand(*this);
        } catch (...) {
            thrownByHook = std::current_exception();
        }
    }
    bridge::setLastOutcome(std::move(outcome));
    if (thrownByHook) std::rethrow_exception(thrownByHook);
    if (thrownByWork) std::rethrow_exception(thrownByWork);
    return answered;
}
