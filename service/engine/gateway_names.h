// SPDX-License-Identifier: MIT
//
// Whether the gateways of a policy have addresses.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// Returns the place of the first name without an address, or for which none was found within `limit` for all names
// together; nullopt when all have one. A look-up that takes longer goes on, on a thread of its own, without effect.
std::optional<std::size_t> firstUnknownName(const std::vector<std::string>& names, std::chrono::milliseconds limit);

} // namespace panelkitd
