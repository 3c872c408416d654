// SPDX-License-Identifier: MIT
//
// What panelkitd puts into the fields of NetInterfaceInfo that the library only carries.
//
//   using namespace vocabulary;
//   if (info.value & interfaceState::up) cli_printf("%s\n", (info.*netInterface::name).c_str());
#pragma once

#include <panelkit/net/interface_records.h>

#include <cstdint>

namespace vocabulary {

namespace netInterface {
// clang-format off
inline constexpr auto name            = &NetInterfaceInfo::text1; // "eth0"; on Windows the connection's name
inline constexpr auto description     = &NetInterfaceInfo::text2; // its kind, "Ethernet"; on Windows the adapter's name
inline constexpr auto hardwareAddress = &NetInterfaceInfo::text3; // "02:42:AC:11:00:02"; empty when it has none
inline constexpr auto masks           = &NetInterfaceInfo::list2; // of the addresses, at the same indexes
inline constexpr auto state           = &NetInterfaceInfo::value; // see interfaceState
// clang-format on
} // namespace netInterface

namespace interfaceState {
// clang-format off
inline constexpr std::uint32_t up           = 0x1; // it is switched on
inline constexpr std::uint32_t running      = 0x2; // and has a link
inline constexpr std::uint32_t loopback     = 0x4;
inline constexpr std::uint32_t pointToPoint = 0x8;
// clang-format on
} // namespace interfaceState

} // namespace vocabulary
