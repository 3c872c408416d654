// SPDX-License-Identifier: MIT
#include <platform/system/network.h>

#include <platform/text/utf16.h>

#include <winsock2.h>

#include <iphlpapi.h>
#include <ws2tcpip.h>

#include <cstring>
#include <memory>
#include <system_error>

namespace platform {

// ---- interfaces

namespace {

// The list may grow between two calls, so a size that was right may be too small a moment later.
std::vector<unsigned char> adapterList() {
    constexpr ULONG flags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    ULONG size = 16 * 1024;
    for (int attempt = 0;; ++attempt) {
        std::vector<unsigned char> list(size);
        const ULONG error =
            GetAdaptersAddresses(AF_INET, flags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(list.data()), &size);
        if (error == ERROR_SUCCESS) return list;
        if (error == ERROR_NO_DATA) return {};
        if (error != ERROR_BUFFER_OVERFLOW || attempt == 5) {
            throw std::system_error(static_cast<int>(error), std::system_category(), "GetAdaptersAddresses");
        }
    }
}

std::uint32_t maskOf(unsigned prefixLength) {
    return prefixLength == 0 || prefixLength > 32 ? 0 : ~std::uint32_t{0} << (32 - prefixLength);
}

NetworkInterface describe(const IP_ADAPTER_ADDRESSES& adapter) {
    NetworkInterface one;
    one.name = toUtf8(adapter.FriendlyName ? adapter.FriendlyName : L"");
    one.description = toUtf8(adapter.Description ? adapter.Description : L"");
    const std::string hardware(reinterpret_cast<const char*>(adapter.PhysicalAddress), adapter.PhysicalAddressLength);
    if (hardware.find_first_not_of('\0') != std::string::npos) one.hardware = hardware;
    one.running = adapter.OperStatus == IfOperStatusUp;
    // Without a link it is "dormant" or has "lower layer down", and still switched on.
    one.up =
        one.running || adapter.OperStatus == IfOperStatusDormant || adapter.OperStatus == IfOperStatusLowerLayerDown;
    one.loopback = adapter.IfType == IF_TYPE_SOFTWARE_LOOPBACK;
    one.pointToPoint = adapter.IfType == IF_TYPE_PPP || adapter.IfType == IF_TYPE_TUNNEL;
    for (const auto* entry = adapter.FirstUnicastAddress; entry; entry = entry->Next) {
        sockaddr_in address{};
        std::memcpy(&address, entry->Address.lpSockaddr, sizeof address);
        one.addresses.push_back({ntohl(address.sin_addr.s_addr), maskOf(entry->OnLinkPrefixLength)});
    }
    return one;
}

} // namespace

std::vector<NetworkInterface> networkInterfaces() {
    const std::vector<unsigned char> list = adapterList();
    std::vector<NetworkInterface> interfaces;
    const auto* first = list.empty() ? nullptr : reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(list.data());
    for (const auto* adapter = first; adapter; adapter = adapter->Next) interfaces.push_back(describe(*adapter));
    return interfaces;
}

// ---- names and addresses

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

// This call, unlike the look-ups, needs no WSAStartup.
bool writeIPv6Text(std::span<const std::uint8_t, 16> address, std::span<char> text) {
    return inet_ntop(AF_INET6, address.data(), text.data(), text.size()) != nullptr;
}

} // namespace platform
