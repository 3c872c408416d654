// SPDX-License-Identifier: MIT
//
// The system's inet_ntop and inet_pton, as references for ours.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

// IPv4 addresses are in host order, IPv6 addresses in network order.
std::string judgeIPv4Text(std::uint32_t address);
std::optional<std::uint32_t> judgeIPv4(const std::string& text);
std::string judgeIPv6Text(const std::array<std::uint8_t, 16>& address);
std::optional<std::array<std::uint8_t, 16>> judgeIPv6(const std::string& text);
