// SPDX-License-Identifier: MIT
//
// What is told of tunnels that come up and go down, and how often. A gateway that comes and goes all the time must
// flood neither front ends nor the log: each section is told of at most once in a while, and so are all together. What
// happens in the meantime is told later, as one change with the state at that time.
#pragma once

#include <service/base/refused.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace panelkitd {

// A tunnel has come up or gone down.
struct TunnelNews {
    std::string section;
    std::string gateway; // as in the policy file
    bool up = false;
    Remarks why;          // it is down; may be empty
    unsigned changes = 1; // so often it has changed since it was told of last
    std::string owner;    // whose policy it is, for people; empty for the system's
};

// One thread uses it at a time.
class TunnelNewsLimit {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr auto pause = std::chrono::seconds(10);
    static constexpr std::size_t mostInAPause = 20;

    // Takes what has happened, and returns what is to be told now: perhaps things that happened before.
    std::vector<TunnelNews> toTell(const std::vector<TunnelNews>& fresh, Clock::time_point now);

    // Whether something waits to be told.
    bool holds() const { return !held_.empty(); }

private:
    void hold(const TunnelNews& news);

    std::vector<TunnelNews> held_; // one of each section, the longest waiting first
    std::map<std::string, Clock::time_point> told_;
    std::deque<Clock::time_point> recent_; // when something was told
};

} // namespace panelkitd
