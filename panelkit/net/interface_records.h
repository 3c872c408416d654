// SPDX-License-Identifier: MIT
//
// The host's network interfaces as the service lists them. Plain values; the library carries all fields and interprets
// only the addresses. docs/service-api.md and vocabulary/interfaces.h describe the others.
#pragma once

#include <panelkit/bridge/record.h>

#include <cstdint>
#include <string>
#include <vector>

struct NetInterfaceInfo {
    std::string text1;
    std::string text2;
    std::string text3;
    std::vector<std::uint32_t> addresses; // IPv4, the first octet in the most significant byte
    std::vector<std::uint32_t> list2;
    std::uint32_t value{};

    static auto fields(auto& self, auto&& io) {
        return io(self.text1, self.text2, self.text3, self.addresses, self.list2, self.value);
    }
    bool operator==(const NetInterfaceInfo&) const = default;
};
static_assert(RecordListsEveryMember<NetInterfaceInfo>);
