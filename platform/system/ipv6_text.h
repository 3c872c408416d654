// SPDX-License-Identifier: MIT
//
// The system's text form of an IPv6 address.
#pragma once

#include <cstdint>
#include <span>

namespace platform {

// Writes the text of an address, given in network order, with its terminating zero; 65 characters are always enough.
// False when the system cannot produce it; `text` is then undefined.
bool writeIPv6Text(std::span<const std::uint8_t, 16> address, std::span<char> text);

} // namespace platform
