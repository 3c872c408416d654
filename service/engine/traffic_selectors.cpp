// SPDX-License-Identifier: MIT
#include <service/engine/ike_connections.h>

#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>

#include <algorithm>
#include <array>
#include <bit>

namespace panelkitd {

namespace {

// The largest networks that fill the range.
std::vector<std::string> networksOf(const panelkit::IPv4Range& range) {
    std::vector<std::string> networks;
    std::uint64_t next = range.first;
    while (next <= range.last) {
        const int byStart = next == 0 ? 32 : std::countr_zero(next);
        const int bySize = static_cast<int>(std::bit_width(range.last - next + 1)) - 1;
        const int bits = std::min(byStart, bySize);
        std::array<char, panelkit::IPv4TextSize> text{};
        panelkit::ipv4ToText(static_cast<std::uint32_t>(next), text);
        networks.push_back(std::string(text.data()) + '/' + std::to_string(32 - bits));
        next += std::uint64_t{1} << static_cast<unsigned>(bits);
    }
    return networks;
}

std::string ipv6Network(const std::string& network) {
    const std::size_t slash = network.find('/');
    panelkit::IPv6Address address;
    std::array<char, panelkit::IPv6TextSize> text{};
    if (!panelkit::parseIPv6(network.substr(0, slash), address)) return network;
    panelkit::ipv6ToText(address, text);
    return text.data() + (slash == network.npos ? "/128" : network.substr(slash));
}

std::vector<std::string> networksOf(const std::string& network) {
    if (network == "any") return {"0.0.0.0/0", "::/0"};
    if (network.find("..") == network.npos) {
        panelkit::IPv4Range range;
        if (!panelkit::parseIPv4Range(network, range)) return {ipv6Network(network)};
        return networksOf(range);
    }
    panelkit::IPv4Range range;
    panelkit::parseIPv4Range(network.data(), network.data() + network.size(), range);
    return networksOf(range);
}

// "[tcp/443]"; empty for all traffic.
std::string portsOf(const PolicySection& section, bool isIPv6) {
    if (section.protocol == "any") return {};
    std::string protocol = section.protocol;
    if (protocol == "icmp" && isIPv6) protocol = "ipv6-icmp";
    if (section.port.empty()) return '[' + protocol + ']';
    std::string port = section.port;
    const std::size_t dots = port.find("..");
    if (dots != port.npos) port.replace(dots, 2, "-");
    return '[' + protocol + '/' + port + ']';
}

} // namespace

std::vector<std::string> trafficSelectors(const PolicySection& section) {
    std::vector<std::string> selectors = networksOf(section.network);
    for (std::string& selector : selectors) selector += portsOf(section, selector.find(':') != selector.npos);
    return selectors;
}

} // namespace panelkitd
