// SPDX-License-Identifier: MIT
//
// The records of MonitorController about tunnels: what the engine of the service has put into force. Plain values:
// default construction makes empty strings and zeros; texts are UTF-8.
#pragma once

#include <panelkit/monitor/monitor_records.h>

#include <cstdint>
#include <string>
#include <vector>

namespace panelkit {

// What puts the service's policy into force.
struct EngineInfo {
    std::string name;                   // "record", "charon"
    bool protectsTraffic{};             // it filters and protects traffic; false: it only records the policy
    bool works{};                       // it does what it should; false: the condition says why not
    std::vector<StateRemark> condition; // sentences for people; at least one

    static auto fields(auto& self, auto&& io) {
        return io(self.name, self.protectsTraffic, self.works, self.condition);
    }
    bool operator==(const EngineInfo&) const = default;
};
static_assert(RecordListsEveryMember<EngineInfo>);

// What an administrator can ask of a tunnel.
enum class TunnelAction : std::uint32_t {
    up = 0,    // sets it up now, instead of after the next try
    down = 1,  // ends it; it stays down until `up` or the next activation, and its traffic is dropped
    rekey = 2, // makes new keys now
};

// What a tunnel is doing.
enum class TunnelCondition : std::uint32_t {
    down = 0,       // `why` has the reason, if one is known
    connecting = 1, // the gateway has been asked, and `why` has the reason for the last failure
    up = 2,
    turnedOff = 3, // by TunnelAction::down
};

// The tunnel of a section of the policy in force.
struct TunnelInfo {
    std::string section;
    std::string network; // the other end, as in the policy file
    std::string gateway; // as in the policy file
    TunnelCondition condition{};
    std::int64_t since{};         // seconds since 1970 of that condition; 0: not known
    std::string address;          // of the gateway; empty while it is not known
    std::string credential;       // subject of the certificate, or name of the preshared key, that is used
    std::string gatewayIdentity;  // as the gateway has proved it; empty before
    std::string suite;            // of the data, such as "AES_GCM_16-256"; empty while it is not up
    std::uint64_t bytesIn{};      // received through the tunnel since it is up
    std::uint64_t bytesOut{};     // sent in that time
    std::uint64_t dropped{};      // packets of this section that were dropped because the tunnel was not up
    std::vector<StateRemark> why; // it is not up; empty when it is, or when no reason is known

    static auto fields(auto& self, auto&& io) {
        return io(self.section, self.network, self.gateway, self.condition, self.since, self.address, self.credential,
                  self.gatewayIdentity, self.suite, self.bytesIn, self.bytesOut, self.dropped, self.why);
    }
    bool operator==(const TunnelInfo&) const = default;
};
static_assert(RecordListsEveryMember<TunnelInfo>);

} // namespace panelkit
