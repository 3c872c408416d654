// SPDX-License-Identifier: MIT
#include <panelkit/format/ipv6.h>

#include <platform/system/network.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <optional>

namespace panelkit {

namespace {

constexpr std::size_t groupsOfAddress = 8;
constexpr unsigned bitsOfAddress = 128;
constexpr std::string_view notSupported = "<IPv6 not supported>";

using Words = std::array<std::uint32_t, 4>; // in network order

Words wordsOf(const IPv6Address& address) { return std::bit_cast<Words>(address.bytes); }
IPv6Address addressOf(const Words& words) { return {std::bit_cast<std::array<std::uint8_t, 16>>(words)}; }

// Takes one group of one to four hexadecimal digits off the front of `text`.
bool takeGroup(std::string_view& text, std::uint16_t& group) {
    const char* const begin = text.data();
    const auto [end, error] = std::from_chars(begin, begin + std::min<std::size_t>(text.size(), 4), group, 16);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(end - begin));
    return true;
}

// The groups of a text, and the position of its double colon among them.
struct ParsedGroups {
    std::array<std::uint16_t, groupsOfAddress> groups{};
    std::size_t count = 0;
    std::optional<std::size_t> gap;
};

// A colon where a group should begin is the second one of a double colon. At the start of a text one colon was skipped
// already, whether it is single or the first of two.
bool takeGroups(std::string_view text, ParsedGroups& parsed) {
    bool afterColon = false; // a single one, which must be followed by a group
    while (!text.empty()) {
        if (text.front() == ':') {
            if (parsed.gap) return false;
            parsed.gap = parsed.count;
            text.remove_prefix(1);
            afterColon = false;
            continue;
        }
        if (parsed.count == groupsOfAddress || !takeGroup(text, parsed.groups[parsed.count])) return false;
        ++parsed.count;
        afterColon = text.starts_with(':');
        if (!afterColon && !text.empty()) return false;
        if (afterColon) text.remove_prefix(1);
    }
    return !afterColon && (parsed.gap || parsed.count == groupsOfAddress);
}

} // namespace

const char* ipv6ToText(const IPv6Address& address, std::span<char, IPv6TextSize> buffer) {
    if (!platform::writeIPv6Text(address.bytes, buffer)) {
        *std::copy(notSupported.begin(), notSupported.end(), buffer.data()) = '\0';
    }
    return buffer.data();
}

bool parseIPv6(std::string_view text, IPv6Address& address) {
    if (text.size() >= 2 && text.starts_with('[') && text.ends_with(']')) text = text.substr(1, text.size() - 2);
    if (text.starts_with(':')) text.remove_prefix(1);
    ParsedGroups parsed;
    if (!takeGroups(text, parsed)) return false;

    address = {};
    const std::size_t head = parsed.gap.value_or(parsed.count);
    const std::size_t missing = groupsOfAddress - parsed.count;
    for (std::size_t i = 0; i < parsed.count; ++i) address.setGroup(i < head ? i : i + missing, parsed.groups[i]);
    return true;
}

IPv6Mask ipv6PrefixToMask(unsigned length) {
    IPv6Address mask;
    length = std::min(length, bitsOfAddress);
    const unsigned whole = length / 8;
    std::fill_n(mask.bytes.begin(), whole, std::uint8_t{0xFF});
    if (length % 8 != 0) mask.bytes[whole] = static_cast<std::uint8_t>(0xFF00 >> length % 8);
    return {wordsOf(mask)};
}

unsigned ipv6MaskToPrefix(const IPv6Mask& mask) {
    unsigned length = 0;
    for (const std::uint8_t byte : addressOf(mask.words).bytes) {
        length += static_cast<unsigned>(std::countl_one(byte));
        if (byte != 0xFF) break;
    }
    return length;
}

IPv6Range ipv6RangeOf(const IPv6Address& address, const IPv6Mask& mask) {
    Words first = wordsOf(address);
    for (std::size_t i = 0; i < first.size(); ++i) first[i] &= mask.words[i];
    return {addressOf(first), ipv6LastOf(address, mask)};
}

IPv6Range ipv6RangeOf(const IPv6Address& address, unsigned prefixLength) {
    return ipv6RangeOf(address, ipv6PrefixToMask(prefixLength));
}

IPv6Address ipv6LastOf(const IPv6Address& address, const IPv6Mask& mask) {
    Words last = wordsOf(address);
    for (std::size_t i = 0; i < last.size(); ++i) last[i] |= ~mask.words[i];
    return addressOf(last);
}

bool isIPv6Block(const IPv6Range& range) {
    Words mask = wordsOf(range.first);
    const Words last = wordsOf(range.last);
    for (std::size_t i = 0; i < mask.size(); ++i) mask[i] = ~(mask[i] ^ last[i]);
    // When the leading ones are the whole mask, applying it to the first address must change nothing and return the
    // last.
    const unsigned length = ipv6MaskToPrefix({mask});
    return ipv6RangeOf(range.first, length) == range;
}

} // namespace panelkit
