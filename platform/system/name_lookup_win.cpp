// SPDX-License-Identifier: MIT
#include <platform/system/name_lookup.h>

#include <platform/system/utf16.h>

#include <winsock2.h>

#include <ws2tcpip.h>

#include <cstring>
#include <memory>

namespace platform {

namespace {

// Winsock counts its users, so each look-up may start and stop it for itself.
class Winsock {
public:
    Winsock() : started_(WSAStartup(MAKEWORD(2, 2), &data_) == 0) {}
    ~Winsock() {
        if (started_) WSACleanup();
    }
    Winsock(const Winsock&) = delete;
    Winsock& operator=(const Winsock&) = delete;

    bool started() const { return started_; }

private:
    WSADATA data_{};
    bool started_;
};

} // namespace

std::vector<std::uint32_t> lookUpIPv4(const std::string& hostName) {
    const Winsock winsock;
    if (!winsock.started()) return {};
    ADDRINFOW wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM; // without a type each address comes once for every type there is
    ADDRINFOW* found = nullptr;
    if (GetAddrInfoW(toUtf16(hostName).c_str(), nullptr, &wanted, &found) != 0) return {};
    const std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)> owner(found, FreeAddrInfoW);

    std::vector<std::uint32_t> addresses;
    for (const ADDRINFOW* entry = found; entry; entry = entry->ai_next) {
        sockaddr_in address{};
        std::memcpy(&address, entry->ai_addr, sizeof address);
        addresses.push_back(ntohl(address.sin_addr.s_addr));
    }
    return addresses;
}

} // namespace platform
