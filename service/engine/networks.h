// SPDX-License-Identifier: MIT
//
// The networks of a policy as ranges of addresses, and which sections can match an address: so that a packet is
// compared with few sections where a policy has many.
#pragma once

#include <service/policyfile/policy_text.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// In network order; an IPv4 address has the first four bytes, and zeros.
using AddressBytes = std::array<std::uint8_t, 16>;

// Both ends are part of it.
struct Network {
    bool isIPv6 = false;
    AddressBytes first{}, last{};
};

// Returns nothing for "any". The section has been checked.
std::optional<Network> networkOf(const PolicySection& section);

std::string addressText(const AddressBytes& address, bool isIPv6);

// Returns the addresses that sections protect, as ranges in their order that do not touch each other. Sections for
// "any" are left out.
std::vector<Network> protectedNetworks(const std::vector<PolicySection>& sections, bool isIPv6);

// A range of addresses for which the same sections can match.
struct AddressBlock {
    AddressBytes first{}, last{};
    std::vector<std::size_t> sections; // by their indexes, in order; at least one names a network

    bool operator==(const AddressBlock&) const = default;
};

// Returns the blocks of all addresses that a section names a network for, in their order. They do not overlap.
std::vector<AddressBlock> addressBlocks(const std::vector<PolicySection>& sections, bool isIPv6);

// The lists of sections with which packets are compared. Few sections are one list. Many are a list for each block of
// addresses: a packet is sent to the list of its block. Networks within each other make long lists; if these had
// several times as many entries as there are sections, one list is used.
struct SectionLists {
    explicit SectionLists(const std::vector<PolicySection>& sections);

    static constexpr std::size_t few = 16;
    std::vector<AddressBlock> ipv4, ipv6;
    std::map<std::vector<std::size_t>, std::string> names; // of the lists of blocks: "-1"
    std::vector<std::size_t> others;                       // the list for addresses without a block
};

} // namespace panelkitd
