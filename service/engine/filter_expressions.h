// SPDX-License-Identifier: MIT
//
// Which packets a section is about, in nftables' words: expressions of its JSON.
#pragma once

#include <service/engine/networks.h>
#include <service/engine/packet_filter.h>

#include <nlohmann/json.hpp>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace panelkitd::nft {

using Json = nlohmann::ordered_json;
using Expressions = std::vector<Json>;

Expressions operator+(Expressions left, const Expressions& right);

// ---- parts

Json is(Json left, Json right);
Json meta(const char* key);
Json field(const char* protocol, const char* name);
Json anyOf(std::initializer_list<Json> values);
template <class Value>
Json range(const Value& first, const Value& last) {
    return first == last ? Json(first) : Json{{"range", Json::array_t{first, last}}};
}
// Of a network, or a block of addresses.
template <class Addresses>
Json rangeOf(const Addresses& addresses, bool isIPv6) {
    return range(addressText(addresses.first, isIPv6), addressText(addresses.last, isIPv6));
}
Json verdict(const char* name);
Json jumpTo(const std::string& chain); // does not come back

// ---- a section's packets

// The two directions, as chains.
struct Side {
    const char* chain;
    const char* otherEnd; // field with the address of the other end

    // By their texts: equal ones may have different addresses.
    bool operator==(const Side& other) const { return std::string_view(chain) == other.chain; }
};
inline constexpr Side outgoing{"outgoing", "daddr"};
inline constexpr Side incoming{"incoming", "saddr"};
// Packets that leave, before their route is chosen.
inline constexpr Side beside{"beside", "daddr"};

// The packets that a section closes: one alternative after the other. No state of a connection is looked at: a
// connection that was there before the policy must not escape.
std::vector<Expressions> closedPackets(const PolicySection& section, const Side& side);

// The packets that a section opens. With a port: those of connections that were opened to it. Looking at the port alone
// would open every port of the host to packets that come from that port.
Expressions openPackets(const PolicySection& section, const Side& side);

// Is encrypted or was decrypted.
Json throughTunnel(const Side& side, const FilterOptions& options);

} // namespace panelkitd::nft
