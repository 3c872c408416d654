// SPDX-License-Identifier: MIT
#include <platform/system/ipv6_text.h>

#include <winsock2.h>

#include <ws2tcpip.h>

namespace platform {

// This call, unlike the look-ups, needs no WSAStartup.
bool writeIPv6Text(std::span<const std::uint8_t, 16> address, std::span<char> text) {
    return inet_ntop(AF_INET6, address.data(), text.data(), text.size()) != nullptr;
}

} // namespace platform
