// SPDX-License-Identifier: MIT
//
// The texts of single values that need more than digits: choices, times of day, addresses, lists of gateways.
#pragma once

#include <panelkit/lparams/param_text.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace panelkit {

// All of `text` as a decimal number of the type, a minus sign allowed where the type has one.
template <class Integer>
std::optional<Integer> readDecimal(std::string_view text);

// The value of a choice whose row is given, which is null where the table has none.
std::string printChoice(const LPARAMS::Variant* row, int value, TextForm form);

// Seconds after midnight as "10:00:00"; a number of them that is no time of day as "90000s".
PANELKIT_EXPORT std::string printTimeOfDay(std::int64_t seconds);

// Reads "H:MM", "HH:MM:SS", with one or two digits for the hour, and "90000s".
PANELKIT_EXPORT std::optional<std::int64_t> readTimeOfDay(std::string_view text);

// Whether a text is an IPv4 address, an IPv6 address (a zone may follow behind %), or a host name. What consists of
// digits and dots alone must be an IPv4 address.
bool isHost(std::string_view text);

// A gateway: address, subject of its certificate, selector of what lies behind it.
using Gateway = std::array<std::string, 3>;

// `gw1 "CN=a, O=b" 10.0.0.0/8; gw2 "" ""`
std::string printGateways(const std::vector<Gateway>& gateways);
std::optional<std::vector<Gateway>> readGateways(std::string_view text);

} // namespace panelkit
