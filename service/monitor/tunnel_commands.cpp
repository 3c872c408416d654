// SPDX-License-Identifier: MIT
//
// The engine and the tunnels of the policy in force.
#include <service/monitor/monitor_commands.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/monitor/tunnel_records.h>
#include <platform/text/escape.h>

namespace panelkitd {

using panelkit::Command;
using panelkit::EngineInfo;
using panelkit::TunnelAction;
using vocabulary::Refused;

std::string MonitorCommands::engine(Call&) {
    EngineInfo info{engine_.name(), engine_.protectsTraffic(), engine_.problems().empty(), {}};
    for (const bridge::Remark& remark : engine_.condition()) {
        info.condition.push_back({remark.code, remark.phrase.wording, remark.phrase.arguments});
    }
    return panelkit::encodeReply<Command::GetEngine>(info);
}

// What a policy has in it is for its owner and for administrators, as in the view of the policy.
std::string MonitorCommands::tunnels(Call& call) {
    const WantedPolicy policy = policies_.inForce().wanted;
    if (!policy.userId.empty() && policy.userId != call.session.peer.user && !call.byAdministrator) {
        throw DeniedError("the policy in force is that of %s; only %s and administrators of the service may see it",
                          policy.request.user, policy.request.user);
    }
    return panelkit::encodeReply<Command::GetTunnels>(engine_.tunnels());
}

std::string MonitorCommands::actOnTunnel(Call& call) {
    std::string section;
    TunnelAction action{};
    readRequest<Command::ActOnTunnel>(call, section, action);
    call.subject = "of section " + platform::quotedName(section);
    if (action > TunnelAction::rekey) {
        throw RefusedError(Refused::badInput, "%d is not an action on tunnels", static_cast<std::uint32_t>(action));
    }
    try {
        engine_.act(action, section);
    } catch (const EngineError& error) {
        throw RefusedError(error.remarks);
    }
    call.outcome = "done";
    return {};
}

} // namespace panelkitd
