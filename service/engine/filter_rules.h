// SPDX-License-Identifier: MIT
//
// From a policy to the rules of nftables, as JSON for `nft -j`. No calls to the system: the same on all systems.
#pragma once

#include <service/engine/packet_filter.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace panelkitd {

// Of the table.
inline constexpr const char* filterFamily = "inet";
inline constexpr const char* filterTable = "panelkit";

// Returns the commands that replace the table, in one transaction.
std::string filterRules(const EnginePolicy& policy, const FilterOptions& options);

// Returns the commands that remove the table, whether or not it is there.
std::string filterRemoval();

// Reads the listing of the table's counters, for that number of sections; nullopt if it isn't one.
std::optional<std::vector<SectionCount>> countsIn(std::string_view listing, std::size_t sections);

} // namespace panelkitd
