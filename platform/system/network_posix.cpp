// SPDX-License-Identifier: MIT
#include <platform/system/network.h>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>

namespace platform {

// ---- interfaces

namespace {

struct KindRow {
    unsigned short type;
    const char* name;
};

// The usual kinds of interfaces. Interfaces of other kinds have no description.
// clang-format off
constexpr KindRow kinds[] = {
    {ARPHRD_LOOPBACK,  "Loopback"},
    {ARPHRD_ETHER,     "Ethernet"},
    {ARPHRD_IEEE80211, "Wi-Fi"},
    {ARPHRD_PPP,       "PPP"},
    {ARPHRD_NONE,      "Tunnel"}, // TUN devices
    {ARPHRD_TUNNEL,    "IP tunnel"},
    {ARPHRD_TUNNEL6,   "IPv6 tunnel"},
    {ARPHRD_SIT,       "IPv6 in IPv4 tunnel"},
    {ARPHRD_IPGRE,     "GRE tunnel"},
    {ARPHRD_INFINIBAND, "InfiniBand"}, // its address is cut to what fits
};
// clang-format on

std::string kindName(unsigned short type) {
    const auto* row =
        std::find_if(std::begin(kinds), std::end(kinds), [&](const KindRow& r) { return r.type == type; });
    return row == std::end(kinds) ? std::string() : row->name;
}

template <class Address>
Address addressAs(const sockaddr* from) {
    Address address{};
    std::memcpy(&address, from, sizeof address);
    return address;
}

std::uint32_t ipv4Of(const sockaddr* from) { return from ? ntohl(addressAs<sockaddr_in>(from).sin_addr.s_addr) : 0; }

// The link's own entry: what it is, and its hardware address. The address of a loopback link is all zeros, which counts
// as no address.
void takeLink(const sockaddr* from, NetworkInterface& into) {
    const auto link = addressAs<sockaddr_ll>(from);
    into.description = kindName(link.sll_hatype);
    const std::string bytes(reinterpret_cast<const char*>(link.sll_addr),
                            std::min<std::size_t>(link.sll_halen, sizeof link.sll_addr));
    if (bytes.find_first_not_of('\0') != std::string::npos) into.hardware = bytes;
}

NetworkInterface& named(std::vector<NetworkInterface>& interfaces, const ifaddrs& entry) {
    const auto found = std::find_if(interfaces.begin(), interfaces.end(),
                                    [&](const NetworkInterface& one) { return one.name == entry.ifa_name; });
    if (found != interfaces.end()) return *found;
    NetworkInterface added;
    added.name = entry.ifa_name;
    added.up = (entry.ifa_flags & IFF_UP) != 0;
    added.running = (entry.ifa_flags & IFF_RUNNING) != 0;
    added.loopback = (entry.ifa_flags & IFF_LOOPBACK) != 0;
    added.pointToPoint = (entry.ifa_flags & IFF_POINTOPOINT) != 0;
    return interfaces.emplace_back(std::move(added));
}

// An address that was given a label ("eth0:1") belongs to the interface before the colon.
void dropLabel(ifaddrs& entry) {
    if (char* colon = std::strchr(entry.ifa_name, ':')) *colon = '\0';
}

} // namespace

std::vector<NetworkInterface> networkInterfaces() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) throw std::system_error(errno, std::generic_category(), "getifaddrs");
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, ::freeifaddrs);
    std::vector<NetworkInterface> interfaces;
    for (ifaddrs* entry = first; entry; entry = entry->ifa_next) {
        dropLabel(*entry);
        NetworkInterface& one = named(interfaces, *entry);
        if (!entry->ifa_addr) continue;
        if (entry->ifa_addr->sa_family == AF_PACKET) takeLink(entry->ifa_addr, one);
        if (entry->ifa_addr->sa_family == AF_INET) {
            one.addresses.push_back({ipv4Of(entry->ifa_addr), ipv4Of(entry->ifa_netmask)});
        }
    }
    return interfaces;
}

// ---- names and addresses

std::vector<std::uint32_t> lookUpIPv4(const std::string& hostName) {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM; // without a type each address comes once for every type there is
    addrinfo* found = nullptr;
    if (getaddrinfo(hostName.c_str(), nullptr, &wanted, &found) != 0) return {};
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);

    std::vector<std::uint32_t> addresses;
    for (const addrinfo* entry = found; entry; entry = entry->ai_next) {
        sockaddr_in address{};
        std::memcpy(&address, entry->ai_addr, sizeof address);
        addresses.push_back(ntohl(address.sin_addr.s_addr));
    }
    return addresses;
}

bool writeIPv6Text(std::span<const std::uint8_t, 16> address, std::span<char> text) {
    return inet_ntop(AF_INET6, address.data(), text.data(), static_cast<socklen_t>(text.size())) != nullptr;
}

} // namespace platform
