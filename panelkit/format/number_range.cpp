// SPDX-License-Identifier: MIT
#include <panelkit/format/number_range.h>

#include <panelkit/format/digits.h>

#include <limits>

namespace panelkit {

namespace {

template <class Number>
bool parseNumber(std::string_view text, Number& number) {
    std::uint32_t value = 0;
    if (!wholeNumber(text, std::numeric_limits<Number>::max(), value)) return false;
    number = static_cast<Number>(value);
    return true;
}

template <class Range>
bool parseRange(std::string_view text, Range& range) {
    Range parsed;
    const std::size_t dots = text.find("..");
    if (!parseNumber(text.substr(0, dots), parsed.first)) return false;
    if (dots == std::string_view::npos) {
        parsed.last = parsed.first;
    } else if (!parseNumber(text.substr(dots + 2), parsed.last) || parsed.last < parsed.first) {
        return false;
    }
    range = parsed;
    return true;
}

} // namespace

bool parsePort(std::string_view text, std::uint16_t& port) { return parseNumber(text, port); }
bool parsePortRange(std::string_view text, PortRange& range) { return parseRange(text, range); }
bool parseSmallNumber(std::string_view text, std::uint8_t& number) { return parseNumber(text, number); }
bool parseSmallNumberRange(std::string_view text, SmallNumberRange& range) { return parseRange(text, range); }

} // namespace panelkit
