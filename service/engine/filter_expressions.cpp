// SPDX-License-Identifier: MIT
#include <service/engine/filter_expressions.h>

#include <panelkit/format/number_range.h>

#include <array>
#include <utility>

namespace panelkitd::nft {

// ---- parts of rules

Expressions operator+(Expressions left, const Expressions& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Json is(Json left, Json right) {
    return {{"match", {{"op", "=="}, {"left", std::move(left)}, {"right", std::move(right)}}}};
}
Json meta(const char* key) { return {{"meta", {{"key", key}}}}; }
Json field(const char* protocol, const char* name) { return {{"payload", {{"protocol", protocol}, {"field", name}}}}; }
Json anyOf(std::initializer_list<Json> values) { return {{"set", Json::array_t(values)}}; }
Json verdict(const char* name) { return Json::object({{name, nullptr}}); }
Json jumpTo(const std::string& chain) { return {{"goto", {{"target", chain}}}}; }

// ---- a section's packets

namespace {

Expressions matchNetwork(const PolicySection& section, const Side& side) {
    const std::optional<Network> network = networkOf(section);
    if (!network) return {};
    return {is(field(network->isIPv6 ? "ip6" : "ip", side.otherEnd), rangeOf(*network, network->isIPv6))};
}

// A network of IPv6 has a colon, and nothing else has.
bool isIPv6(const std::string& network) { return network.find(':') != network.npos; }

Expressions matchProtocol(const PolicySection& section) {
    const std::string& name = section.protocol;
    if (name == "any") return {};
    if (name == "icmp" && isIPv6(section.network)) return {is(meta("l4proto"), 58)};
    if (name == "icmp" && section.network == "any") return {is(meta("l4proto"), anyOf({1, 58}))};
    constexpr std::array<std::pair<std::string_view, int>, 5> names{
        {{"icmp", 1}, {"tcp", 6}, {"udp", 17}, {"esp", 50}, {"ah", 51}}};
    for (const auto& [known, number] : names) {
        if (name == known) return {is(meta("l4proto"), number)};
    }
    return {is(meta("l4proto"), std::stoi(name))};
}

Json portsOf(const PolicySection& section) {
    panelkit::PortRange ports;
    panelkit::parsePortRange(section.port, ports);
    return range(ports.first, ports.last);
}

Expressions matchTraffic(const PolicySection& section, const Side& side) {
    return matchNetwork(section, side) + matchProtocol(section);
}

} // namespace

std::vector<Expressions> closedPackets(const PolicySection& section, const Side& side) {
    const Expressions traffic = matchTraffic(section, side);
    if (section.port.empty()) return {traffic};
    const Json ports = portsOf(section);
    return {traffic + Expressions{is(field("th", "dport"), ports)},
            traffic + Expressions{is(field("th", "sport"), ports)}};
}

Expressions openPackets(const PolicySection& section, const Side& side) {
    const Expressions traffic = matchTraffic(section, side);
    if (section.port.empty()) return traffic;
    const Json opened{{"ct", {{"key", "proto-dst"}, {"dir", "original"}}}};
    return traffic + Expressions{is(opened, portsOf(section))};
}

Json throughTunnel(const Side& side, const FilterOptions& options) {
    const bool out = side == outgoing;
    if (options.esp == EspPlace::userSpace) return is(meta(out ? "oifname" : "iifname"), options.device);
    return is(out ? Json{{"rt", {{"key", "ipsec"}}}} : meta("ipsec"), true);
}

} // namespace panelkitd::nft
