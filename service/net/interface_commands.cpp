// SPDX-License-Identifier: MIT
#include <service/net/interface_commands.h>

#include <service/base/call.h>
#include <service/base/refused.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/format/hex_text.h>
#include <platform/system/network.h>
#include <vocabulary/interfaces.h>

#include <system_error>
#include <utility>
#include <vector>

namespace panelkitd {

using vocabulary::Refused;
namespace field = vocabulary::netInterface;
namespace state = vocabulary::interfaceState;

namespace {

std::uint32_t stateOf(const platform::NetworkInterface& one) {
    return (one.up ? state::up : 0) | (one.running ? state::running : 0) | (one.loopback ? state::loopback : 0) |
           (one.pointToPoint ? state::pointToPoint : 0);
}

NetInterfaceInfo describe(const platform::NetworkInterface& one) {
    NetInterfaceInfo info;
    info.*field::name = one.name;
    info.*field::description = one.description;
    panelkit::appendHex(one.hardware, info.*field::hardwareAddress, ':');
    info.*field::state = stateOf(one);
    for (const auto& [address, mask] : one.addresses) {
        info.addresses.push_back(address);
        (info.*field::masks).push_back(mask);
    }
    return info;
}

} // namespace

std::string InterfaceCommands::list(Call&) {
    std::vector<NetInterfaceInfo> interfaces;
    try {
        for (const auto& one : platform::networkInterfaces()) interfaces.push_back(describe(one));
    } catch (const std::system_error& error) {
        throw RefusedError(Refused::deviceError, "the system does not list its network interfaces").because(error);
    }
    return panelkit::encodeReply<panelkit::Command::GetInterfaces>(interfaces);
}

} // namespace panelkitd
