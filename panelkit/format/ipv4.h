// SPDX-License-Identifier: MIT
//
// IPv4 addresses, masks and ranges as texts, and back. Addresses and masks are 32-bit values in host order: 10.0.0.1
// is 0x0A000001.
//
// Texts go into a buffer of the caller, of the size given here, which is also what is returned:
//
//   char buffer[panelkit::IPv4RangeTextSize];
//   panelkit::IPv4Range range;
//   if (panelkit::parseIPv4Range("10.0.0.7/24", range)) {
//       cli_printf("%s\n", panelkit::ipv4RangeToText(range, panelkit::MaskForm::PrefixLength, buffer)); // 10.0.0.0/24
//   }
//
// Any thread may call everything here.
#pragma once

#include <platform/export.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace panelkit {

using IPv4Address = std::uint32_t;

// Both ends belong to it.
struct IPv4Range {
    IPv4Address first{};
    IPv4Address last{};
    bool operator==(const IPv4Range&) const = default;
};

// What addresses have in common: their leading bits, and the mask of these bits.
struct IPv4Prefix {
    IPv4Address address{};
    IPv4Address mask{};
    bool operator==(const IPv4Prefix&) const = default;
};

// How a text shows a mask: "255.255.255.0" or "24". The prefix length is the number of leading one bits; of a mask
// with holes (255.0.255.0) it shows only the part before the first hole.
enum class MaskForm { Dotted, PrefixLength };

// ---- texts

inline constexpr std::size_t IPv4TextSize = 16;
inline constexpr std::size_t IPv4NetworkTextSize = 32;
inline constexpr std::size_t IPv4RangeTextSize = 33;

// "10.0.0.1"
PANELKIT_EXPORT const char* ipv4ToText(IPv4Address address, std::span<char, IPv4TextSize> buffer);

// "255.255.255.0" or "/24"; the slash belongs to the short form only.
PANELKIT_EXPORT const char* ipv4MaskToText(IPv4Address mask, MaskForm form, std::span<char, IPv4TextSize> buffer);

// "10.0.0.1/255.255.255.0" or "10.0.0.1/24"
PANELKIT_EXPORT const char* ipv4NetworkToText(IPv4Address address, IPv4Address mask, MaskForm form,
                                              std::span<char, IPv4NetworkTextSize> buffer);

// "10.0.0.1" for a single address and for a range whose last address is 0 (which stands for "no last address"),
// "10.0.0.0/255.255.255.0" or "10.0.0.0/24" for a block, "10.0.0.1..10.0.0.5" for every other range.
PANELKIT_EXPORT const char* ipv4RangeToText(const IPv4Range& range, MaskForm form,
                                            std::span<char, IPv4RangeTextSize> buffer);

// ---- parsers
//
// An address is four decimal parts with single dots between them, each at most 255; leading zeros are fine and do not
// mean octal. Where a parser fails, its outputs are left alone unless it says otherwise.

// The address that is the whole text, or 0 when it is none; "0.0.0.0" gives 0 too.
PANELKIT_EXPORT IPv4Address parseIPv4(std::string_view text);

// The address that `text` begins with, and the position behind its fourth part; what follows does not matter.
PANELKIT_EXPORT bool parseIPv4Partial(std::string_view text, IPv4Address& address, std::size_t& end);

// A whole text, as one types it:
//
//   10.0.0.1                     that address
//   10.0.0.1..10.0.0.5           from first to last, not backwards; what follows the second address is ignored
//   10.0.0.7/24                  the network of the address: 10.0.0.0 to 10.0.0.255
//   10.0.0.7/255.255.255.0       the same
//   10.0.0.7:255.255.255.0       the same
//
// A mask must consist of leading ones.
PANELKIT_EXPORT bool parseIPv4Range(std::string_view text, IPv4Range& range);

// A piece of a longer text, from `begin` up to `end`. It knows the first four forms above, and differs: nothing may
// follow the second address, a mask may have holes (the range then runs from the address with the holes cleared to
// the one with them set), and `range` is cleared to zeros before anything else, so that a failure leaves zeros.
PANELKIT_EXPORT bool parseIPv4Range(const char* begin, const char* end, IPv4Range& range);

// Whether a text can only be meant as an address, not as a host name: digits and dots, at least one dot. It may still
// fail to parse ("1.2", ".").
PANELKIT_EXPORT bool isDottedNumber(std::string_view text);

// ---- blocks

// Whether a range is what some mask makes of an address. A single address is the block of the mask 255.255.255.255.
PANELKIT_EXPORT bool isIPv4Block(const IPv4Range& range);

// The mask of a block; false, with `mask` left alone, for a range that is none.
PANELKIT_EXPORT bool ipv4BlockMask(const IPv4Range& range, IPv4Address& mask);

// The leading bits that two addresses share. Equal addresses share all 32.
PANELKIT_EXPORT IPv4Prefix commonIPv4Prefix(IPv4Address a, IPv4Address b);

} // namespace panelkit
