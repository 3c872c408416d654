// SPDX-License-Identifier: MIT
#include <platform/bridge/call_limits.h>

#include <algorithm>
#include <utility>

namespace bridge {

namespace {

thread_local CallLimits::InForce limitsOfThread;

} // namespace

CallLimits::CallLimits(std::chrono::milliseconds time, const std::atomic<bool>* givenUp) : before_(limitsOfThread) {
    if (time.count() > 0) limitsOfThread.until = std::min(limitsOfThread.until, Clock::now() + time);
    if (givenUp) limitsOfThread.givenUp = givenUp;
}

CallLimits::CallLimits(const InForce& same) : before_(std::exchange(limitsOfThread, same)) {}

CallLimits::~CallLimits() { limitsOfThread = before_; }

CallLimits::InForce CallLimits::inForce() { return limitsOfThread; }

} // namespace bridge
