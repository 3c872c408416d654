// SPDX-License-Identifier: MIT
//
// IPv6 addresses, masks and ranges: to texts and back, and calculations with them.
//
//   panelkit::IPv6Address address;
//   char buffer[panelkit::IPv6TextSize];
//   if (panelkit::parseIPv6("[2001:db8::1]", address)) {
//       const panelkit::IPv6Range network = panelkit::ipv6RangeOf(address, 64);
//       cli_printf("%s\n", panelkit::ipv6ToText(network.first, buffer)); // 2001:db8::
//   }
//
// Any thread may call everything here.
#pragma once

#include <platform/export.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace panelkit {

// The 16 bytes in network order, as in an in6_addr.
struct IPv6Address {
    std::array<std::uint8_t, 16> bytes{};

    // One of the eight groups of the text form, 0 to 7, as a number.
    constexpr std::uint16_t group(std::size_t index) const {
        return static_cast<std::uint16_t>(bytes[2 * index] << 8 | bytes[2 * index + 1]);
    }
    constexpr void setGroup(std::size_t index, std::uint16_t value) {
        bytes[2 * index] = static_cast<std::uint8_t>(value >> 8);
        bytes[2 * index + 1] = static_cast<std::uint8_t>(value & 0xFF);
    }

    bool operator==(const IPv6Address&) const = default;
};

// Four 32-bit words in network order: in memory they are the 16 bytes of the mask, so on a little-endian machine the
// word for ffff:ff00 has the value 0x00FFFFFF.
struct IPv6Mask {
    std::array<std::uint32_t, 4> words{};
    bool operator==(const IPv6Mask&) const = default;
};

// Both ends are part of the range.
struct IPv6Range {
    IPv6Address first;
    IPv6Address last;
    bool operator==(const IPv6Range&) const = default;
};

inline constexpr std::size_t IPv6TextSize = 65;

// The system's text form ("2001:db8::1"), or "<IPv6 not supported>" where the system does not support IPv6. Returns the
// buffer.
PANELKIT_EXPORT const char* ipv6ToText(const IPv6Address& address, std::span<char, IPv6TextSize> buffer);

// Reads eight groups of one to four hexadecimal digits, separated by single colons. At most one double colon stands for
// as many zero groups as are needed (possibly none) to make eight. The whole may be in square brackets, and one more
// colon may come first. Dotted IPv4 parts, zones ("%eth0") and prefix lengths are not accepted. Returns false, with
// `address` unchanged, for anything else.
PANELKIT_EXPORT bool parseIPv6(std::string_view text, IPv6Address& address);

// Returns the mask of a prefix length from 0 to 128; a larger length counts as 128.
PANELKIT_EXPORT IPv6Mask ipv6PrefixToMask(unsigned length);

// Returns the number of leading one bits; bits after the first zero are ignored.
PANELKIT_EXPORT unsigned ipv6MaskToPrefix(const IPv6Mask& mask);

// Returns the range of an address and a mask (holes are allowed) or a prefix length: from the address with the bits
// outside the mask cleared to the address with them set.
PANELKIT_EXPORT IPv6Range ipv6RangeOf(const IPv6Address& address, const IPv6Mask& mask);
PANELKIT_EXPORT IPv6Range ipv6RangeOf(const IPv6Address& address, unsigned prefixLength);

// Returns only the last address of that range.
PANELKIT_EXPORT IPv6Address ipv6LastOf(const IPv6Address& address, const IPv6Mask& mask);

// Whether a range is an address with a prefix length. A single address is the block of the length 128.
PANELKIT_EXPORT bool isIPv6Block(const IPv6Range& range);

} // namespace panelkit
