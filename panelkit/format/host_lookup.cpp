// SPDX-License-Identifier: MIT
#include <panelkit/format/host_lookup.h>

#include <platform/system/network.h>

namespace panelkit {

IPv4HostLookup::IPv4HostLookup(const std::string& hostName) {
    // Not host names: an empty name would mean this host on Windows, and a zero byte would cut the name short.
    if (hostName.empty() || hostName.find('\0') != std::string::npos) return;
    addresses_ = platform::lookUpIPv4(hostName);
}

bool IPv4HostLookup::next(IPv4Address& address) {
    while (position_ < addresses_.size()) {
        const IPv4Address candidate = addresses_[position_++];
        if (candidate == 0) continue;
        address = candidate;
        return true;
    }
    return false;
}

} // namespace panelkit
