// SPDX-License-Identifier: MIT
#include "address_judge.h"

// The calls have the same names on both systems; only their headers differ.
#if __has_include(<winsock2.h>)
#include <winsock2.h>

#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#endif

std::string judgeIPv4Text(std::uint32_t address) {
    char buffer[INET_ADDRSTRLEN];
    const std::uint32_t inNetworkOrder = htonl(address);
    return inet_ntop(AF_INET, &inNetworkOrder, buffer, sizeof buffer);
}

std::optional<std::uint32_t> judgeIPv4(const std::string& text) {
    std::uint32_t inNetworkOrder = 0;
    if (inet_pton(AF_INET, text.c_str(), &inNetworkOrder) != 1) return std::nullopt;
    return ntohl(inNetworkOrder);
}

std::string judgeIPv6Text(const std::array<std::uint8_t, 16>& address) {
    char buffer[65];
    return inet_ntop(AF_INET6, address.data(), buffer, sizeof buffer);
}

std::optional<std::array<std::uint8_t, 16>> judgeIPv6(const std::string& text) {
    std::array<std::uint8_t, 16> address{};
    if (inet_pton(AF_INET6, text.c_str(), address.data()) != 1) return std::nullopt;
    return address;
}
