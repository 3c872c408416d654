// SPDX-License-Identifier: MIT
//
// Brings the IKE daemon to what is wanted: it runs, has the connections of the policy and the keys of the tokens that
// somebody is logged in to, and sets up the tunnels that are down. The daemon may die or hang at any time: it is then
// started again, after a pause that grows.
//
// One thread uses a driver at a time, except for the functions that say otherwise.
#pragma once

#include <service/engine/daemon_keys.h>
#include <service/engine/daemon_listener.h>
#include <service/engine/engine_wishes.h>
#include <service/engine/ike_control.h>
#include <service/engine/ike_daemon.h>
#include <service/engine/tunnel_board.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// After the given number of failures, the pause of that place in the table, or the last one.
template <std::size_t count>
std::chrono::seconds pauseAfter(unsigned failures, const std::chrono::seconds (&pauses)[count]) {
    return pauses[std::min<std::size_t>(failures, count - 1)];
}

inline bridge::Remark plainRemark(const std::exception& error) {
    return remark(vocabulary::Refused::none, "%s", error.what());
}

class CharonDriver {
public:
    struct Settings {
        std::string folder;
        std::string program;
        std::string socket; // of a daemon that is there already; empty: the program is started
        std::uint32_t mark = 0;
        bool espInUserSpace = true;
        std::chrono::milliseconds patience{5000};
    };

    // `changed` is called on a thread of the driver when tunnels may have changed. Throws as IkeDaemon does.
    CharonDriver(Settings settings, TunnelBoard& board, std::function<void()> changed);

    // Makes the plan for a policy from what is there. Throws EngineError for a policy that can't be put into force
    // whatever is there.
    IkePlan plan(std::shared_ptr<const PolicyText> text, const EngineWishes& wishes) const;

    // Loads what the plan needs, beside what is loaded, and completes the plan with what only the running daemon knows.
    // Throws EngineError, with the section, and leaves everything as it was.
    void prepare(IkePlan& plan, const EngineWishes& wishes);
    // The prepared plan counts from now on: ends the tunnels that it does not have. Never throws.
    void adopt(IkePlan plan) noexcept;
    // Takes the prepared plan back.
    void takeBack() noexcept;

    // Looks after the daemon and the tunnels of the adopted plan. Returns the news.
    std::vector<TunnelNews> round(const EngineWishes& wishes);

    // Sets the tunnel up now, if it is not up. Throws ViciError, ViciRefusal, EngineError.
    void turnOn(const IkeConnection& connection, const std::string& section);

    // The daemon as it runs now. Throws EngineError when it does not run.
    IkeControl& control();

    const IkePlan& adopted() const { return plan_; }
    // Why the daemon does not run; nullopt when it does, or is not needed.
    const std::optional<bridge::Remark>& problem() const { return problem_; }

    // Ends the daemon; takes everything back from one that is not ours.
    void drop() noexcept;

private:
    using Clock = std::chrono::steady_clock;

    IkeDaemonSettings daemonSettings(const EngineWishes& wishes) const;
    void ensureRunning(const EngineWishes& wishes);
    void checkAnchors(const EngineWishes& wishes);
    void start(const IkeDaemonSettings& wanted);
    void load(const IkeConnection& connection);
    void keepOnlyPlan(const IkeControl::Loaded& former, const bridge::Remark& why);
    void endUnproved();
    std::size_t underWay(const IkeStates& states) const;
    void setUpMissing(const IkeStates& states);
    std::vector<TunnelNews> work(const EngineWishes& wishes);

    const Settings settings_;
    TunnelBoard& board_;
    const std::function<void()> changed_;
    const std::unique_ptr<IkeDaemon> daemon_;
    IkeDaemonSettings running_; // that the daemon was started with
    std::unique_ptr<IkeControl> control_;
    std::unique_ptr<DaemonListener> listener_;
    IkePlan plan_;
    IkeControl::Loaded former_; // before prepare()
    DaemonKeys keys_;
    std::optional<bridge::Remark> problem_;

    unsigned starts_ = 0; // in a row, that did not last
    Clock::time_point startedAt_{};
    Clock::time_point nextStart_{};

    struct Attempt {
        unsigned count = 0;
        Clock::time_point asked{}, next{};
    };
    bool ask(const IkeConnection& connection, const std::string& section);
    std::map<std::string, Attempt> attempts_; // by section

    std::set<std::string> unfitAnchors_;    // that the daemon can't read
    std::vector<std::string> espProposals_; // what it has, with ESP in user space
};

} // namespace panelkitd
