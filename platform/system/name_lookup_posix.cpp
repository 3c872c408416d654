// SPDX-License-Identifier: MIT
#include <platform/system/name_lookup.h>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>

namespace platform {

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

} // namespace platform
