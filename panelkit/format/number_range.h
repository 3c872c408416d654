// SPDX-License-Identifier: MIT
//
// Ports and small numbers (IP protocols, ICMP types) and ranges of them, as an administrator types them: decimal,
// without sign or blank, either one number ("80") or first and last ("1024..65535").
//
// Each returns false, with the output unchanged, for anything else: the whole text must be used, the number must fit,
// and the last number must not be below the first. Leading zeros are allowed. Any thread may call them.
//
//   panelkit::PortRange ports;
//   if (!panelkit::parsePortRange(text, ports)) cli_printf("not a port or FIRST..LAST: %s\n", text.c_str());
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <string_view>

namespace panelkit {

// Both ends are part of the range; a single number is a range whose ends are equal.
struct PortRange {
    std::uint16_t first{};
    std::uint16_t last{};
    bool operator==(const PortRange&) const = default;
};

// Both ends are part of the range.
struct SmallNumberRange {
    std::uint8_t first{};
    std::uint8_t last{};
    bool operator==(const SmallNumberRange&) const = default;
};

// 0 to 65535.
PANELKIT_EXPORT bool parsePort(std::string_view text, std::uint16_t& port);
PANELKIT_EXPORT bool parsePortRange(std::string_view text, PortRange& range);

// 0 to 255.
PANELKIT_EXPORT bool parseSmallNumber(std::string_view text, std::uint8_t& number);
PANELKIT_EXPORT bool parseSmallNumberRange(std::string_view text, SmallNumberRange& range);

} // namespace panelkit
