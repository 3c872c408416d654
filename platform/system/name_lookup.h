// SPDX-License-Identifier: MIT
//
// Host names to IPv4 addresses, by the system's resolver.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// The IPv4 addresses of a host, each once and in host order, in the order in which the resolver prefers them; none
// when it knows none or fails. `hostName` is UTF-8, not empty and without zero bytes; a dotted address names itself.
// Blocks for as long as the resolver takes. Any thread may call it.
std::vector<std::uint32_t> lookUpIPv4(const std::string& hostName);

} // namespace platform
