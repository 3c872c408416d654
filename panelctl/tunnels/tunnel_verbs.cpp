// SPDX-License-Identifier: MIT
//
// panelctl tunnel ...: the tunnels of the policy in force, as they are at this moment.
#include <panelctl/base/condition_rows.h>
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/progress.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/tokens/token_names.h>
#include <panelctl/tunnels/engine_text.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace panelctl {

using nlohmann::ordered_json;
using panelkit::TunnelAction;
using panelkit::TunnelCondition;
using panelkit::TunnelInfo;

namespace {

// clang-format off
constexpr std::array conditionRows = {
    ConditionRow<TunnelCondition>{TunnelCondition::up,         "up",         Mood::good,    N_("up")},
    ConditionRow<TunnelCondition>{TunnelCondition::connecting, "connecting", Mood::warning, N_("being set up")},
    ConditionRow<TunnelCondition>{TunnelCondition::turnedOff,  "turned-off", Mood::warning, N_("turned off")},
    ConditionRow<TunnelCondition>{TunnelCondition::down,       "down",       Mood::bad,     N_("down")},
};
// clang-format on

std::uint64_t sinceOf(const TunnelInfo& tunnel) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(tunnel.since, 0));
}

ordered_json toJson(const TunnelInfo& tunnel) {
    return {{"schema", 1},
            {"section", tunnel.section},
            {"network", tunnel.network},
            {"gateway", tunnel.gateway},
            {"state", rowOf(conditionRows, tunnel.condition).word},
            {"since", timeJson(sinceOf(tunnel))},
            {"address", tunnel.address},
            {"credential", tunnel.credential},
            {"gatewayIdentity", tunnel.gatewayIdentity},
            {"suite", tunnel.suite},
            {"bytesIn", tunnel.bytesIn},
            {"bytesOut", tunnel.bytesOut},
            {"packetsDropped", tunnel.dropped},
            {"why", remarksText(tunnel.why)}};
}

std::vector<TunnelInfo> listTunnels(const Context& context) {
    MonitorWithDots controller(context);
    std::vector<TunnelInfo> tunnels;
    if (!controller.GetTunnels(tunnels)) throw lastFailureError();
    return tunnels;
}

// Why there are none: no section asks for one, or the engine makes none.
std::string noTunnelsText() {
    const auto engine = engineOfService();
    if (!engine || engine->protectsTraffic) return say("The policy in force asks for no tunnels.");
    return say("There are no tunnels: %s", escaped(engineCondition(*engine)));
}

struct TunnelList {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        const std::vector<TunnelInfo> tunnels = listTunnels(context);
        if (context.json) {
            auto list = ordered_json::array();
            for (const TunnelInfo& tunnel : tunnels) list.push_back(toJson(tunnel));
            return printJson(list);
        }
        if (tunnels.empty()) return printNone(noTunnelsText());
        Table table({say("SECTION"), say("STATE"), say("NETWORK"), say("GATEWAY"), say("WHY")});
        for (const TunnelInfo& tunnel : tunnels) {
            const auto& row = rowOf(conditionRows, tunnel.condition);
            table.add({{tunnel.section},
                       {say(row.text), row.mood},
                       {tunnel.network},
                       {tunnel.gateway},
                       {remarksText(tunnel.why)}});
        }
        table.print();
    }
};

struct TunnelShow {
    std::string section;

    void options(CLI::App& verb) { verb.add_option("section", section, say("Section of the policy"))->required(); }
    void run(const Context& context) const {
        const TunnelInfo tunnel = find(listTunnels(context));
        context.json ? printJson(toJson(tunnel)) : print(tunnel);
    }

private:
    TunnelInfo find(const std::vector<TunnelInfo>& tunnels) const {
        std::vector<std::string> names;
        for (const TunnelInfo& tunnel : tunnels) {
            if (tunnel.section == section) return tunnel;
            names.push_back(tunnel.section);
        }
        const auto engine = engineOfService();
        if (names.empty() && engine && !engine->protectsTraffic) throw CommandError(Exit::notFound, noTunnelsText());
        failUnknown(say("the policy in force has no section \"%s\" with a tunnel", section), section, names);
    }

    static void print(const TunnelInfo& tunnel) {
        const auto& row = rowOf(conditionRows, tunnel.condition);
        Sheet sheet;
        sheet.add(say("Section"), {tunnel.section});
        sheet.add(say("State"), {say(row.text), row.mood});
        if (tunnel.since > 0) sheet.add(say("Since"), {timeText(sinceOf(tunnel))});
        sheet.add(say("Why"), {remarksText(tunnel.why)});
        sheet.add(say("Network"), {tunnel.network});
        sheet.add(say("Gateway"), {tunnel.gateway});
        sheet.add(say("Address"), {tunnel.address});
        sheet.add(say("Identity of the gateway"), {tunnel.gatewayIdentity});
        sheet.add(say("Authenticated by"), {tunnel.credential});
        sheet.add(say("Protection of the data"), {tunnel.suite});
        sheet.add(say("Bytes in"), {std::to_string(tunnel.bytesIn)});
        sheet.add(say("Bytes out"), {std::to_string(tunnel.bytesOut)});
        sheet.add(say("Packets dropped"), {std::to_string(tunnel.dropped)});
        sheet.print();
    }
};

struct ActionRow {
    TunnelAction action;
    const char* word; // in JSON
    Label done;
};

// In the order of TunnelAction.
constexpr std::array actionRows = {
    ActionRow{TunnelAction::up, "up", N_("The tunnel is being set up. panelctl tunnel list shows when it is up.")},
    ActionRow{TunnelAction::down, "down", N_("The tunnel is turned off. Its traffic is dropped.")},
    ActionRow{TunnelAction::rekey, "rekey", N_("New keys are being made.")},
};

template <TunnelAction action>
struct TunnelAct {
    std::string section;

    void options(CLI::App& verb) { verb.add_option("section", section, say("Section of the policy"))->required(); }
    void run(const Context& context) const {
        const ActionRow& row = actionRows[static_cast<std::size_t>(action)];
        MonitorWithDots controller(context);
        if (!controller.ActOnTunnel(section, action)) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"section", section}, {"action", row.word}});
        printLine(say(row.done));
    }
};

} // namespace

void addTunnelVerbs(CLI::App& group, const Context& context) {
    addVerb<TunnelList>(group, context, "list", say("List the tunnels with their state"));
    addVerb<TunnelShow>(group, context, "show", say("Show everything about the tunnel of a section"));
    addVerb<TunnelAct<TunnelAction::up>>(group, context, "up", say("Set a tunnel up now"));
    addVerb<TunnelAct<TunnelAction::down>>(group, context, "down", say("Turn a tunnel off; its traffic is dropped"));
    addVerb<TunnelAct<TunnelAction::rekey>>(group, context, "rekey", say("Make new keys for a tunnel"));
}

} // namespace panelctl
