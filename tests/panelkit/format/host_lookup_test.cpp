// SPDX-License-Identifier: MIT
#include <panelkit/format/host_lookup.h>

#include "../../support/test.h"

using namespace panelkit;
using testing::Contains;

namespace {

std::vector<IPv4Address> addressesOf(const std::string& hostName) {
    IPv4HostLookup lookup(hostName);
    std::vector<IPv4Address> addresses;
    IPv4Address address = 0;
    while (lookup.next(address)) addresses.push_back(address);
    const IPv4Address last = address;
    EXPECT_FALSE(lookup.next(address));
    EXPECT_EQ(address, last);
    return addresses;
}

TEST(AHost, HasItsIPv4AddressesEachOnceInHostOrder) {
    EXPECT_THAT(addressesOf("10.1.2.3"), ElementsAre(0x0A010203));
    EXPECT_THAT(addressesOf("localhost"), Contains(0x7F000001).Times(1));
}

// 0 stands for "no address" in the parsers, so it is never returned.
TEST(AHost, HasNoAddressOfZero) { EXPECT_THAT(addressesOf("0.0.0.0"), IsEmpty()); }

TEST(AHost, HasNoAddressWhenItIsUnknownOrHasNoIPv4) {
    EXPECT_THAT(addressesOf("::1"), IsEmpty());
    EXPECT_THAT(addressesOf(std::string(300, 'x')), IsEmpty()); // no resolver has to be asked about such a name
}

// The resolvers would take the first for this host and cut the second at its zero byte.
TEST(AHost, IsNotNamedByAnEmptyTextOrOneWithAZeroByte) {
    EXPECT_THAT(addressesOf(""), IsEmpty());
    EXPECT_THAT(addressesOf(std::string("10.1.2.3\0.example.org", 21)), IsEmpty());
}

} // namespace
