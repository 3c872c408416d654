// SPDX-License-Identifier: MIT
#include <platform/system/ipv6_text.h>

#include <arpa/inet.h>

namespace platform {

bool writeIPv6Text(std::span<const std::uint8_t, 16> address, std::span<char> text) {
    return inet_ntop(AF_INET6, address.data(), text.data(), static_cast<socklen_t>(text.size())) != nullptr;
}

} // namespace platform
