// SPDX-License-Identifier: MIT
#include <panelkit/net/interf_controller.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/format/ipv4.h>
#include <platform/text/join.h>

using panelkit::Command;
using panelkit::DirectCommand;

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): front ends use a controller object here as well
bool InterfController::getInterfaces(std::vector<NetInterfaceInfo>& out) {
    DirectCommand<Command::GetInterfaces> command;
    std::string reply;
    if (!command.send(&reply)) return false;
    command.read(reply, out);
    return true;
}

void InterfController::getLocalAddresses(const NetInterfaceInfo& info, std::string& text) {
    text += platform::joined(info.addresses, ", ", [](std::uint32_t address) {
        char buffer[panelkit::IPv4TextSize];
        return std::string(panelkit::ipv4ToText(address, buffer));
    });
}
