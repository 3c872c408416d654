// SPDX-License-Identifier: MIT
#include <panelctl/tunnels/engine_text.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>

#include <panelkit/monitor/monitor_controller.h>

#include <algorithm>

namespace panelctl {

using bridge::FailureCode;
using panelkit::EngineInfo;
using panelkit::TunnelInfo;

std::optional<EngineInfo> engineOfService() {
    EngineInfo engine;
    if (panelkit::MonitorController().GetEngine(engine)) return engine;
    const bridge::Failure& failure = bridge::lastFailure();
    if (failure.code == FailureCode::refused && failure.detail == 0) return std::nullopt;
    throw lastFailureError();
}

std::optional<std::vector<TunnelInfo>> visibleTunnels() {
    std::vector<TunnelInfo> tunnels;
    if (panelkit::MonitorController().GetTunnels(tunnels)) return tunnels;
    if (bridge::lastFailure().code == FailureCode::accessDenied) return std::nullopt;
    throw lastFailureError();
}

std::string engineCondition(const EngineInfo& engine) { return remarksText(engine.condition); }

std::string engineText(const EngineInfo& engine) { return engine.name + ": " + engineCondition(engine); }

std::size_t countUp(const std::vector<TunnelInfo>& tunnels) {
    const auto isUp = [](const TunnelInfo& tunnel) { return tunnel.condition == panelkit::TunnelCondition::up; };
    return static_cast<std::size_t>(std::count_if(tunnels.begin(), tunnels.end(), isUp));
}

} // namespace panelctl
