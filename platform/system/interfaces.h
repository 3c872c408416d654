// SPDX-License-Identifier: MIT
//
// The network interfaces of this host.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

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

// All of them, also those that are down or have no address, in the system's order. Throws std::system_error when the
// system does not tell. Any thread may call it.
std::vector<NetworkInterface> networkInterfaces();

} // namespace platform
