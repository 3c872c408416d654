// SPDX-License-Identifier: MIT
#include <service/engine/filter_keeper.h>

#include <service/base/log.h>

#include <utility>

namespace panelkitd {

namespace {

constexpr auto usualPause = std::chrono::seconds(10);
constexpr auto pauseAfterFailure = std::chrono::seconds(2);
constexpr auto pauseAfterRepair = std::chrono::seconds(2); // another program may change it all the time

} // namespace

FilterKeeper::FilterKeeper(std::unique_ptr<PacketFilter> filter)
    : filter_(std::move(filter)),
      watch_([this](bool changed) { changed ? look(*state_.lock(), Clock::now()) : lookAfter(Clock::now()); }) {}

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
    const FilterState found = filter_->state();
    if (found == FilterState::asPut) return;
    if (found == FilterState::changed && now < state.repaired + pauseAfterRepair) {
        state.nextLook = state.repaired + pauseAfterRepair;
        return;
    }
    try {
        filter_->replace(*state.inForce);
        logError(found == FilterState::gone
                     ? "the packet filter was gone, and everything could pass; it is in place again"
                     : "another program had changed the packet filter; it is in place again");
        state.isGone = false;
        state.repaired = now;
    } catch (const std::exception& error) {
        if (!std::exchange(state.isGone, true)) logFailure("the packet filter is gone and can't be put back", error);
        state.nextLook = now + pauseAfterFailure;
    }
}

} // namespace panelkitd
