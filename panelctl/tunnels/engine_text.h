// SPDX-License-Identifier: MIT
//
// The engine of the service and its tunnels, as several verbs show them.
#pragma once

#include <panelkit/monitor/tunnel_records.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace panelctl {

// Returns nothing when the service does not know the command. Throws CommandError when it fails otherwise.
std::optional<panelkit::EngineInfo> engineOfService();

// Returns nothing when they are not for this account. Throws CommandError when the command fails otherwise.
std::optional<std::vector<panelkit::TunnelInfo>> visibleTunnels();

// Not escaped.
std::string engineText(const panelkit::EngineInfo& engine); // "record: the policy is recorded; ..."
std::string engineCondition(const panelkit::EngineInfo& engine);

std::size_t countUp(const std::vector<panelkit::TunnelInfo>& tunnels);

} // namespace panelctl
