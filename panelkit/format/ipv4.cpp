// SPDX-License-Identifier: MIT
#include <panelkit/format/ipv4.h>

#include <panelkit/format/digits.h>

#include <algorithm>
#include <bit>

namespace panelkit {

namespace {

constexpr std::uint32_t bitsOfAddress = 32;

char* putAddress(char* to, IPv4Address address) {
    to = putNumber(to, address >> 24);
    for (int shift = 16; shift >= 0; shift -= 8) {
        *to++ = '.';
        to = putNumber(to, address >> shift & 0xFF);
    }
    return to;
}

char* putMask(char* to, IPv4Address mask, MaskForm form) {
    if (form == MaskForm::Dotted) return putAddress(to, mask);
    return putNumber(to, static_cast<unsigned>(std::countl_one(mask)));
}

char* putNetwork(char* to, IPv4Address address, IPv4Address mask, MaskForm form) {
    to = putAddress(to, address);
    *to++ = '/';
    return putMask(to, mask, form);
}

// The mask of `length` leading ones, 0 to 32.
IPv4Address maskOfLength(std::uint32_t length) { return length == 0 ? 0 : ~IPv4Address{0} << (bitsOfAddress - length); }

// Ones followed by zeros: the complement is 2^k - 1, and shares no bit with its successor.
bool isContiguous(IPv4Address mask) { return (~mask & (~mask + 1)) == 0; }

IPv4Range networkOf(IPv4Address address, IPv4Address mask) { return {address & mask, address | ~mask}; }

// Takes an address off the front of `text`; on failure nothing changes.
bool takeAddress(std::string_view& text, IPv4Address& address) {
    std::string_view rest = text;
    IPv4Address value = 0;
    for (int part = 0; part < 4; ++part) {
        if (part != 0) {
            if (!rest.starts_with('.')) return false;
            rest.remove_prefix(1);
        }
        std::uint32_t octet = 0;
        if (!takeNumber(rest, 255, octet)) return false;
        value = value << 8 | octet;
    }
    text = rest;
    address = value;
    return true;
}

bool wholeAddress(std::string_view text, IPv4Address& address) { return takeAddress(text, address) && text.empty(); }

// Takes an address that is not below `first` off the front of `text` and makes the range up to it.
bool takeLast(std::string_view& text, IPv4Address first, IPv4Range& range) {
    IPv4Address last = 0;
    if (!takeAddress(text, last) || last < first) return false;
    range = {first, last};
    return true;
}

bool parsePrefixLength(std::string_view text, IPv4Address& mask) {
    std::uint32_t length = 0;
    if (!wholeNumber(text, bitsOfAddress, length)) return false;
    mask = maskOfLength(length);
    return true;
}

// "/24", "/255.255.255.0" or ":255.255.255.0", all of it.
bool parseMaskSuffix(std::string_view text, IPv4Address& mask) {
    const char delimiter = text.front();
    text.remove_prefix(1);
    if (delimiter == '/' && parsePrefixLength(text, mask)) return true;
    return (delimiter == '/' || delimiter == ':') && wholeAddress(text, mask) && isContiguous(mask);
}

} // namespace

// ---- texts

const char* ipv4ToText(IPv4Address address, std::span<char, IPv4TextSize> buffer) {
    *putAddress(buffer.data(), address) = '\0';
    return buffer.data();
}

const char* ipv4MaskToText(IPv4Address mask, MaskForm form, std::span<char, IPv4TextSize> buffer) {
    char* to = buffer.data();
    if (form == MaskForm::PrefixLength) *to++ = '/';
    *putMask(to, mask, form) = '\0';
    return buffer.data();
}

const char* ipv4NetworkToText(IPv4Address address, IPv4Address mask, MaskForm form,
                              std::span<char, IPv4NetworkTextSize> buffer) {
    *putNetwork(buffer.data(), address, mask, form) = '\0';
    return buffer.data();
}

const char* ipv4RangeToText(const IPv4Range& range, MaskForm form, std::span<char, IPv4RangeTextSize> buffer) {
    char* to = putAddress(buffer.data(), range.first);
    IPv4Address mask = 0;
    // A last address of 0 means that none is set, so only the first address is shown.
    if (range.last == 0 || range.first == range.last) {
        *to = '\0';
    } else if (ipv4BlockMask(range, mask)) {
        *putNetwork(buffer.data(), range.first, mask, form) = '\0';
    } else {
        *to++ = '.';
        *to++ = '.';
        *putAddress(to, range.last) = '\0';
    }
    return buffer.data();
}

// ---- parsers

IPv4Address parseIPv4(std::string_view text) {
    IPv4Address address = 0;
    return wholeAddress(text, address) ? address : 0;
}

bool parseIPv4Partial(std::string_view text, IPv4Address& address, std::size_t& end) {
    std::string_view rest = text;
    if (!takeAddress(rest, address)) return false;
    end = text.size() - rest.size();
    return true;
}

bool parseIPv4Range(std::string_view text, IPv4Range& range) {
    IPv4Address address = 0;
    if (!takeAddress(text, address)) return false;
    if (text.starts_with("..")) {
        // What follows the second address is ignored: "10.0.0.1..10.0.0.5/24" is the range of five addresses, and the
        // length has no effect. The parser for a piece of text refuses it.
        text.remove_prefix(2);
        return takeLast(text, address, range);
    }
    IPv4Address mask = ~IPv4Address{0};
    if (!text.empty() && !parseMaskSuffix(text, mask)) return false;
    range = networkOf(address, mask);
    return true;
}

bool parseIPv4Range(const char* begin, const char* end, IPv4Range& range) {
    range = {};
    std::string_view text(begin, static_cast<std::size_t>(end - begin));
    const std::size_t cut = std::min(text.find('/'), text.find(".."));
    IPv4Address address = 0;
    if (!wholeAddress(text.substr(0, cut), address)) return false;
    IPv4Address mask = ~IPv4Address{0};
    IPv4Range parsed = networkOf(address, mask);
    if (cut != std::string_view::npos && text[cut] == '.') {
        text.remove_prefix(cut + 2);
        if (!takeLast(text, address, parsed) || !text.empty()) return false;
    } else if (cut != std::string_view::npos) {
        // Unlike in a whole text, a mask with holes is accepted here: 10.0.0.7/255.0.255.0 is the range from 10.0.0.0
        // to 10.255.0.255, which has more addresses than the mask matches.
        text.remove_prefix(cut + 1);
        if (!parsePrefixLength(text, mask) && !wholeAddress(text, mask)) return false;
        parsed = networkOf(address, mask);
    }
    range = parsed;
    return true;
}

bool isDottedNumber(std::string_view text) {
    return text.find_first_not_of("0123456789.") == std::string_view::npos && text.find('.') != std::string_view::npos;
}

// ---- blocks

bool isIPv4Block(const IPv4Range& range) {
    const IPv4Address inside = range.first ^ range.last;
    return isContiguous(~inside) && (range.first & inside) == 0;
}

bool ipv4BlockMask(const IPv4Range& range, IPv4Address& mask) {
    if (!isIPv4Block(range)) return false;
    mask = ~(range.first ^ range.last);
    return true;
}

IPv4Prefix commonIPv4Prefix(IPv4Address a, IPv4Address b) {
    const IPv4Address mask = maskOfLength(static_cast<std::uint32_t>(std::countl_zero(a ^ b)));
    return {a & mask, mask};
}

} // namespace panelkit
