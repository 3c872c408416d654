// SPDX-License-Identifier: MIT
//
// Looks up the IPv4 addresses of host names.
#pragma once

#include <panelkit/format/ipv4.h>

#include <string>
#include <vector>

namespace panelkit {

// The IPv4 addresses of a host, returned one at a time. Each object belongs to one thread; several threads may look
// names up at once.
//
//   panelkit::IPv4HostLookup addresses("vpn.example.org");
//   panelkit::IPv4Address address;
//   while (addresses.next(address)) tryToConnect(address);
class PANELKIT_EXPORT IPv4HostLookup {
public:
    // Asks the system's resolver for IPv4 addresses, and blocks for as long as that takes. `hostName` is UTF-8; a
    // dotted address is its own result. There are no addresses for a host that is unknown, has no IPv4 address or
    // cannot be looked up.
    explicit IPv4HostLookup(const std::string& hostName);

    // Returns the next address in the resolver's order; addresses of 0 are skipped. Returns false, with `address`
    // unchanged, after the last one.
    bool next(IPv4Address& address);

private:
    std::vector<IPv4Address> addresses_;
    std::size_t position_ = 0;
};

} // namespace panelkit
