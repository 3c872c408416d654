// SPDX-License-Identifier: MIT
//
// Addresses, ranges, ports and times from any text: a value that was read can be printed, and reading that returns the
// same value.
#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>
#include <panelkit/format/number_range.h>
#include <panelkit/format/time_text.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void checkIPv4(const std::string& text) {
    panelkit::IPv4Range range, again;
    if (!panelkit::parseIPv4Range(text, range)) return;
    if (range.first > range.last) std::abort();
    if (range.last == 0) return; // printed as a single address
    std::array<char, panelkit::IPv4RangeTextSize> buffer{};
    for (const auto form : {panelkit::MaskForm::Dotted, panelkit::MaskForm::PrefixLength}) {
        const std::string printed = ipv4RangeToText(range, form, buffer);
        if (!panelkit::parseIPv4Range(printed, again) || !(again == range)) std::abort();
    }
}

void checkIPv6(const std::string& text) {
    panelkit::IPv6Address address;
    if (!panelkit::parseIPv6(text, address)) return;
    std::array<char, panelkit::IPv6TextSize> buffer{};
    const std::string printed = ipv6ToText(address, buffer);
    panelkit::IPv6Address again;
    const bool dotted = printed.find('.') != std::string::npos; // the system's form of a mapped address is not accepted
    if (!dotted && (!panelkit::parseIPv6(printed, again) || !(again == address))) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    checkIPv4(text);
    checkIPv6(text);
    panelkit::PortRange ports;
    panelkit::SmallNumberRange numbers;
    if (panelkit::parsePortRange(text, ports) && ports.first > ports.last) std::abort();
    if (panelkit::parseSmallNumberRange(text, numbers) && numbers.first > numbers.last) std::abort();
    std::string shown;
    const panelkit::PackedTime time = panelkit::parsePackedTime(text);
    packedTimeToText(time, shown);
    packedTimeToIsoText(time, shown);
    appendPackedTimeLocal(time, shown);
    panelkit::appendCtime(packedTimeToPlain(time), shown);
    return 0;
}
