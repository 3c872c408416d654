// SPDX-License-Identifier: MIT
#include <service/engine/filter_keeper.h>

#include <service/base/log.h>

#include <utility>

namespace panelkitd {

namespace {

constexpr auto usualPause = std::chrono::seconds(10);
constexpr auto pauseAfterFailure = std::chrono::seconds(2);

} // namespace

FilterKeeper::FilterKeeper(std::unique_ptr<PacketFilter> filter)
    : filter_(std::move(filter)), watch_([this] { look(*state_.lock(), Clock::now()); }) {}

void FilterKeeper::replace(const EnginePolicy& policy) {
    const auto state = state_.lock();
    filter_->replace(policy);
    state->inForce = policy;
    state->isGone = false;
}

void FilterKeeper::lookAfter(Clock::time_point now) {
    const auto state = state_.lock();
    if (now >= state->nextLook) look(*state, now);
}

void FilterKeeper::look(State& state, Clock::time_point now) {
    if (!state.inForce) return;
    state.nextLook = now + usualPause;
    if (filter_->isInPlace()) return;
    try {
        filter_->replace(*state.inForce);
        logError("the packet filter was gone, and everything could pass; it is in place again");
        state.isGone = false;
    } catch (const std::exception& error) {
        if (!std::exchange(state.isGone, true)) logFailure("the packet filter is gone and can't be put back", error);
        state.nextLook = now + pauseAfterFailure;
    }
}

} // namespace panelkitd
