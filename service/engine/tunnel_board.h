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

    // What the daemon lists now. Returns the news.
    std::vector<TunnelNews> update(const IkeStates& states);

    // The daemon does not run, or does not answer: no tunnel is up.
    std::vector<TunnelNews> daemonIsDown(const bridge::Remark& why);

    // A line of the daemon's log about a connection.
    void heard(const std::string& connection, const std::string& line);

    // Something that is no line of the log has failed for a connection.
    void failed(const std::string& connection, const bridge::Remark& why);

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
    };
    struct State {
        std::vector<Row> rows;
        std::map<std::string, Cause> causes; // by connection
    };

    static void show(Row& row, const IkeStates& states, std::vector<TunnelNews>& news);
    static Remarks whyDown(const Row& row, const std::map<std::string, Cause>& causes);

    platform::Guarded<State> state_;
};

} // namespace panelkitd
