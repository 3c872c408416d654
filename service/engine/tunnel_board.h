// SPDX-License-Identifier: MIT
//
// The tunnels of the policy in force as people see them: the present state of each section, since when, and why it is
// not up. The reasons are taken from the daemon's log. Thread-safe.
#pragma once

#include <service/engine/engine.h>
#include <service/engine/ike_connections.h>
#include <service/engine/ike_state.h>

#include <platform/system/guarded.h>

#include <map>
#include <string>
#include <vector>

namespace panelkitd {

class TunnelBoard {
public:
    // The policy in force has these tunnels. Those that were there before keep their state; with a new activation, none
    // stays turned off.
    void setPlan(const std::vector<IkeConnection>& connections, bool newActivation);

    // The tunnel of the section was told to end, although it stays in the plan; without a section all tunnels of the
    // connection. It is down at once, and what the daemon still lists of it does not count.
    void ended(const std::string& connection, const std::string& section, const bridge::Remark& why);

    // Another process of the daemon has begun, so all tunnels are down and are set up again.
    void startedAgain(const bridge::Remark& why);

    // What has happened since the last call of this or of update().
    std::vector<TunnelNews> takeNews();

    // What the daemon lists now. Returns the news.
    std::vector<TunnelNews> update(const IkeStates& states);

    // The daemon does not run, or does not answer: no tunnel is up.
    std::vector<TunnelNews> daemonIsDown(const bridge::Remark& why);

    // A line of the daemon's log about a connection.
    void heard(const std::string& connection, const std::string& line);

    // Something has failed for a connection that the daemon's log does not tell.
    void failed(const std::string& connection, const bridge::Remark& why);

    // Why revocation lists can't be used. It is shown where one is missing.
    void setUnusableLists(Remarks why);

    void turn(const std::string& section, bool off);
    bool isOff(const std::string& section) const;

    std::vector<panelkit::TunnelInfo> tunnels() const;

private:
    // Why a connection failed. A new attempt replaces it; within an attempt the most telling line counts.
    struct Cause {
        std::optional<HeardReason> reason;
        bool newAttempt = true;
    };
    struct Row {
        panelkit::TunnelInfo info;
        std::string connection;
        std::optional<bridge::Remark> lacks;
        unsigned line = 0; // of the section
        bool off = false;
        std::uint64_t id = 0;                // of the tunnel that is or was up
        std::uint64_t endedId = 0;           // the daemon may still list this one, which was told to end; 0: none
        std::optional<bridge::Remark> ended; // why; until something else keeps the tunnel from coming up
    };
    struct State {
        std::vector<Row> rows;
        std::map<std::string, Cause> causes; // by connection
        std::vector<TunnelNews> news;        // not taken yet
        Remarks unusableLists;
    };

    static Row rowOf(const IkeConnection& connection, const IkeChild& child, const std::vector<Row>& former);
    static std::vector<TunnelNews> endsOf(const std::vector<Row>& former, const std::vector<Row>& now);
    static void end(State& state, Row& row, const bridge::Remark& why);
    static void setCause(State& state, const std::string& connection, Cause cause);
    static void showUp(Row& row, const IkeTunnelState& now);
    static void show(Row& row, const IkeStates& states, std::vector<TunnelNews>& news);
    static Remarks whyDown(const Row& row, const State& state);

    platform::Guarded<State> state_;
};

} // namespace panelkitd
