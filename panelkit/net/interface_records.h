// SPDX-License-Identifier: MIT
//
// The host's network interfaces as the service lists them. Plain values; the library carries all fields and interprets
// only the addresses. The comments say what panelkitd puts into the others, and the names that vocabulary/interfaces.h
// has for it.
#pragma once

#include <panelkit/bridge/record.h>

#include <cstdint>
#include <string>
#include <vector>

struct NetInterfaceInfo {
    std::string text1;                    // name: "eth0"; on Windows the connection's name
    std::string text2;                    // description: its kind, "Ethernet"; on Windows the adapter's name
    std::string text3;                    // hardwareAddress: "02:42:AC:11:00:02"; empty when it has none
    std::vector<std::uint32_t> addresses; // IPv4, the first octet in the most significant byte
    std::vector<std::uint32_t> list2;     // masks of the addresses, at the same indexes, in the same form
    std::uint32_t value{};                // state: 1 switched on, 2 has a link, 4 loopback, 8 point to point; added up

    static auto fields(auto& self, auto&& io) {
        return io(self.text1, self.text2, self.text3, self.addresses, self.list2, self.value);
    }
    bool operator==(const NetInterfaceInfo&) const = default;
};
static_assert(RecordListsEveryMember<NetInterfaceInfo>);
