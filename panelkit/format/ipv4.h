// SPDX-License-Identifier: MIT
//
// IPv4 addresses, masks and ranges to texts and back. Addresses and masks are 32-bit values in host order: 10.0.0.1 is
// 0x0A000001.
//
// Texts are written into a buffer of the caller, of the size given here. The functions return this buffer:
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

// The first octet is in the most significant byte.
using IPv4Address = std::uint32_t;

// Both ends are part of the range.
struct IPv4Range {
    IPv4Address first{};
    IPv4Address last{};
    bool operator==(const IPv4Range&) const = default;
};

// The leading bits that addresses share, and the mask of these bits.
struct IPv4Prefix {
    IPv4Address address{};
    IPv4Address mask{};
    bool operator==(const IPv4Prefix&) const = default;
};

// How a text shows a mask: "255.255.255.0" or "24". The prefix length is the number of leading one bits; for a mask
// with holes (255.0.255.0) it counts only those before the first hole.
enum class MaskForm { Dotted, PrefixLength };

// ---- texts

inline constexpr std::size_t IPv4TextSize = 16;
inline constexpr std::size_t IPv4NetworkTextSize = 32;
inline constexpr std::size_t IPv4RangeTextSize = 33;

// "10.0.0.1"
PANELKIT_EXPORT const char* ipv4ToText(IPv4Address address, std::span<char, IPv4TextSize> buffer);

// "255.255.255.0" or "/24"; only the short form has the slash.
PANELKIT_EXPORT const char* ipv4MaskToText(IPv4Address mask, MaskForm form, std::span<char, IPv4TextSize> buffer);

// "10.0.0.1/255.255.255.0" or "10.0.0.1/24"
PANELKIT_EXPORT const char* ipv4NetworkToText(IPv4Address address, IPv4Address mask, MaskForm form,
                                              std::span<char, IPv4NetworkTextSize> buffer);

// "10.0.0.1" for a single address and for a range whose last address is 0 (which means "no last address"),
// "10.0.0.0/255.255.255.0" or "10.0.0.0/24" for a block, "10.0.0.1..10.0.0.5" for every other range.
PANELKIT_EXPORT const char* ipv4RangeToText(const IPv4Range& range, MaskForm form,
                                            std::span<char, IPv4RangeTextSize> buffer);

// ---- parsers
//
// An address is four decimal parts separated by single dots, each at most 255; leading zeros are allowed and do not
// mean octal. When a parser fails it returns false and leaves its outputs unchanged, unless it says otherwise.

// Returns the address when the whole text is one, else 0; "0.0.0.0" returns 0 too.
PANELKIT_EXPORT IPv4Address parseIPv4(std::string_view text);

// Reads the address at the start of `text`, and the position after its fourth part; what follows is ignored.
PANELKIT_EXPORT bool parseIPv4Partial(std::string_view text, IPv4Address& address, std::size_t& end);

// Reads a whole text, as an administrator types it:
//
//   10.0.0.1                     that address
//   10.0.0.1..10.0.0.5           from first to last, not backwards; what follows the second address is ignored
//   10.0.0.7/24                  the network of the address: 10.0.0.0 to 10.0.0.255
//   10.0.0.7/255.255.255.0       the same
//   10.0.0.7:255.255.255.0       the same
//
// A mask must be ones followed by zeros.
PANELKIT_EXPORT bool parseIPv4Range(std::string_view text, IPv4Range& range);

// Reads a piece of a longer text, from `begin` up to `end`. It accepts the first four forms above, with these
// differences: nothing may follow the second address; a mask may have holes (the range then goes from the address with
// the bits outside the mask cleared to the address with them set); and `range` is set to zeros first, so it holds zeros
// after a failure.
PANELKIT_EXPORT bool parseIPv4Range(const char* begin, const char* end, IPv4Range& range);

// Returns true when a text can only be meant as an address, not as a host name: digits and dots, with at least one dot.
// It may still fail to parse ("1.2", ".").
PANELKIT_EXPORT bool isDottedNumber(std::string_view text);

// ---- blocks

// Whether a range is an address with a mask. A single address is the block of the mask 255.255.255.255.
PANELKIT_EXPORT bool isIPv4Block(const IPv4Range& range);

// Gets the mask of a block. Returns false, with `mask` unchanged, when the range is not a block.
PANELKIT_EXPORT bool ipv4BlockMask(const IPv4Range& range, IPv4Address& mask);

// The leading bits that two addresses share. Equal addresses share all 32.
PANELKIT_EXPORT IPv4Prefix commonIPv4Prefix(IPv4Address a, IPv4Address b);

} // namespace panelkit
