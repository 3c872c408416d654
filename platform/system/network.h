// SPDX-License-Identifier: MIT
//
// The network as the system shows it: the interfaces of this host, host names, and the text of addresses. Any thread
// may call everything here.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace platform {

// ---- interfaces

struct InterfaceAddress {
    std::uint32_t address = 0; // IPv4, in host order
    std::uint32_t mask = 0;
};

struct NetworkInterface {
    std::string name;        // UTF-8, unique on the host
    std::string description; // for people; may be empty
    std::string hardware;    // the bytes of its hardware address; empty where it has none
    std::vector<InterfaceAddress> addresses;
    bool up = false;
    bool running = false; // it has a link
    bool loopback = false;
    bool pointToPoint = false;
};

// Returns all interfaces, also those that are down or have no address, in the system's order. Throws std::system_error
// when the system does not list them.
std::vector<NetworkInterface> networkInterfaces();

// ---- names and addresses

// Returns the IPv4 addresses of a host, each once and with its bytes in host order. The first is the one that the
// resolver prefers. Returns an empty list if the resolver knows no address or fails. `hostName` is UTF-8, not empty and
// without zero bytes; it may also be an address in dotted form. Blocks for as long as the resolver takes.
std::vector<std::uint32_t> lookUpIPv4(const std::string& hostName);

// Writes the text of an address, given in network order, with its terminating zero; 65 characters are always enough.
// Returns false when the system can't produce it; `text` is then undefined.
bool writeIPv6Text(std::span<const std::uint8_t, 16> address, std::span<char> text);

} // namespace platform
