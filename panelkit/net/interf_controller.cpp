// SPDX-License-Identifier: MIT
#include <panelkit/net/interf_controller.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/format/ipv4.h>

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
    const char* separator = "";
    for (const std::uint32_t address : info.addresses) {
        char buffer[panelkit::IPv4TextSize];
        text.append(separator).append(panelkit::ipv4ToText(address, buffer));
        separator = ", ";
    }
}
