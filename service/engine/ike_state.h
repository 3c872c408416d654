// SPDX-License-Identifier: MIT
//
// What the IKE daemon says of its tunnels: its listings of security associations, and its log, from which the reasons
// of failures are taken, in words for people.
#pragma once

#include <service/base/refused.h>
#include <service/engine/vici_message.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// A tunnel of a section, as the daemon lists it.
struct IkeTunnelState {
    bool up = false;             // else its gateway is being asked
    std::uint64_t id = 0;        // of the child, unique while the daemon runs
    std::uint64_t age = 0;       // seconds
    std::string address;         // of the gateway
    std::string gatewayIdentity; // proved
    std::string suite;           //
    std::uint64_t bytesIn = 0;
    std::uint64_t bytesOut = 0;
};

struct IkeStates {
    std::map<std::string, IkeTunnelState> tunnels;         // by section; of several the best
    std::map<std::string, std::string> connecting;         // connections that ask a gateway now, and its address
    std::map<std::string, std::vector<std::uint64_t>> all; // the ids of the security associations of each connection
};

// Reads the events "list-sa".
IkeStates ikeStates(const std::vector<ViciSection>& events);

// A reason that a line of the daemon's log gives for a failure. The lower the rank, the more it says.
struct HeardReason {
    std::size_t rank = 0;
    bridge::Remark remark;
    bool isForList = false; // a revocation list is missing
};

// Returns the reason for the failure of a connection to `gateway`; nullopt when the line gives none.
std::optional<HeardReason> reasonIn(const std::string& line, const std::string& gateway);

// Whether the line begins another attempt.
bool beginsAttempt(const std::string& line);

} // namespace panelkitd
