// SPDX-License-Identifier: MIT
//
// panelctl net ...
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/output.h>
#include <panelctl/base/verbs.h>

#include <panelkit/format/ipv4.h>
#include <panelkit/net/interf_controller.h>
#include <vocabulary/interfaces.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace panelctl {

namespace field = vocabulary::netInterface;
namespace state = vocabulary::interfaceState;

namespace {

std::string addressText(std::uint32_t address) {
    char buffer[panelkit::IPv4TextSize];
    return panelkit::ipv4ToText(address, buffer);
}

nlohmann::ordered_json addressesOf(const NetInterfaceInfo& info) {
    const auto& masks = info.*field::masks;
    auto list = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < info.addresses.size(); ++i) {
        nlohmann::ordered_json mask; // null if the service sends none
        if (i < masks.size()) mask = addressText(masks[i]);
        list.push_back({{"address", addressText(info.addresses[i])}, {"mask", mask}});
    }
    return list;
}

nlohmann::ordered_json toJson(const NetInterfaceInfo& info) {
    const auto is = [&](std::uint32_t which) { return (info.*field::state & which) != 0; };
    return {{"schema", 1},
            {"name", info.*field::name},
            {"description", info.*field::description},
            {"hardwareAddress", info.*field::hardwareAddress},
            {"addresses", addressesOf(info)},
            {"up", is(state::up)},
            {"running", is(state::running)},
            {"loopback", is(state::loopback)},
            {"pointToPoint", is(state::pointToPoint)}};
}

Cell stateOf(const NetInterfaceInfo& info) {
    if (!(info.*field::state & state::up)) return {say("down"), Mood::faint};
    if (!(info.*field::state & state::running)) return {say("up, no link"), Mood::warning};
    return {say("up"), Mood::good};
}

struct NetList {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        std::vector<NetInterfaceInfo> interfaces;
        if (!InterfController().getInterfaces(interfaces)) throw lastFailureError();
        std::stable_sort(interfaces.begin(), interfaces.end(),
                         [](const auto& one, const auto& other) { return one.*field::name < other.*field::name; });
        if (context.json) {
            auto list = nlohmann::ordered_json::array();
            for (const NetInterfaceInfo& info : interfaces) list.push_back(toJson(info));
            return printJson(list);
        }
        if (interfaces.empty()) return printNote(say("The host has no network interfaces."));
        Table table({say("NAME"), say("ADDRESSES"), say("HARDWARE ADDRESS"), say("DESCRIPTION"), say("STATE")});
        for (const NetInterfaceInfo& info : interfaces) {
            std::string addresses;
            InterfController::getLocalAddresses(info, addresses);
            table.add({{info.*field::name},
                       {addresses},
                       {info.*field::hardwareAddress},
                       {info.*field::description},
                       stateOf(info)});
        }
        table.print();
    }
};

} // namespace

void addNetVerbs(CLI::App& group, const Context& context) {
    addVerb<NetList>(group, context, "list", say("List the interfaces and their IPv4 addresses"));
}

} // namespace panelctl
