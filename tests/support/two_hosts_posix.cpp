// SPDX-License-Identifier: MIT
#include "two_hosts_posix.h"

#include "namespaces_posix.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/ip.h>
#include <netinet/ip6.h>
#include <poll.h>

#include <array>
#include <cstring>
#include <fstream>

namespace {

constexpr int markerType = 0x88B5; // of frames that tell that all before them have arrived

int boundSocket(int type, const std::string& address, int port) {
    const sockaddr_storage where = socketAddress(address, port);
    const int made = checked(::socket(where.ss_family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket");
    const int on = 1;
    ::setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    checked(::bind(made, reinterpret_cast<const sockaddr*>(&where), sizeOf(where)), "bind");
    return made;
}

void sendMarker(int from, const char* device) {
    sockaddr_ll to{};
    to.sll_family = AF_PACKET;
    to.sll_protocol = htons(markerType);
    to.sll_ifindex = static_cast<int>(::if_nametoindex(device));
    to.sll_halen = 6;
    std::memset(to.sll_addr, 0xFF, 6);
    checked(static_cast<int>(::sendto(from, "marker", 6, 0, reinterpret_cast<sockaddr*>(&to), sizeof to)), "marker");
}

std::string portOf(const unsigned char* transport) { return std::to_string(transport[2] << 8 | transport[3]); }

// "udp 10.9.0.5:443", "icmp 10.9.0.5"
std::string described(const unsigned char* packet, bool isIPv6) {
    std::array<char, INET6_ADDRSTRLEN> address{};
    const unsigned char* const to = packet + (isIPv6 ? 24 : 16);
    ::inet_ntop(isIPv6 ? AF_INET6 : AF_INET, to, address.data(), address.size());
    const int protocol = packet[isIPv6 ? 6 : 9];
    const unsigned char* const transport = packet + (isIPv6 ? sizeof(ip6_hdr) : sizeof(ip));
    const std::string at = isIPv6 ? "[" + std::string(address.data()) + "]" : std::string(address.data());
    if (protocol == IPPROTO_UDP) return "udp " + at + ":" + portOf(transport);
    if (protocol == IPPROTO_TCP) return "tcp " + at + ":" + portOf(transport);
    return std::to_string(protocol) + " " + at;
}

// Reads frames until the marker, and appends those of IP that came from the other side.
void readToMarker(int from, std::vector<std::string>* into) {
    std::array<unsigned char, 2048> frame{};
    for (;;) {
        pollfd wait{from, POLLIN, 0};
        if (::poll(&wait, 1, 20'000) != 1) throw std::runtime_error("the marker has not arrived");
        sockaddr_ll where{};
        socklen_t size = sizeof where;
        const ssize_t count =
            ::recvfrom(from, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&where), &size);
        if (count < 20 && where.sll_protocol != htons(markerType)) continue;
        if (where.sll_pkttype == PACKET_OUTGOING) continue;
        if (where.sll_protocol == htons(markerType)) return;
        const bool isIPv6 = where.sll_protocol == htons(ETH_P_IPV6);
        if (!into || (!isIPv6 && where.sll_protocol != htons(ETH_P_IP))) continue;
        std::array<char, IF_NAMESIZE> device{};
        ::if_indextoname(static_cast<unsigned>(where.sll_ifindex), device.data());
        into->push_back((device[0] == '\0' ? "" : std::string(device.data()) + " ") + described(frame.data(), isIPv6));
    }
}

void silence(const std::string& devices) { // no packets of its own accord
    std::istringstream names(devices);
    for (std::string name; names >> name;) {
        std::ofstream("/proc/sys/net/ipv6/conf/" + name + "/accept_dad") << 0;
        std::ofstream("/proc/sys/net/ipv6/conf/" + name + "/router_solicitations") << 0;
        runProgram("ip link set " + name + " up multicast off");
    }
}

} // namespace

sockaddr_storage socketAddress(const std::string& address, int port) {
    sockaddr_storage made{};
    auto& v4 = reinterpret_cast<sockaddr_in&>(made);
    auto& v6 = reinterpret_cast<sockaddr_in6&>(made);
    made.ss_family = address.find(':') == std::string::npos ? AF_INET : AF_INET6;
    const bool isIPv6 = made.ss_family == AF_INET6;
    (isIPv6 ? v6.sin6_port : v4.sin_port) = htons(static_cast<std::uint16_t>(port));
    void* const into = isIPv6 ? static_cast<void*>(&v6.sin6_addr) : static_cast<void*>(&v4.sin_addr);
    if (::inet_pton(made.ss_family, address.c_str(), into) != 1)
        throw std::runtime_error(address + " is not an address");
    return made;
}

socklen_t sizeOf(const sockaddr_storage& address) {
    return address.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
}

std::string TwoHosts::missing() {
    if (::geteuid() != 0) return "only root can make network namespaces";
    if (::access("/usr/sbin/nft", X_OK) != 0) return "the package nftables is not installed";
    return {};
}

TwoHosts::TwoHosts() {
    cpu_set_t one; // so that packets arrive in the order in which they were sent
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(::sched_getcpu()), &one);
    ::sched_setaffinity(0, sizeof one, &one);
    peerNamespace_ = makeNamespace();
    peer_ = frameSocket();
    ourNamespace_ = makeNamespace();
    here_ = frameSocket();
    const std::string there = nameOf(peerNamespace_);
    runProgram("ip link add v1 address 02:00:00:00:00:01 type veth peer name v0 address 02:00:00:00:00:02 netns " +
               there);
    runProgram("ip link add ipsec0 type veth peer name t0 netns " + there);
    silence("lo v1 ipsec0");
    runProgram("ip addr add 192.168.7.1/24 dev v1");
    runProgram("ip addr add fd77::1/64 dev v1 nodad");
    runProgram("ip neigh add 192.168.7.2 lladdr 02:00:00:00:00:02 dev v1 nud permanent");
    runProgram("ip neigh add fd77::2 lladdr 02:00:00:00:00:02 dev v1 nud permanent");
    runProgram("ip route add default via 192.168.7.2");
    runProgram("ip route add default via fd77::2");
    const Inside peer(peerNamespace_, ourNamespace_);
    silence("lo v0 t0");
    runProgram("ip addr add 192.168.7.2/24 dev v0");
    runProgram("ip addr add fd77::2/64 dev v0 nodad");
    runProgram("ip neigh add 192.168.7.1 lladdr 02:00:00:00:00:01 dev v0 nud permanent");
    runProgram("ip neigh add fd77::1 lladdr 02:00:00:00:00:01 dev v0 nud permanent");
}

TwoHosts::~TwoHosts() {
    for (const int each : {here_, peer_, peerNamespace_, ourNamespace_}) ::close(each);
}

void TwoHosts::ip(const std::string& arguments) const { runProgram("ip " + arguments); }

void TwoHosts::ipAtPeer(const std::string& arguments) const {
    const Inside peer(peerNamespace_, ourNamespace_);
    runProgram("ip " + arguments);
}

int TwoHosts::socketHere(int type, const std::string& address, int port) const {
    return boundSocket(type, address, port);
}

int TwoHosts::socketAtPeer(int type, const std::string& address, int port) const {
    const Inside peer(peerNamespace_, ourNamespace_);
    return boundSocket(type, address, port);
}

std::vector<std::string> TwoHosts::arrived() {
    std::vector<std::string> packets;
    {
        const Inside peer(peerNamespace_, ourNamespace_);
        sendMarker(peer_, "v0");
    }
    readToMarker(here_, nullptr);
    sendMarker(here_, "v1");
    const Inside peer(peerNamespace_, ourNamespace_);
    readToMarker(peer_, &packets);
    return packets;
}
