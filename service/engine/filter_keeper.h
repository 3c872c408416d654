// SPDX-License-Identifier: MIT
//
// Keeps the packet filter in place. Other programs may remove its table, for example when they replace all tables that
// the kernel has, or change rules in it; it is then put back at once, on a thread of ours.
#pragma once

#include <service/engine/filter_watch.h>
#include <service/engine/packet_filter.h>

#include <platform/system/guarded.h>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace panelkitd {

// Any thread may call any function.
class FilterKeeper {
public:
    using Clock = std::chrono::steady_clock;

    explicit FilterKeeper(std::unique_ptr<PacketFilter> filter);

    // As PacketFilter::replace().
    void replace(const EnginePolicy& policy);

    // Puts the filter back if it is gone or was changed. Does nothing if somebody has looked a moment ago: call it from
    // time to time, since the kernel may not tell of a removal.
    void lookAfter(Clock::time_point now);

    std::optional<std::vector<SectionCount>> counts() const { return filter_->counts(); }

private:
    struct State {
        std::optional<EnginePolicy> inForce;
        bool isGone = false; // and can't be put back
        Clock::time_point repaired{};
        Clock::time_point nextLook{};
    };

    void look(State& state, Clock::time_point now);

    const std::unique_ptr<PacketFilter> filter_;
    platform::Guarded<State> state_;
    FilterWatch watch_; // last: its thread uses all of it
};

} // namespace panelkitd
