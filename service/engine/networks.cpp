// SPDX-License-Identifier: MIT
#include <service/engine/networks.h>

#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>

#include <algorithm>

namespace panelkitd {

namespace {

AddressBytes bytesOf(panelkit::IPv4Address address) {
    AddressBytes bytes{};
    for (std::size_t i = 0; i < 4; ++i) bytes.at(i) = static_cast<std::uint8_t>(address >> (24 - 8 * i));
    return bytes;
}

std::size_t sizeOf(bool isIPv6) { return isIPv6 ? 16 : 4; }

// Returns the next address; nothing after the last.
std::optional<AddressBytes> after(AddressBytes address, bool isIPv6) {
    for (std::size_t i = sizeOf(isIPv6); i-- > 0;) {
        if (++address.at(i) != 0) return address;
    }
    return std::nullopt;
}

AddressBytes before(AddressBytes address, bool isIPv6) {
    for (std::size_t i = sizeOf(isIPv6); i-- > 0;) {
        if (address.at(i)-- != 0) break;
    }
    return address;
}

bool has(const Network& network, const AddressBytes& address) {
    return network.first <= address && address <= network.last;
}

// The addresses at which another list of sections can begin.
std::vector<AddressBytes> startsOf(const std::vector<std::optional<Network>>& networks, bool isIPv6) {
    std::vector<AddressBytes> starts;
    for (const auto& network : networks) {
        if (!network || network->isIPv6 != isIPv6) continue;
        starts.push_back(network->first);
        if (const auto next = after(network->last, isIPv6)) starts.push_back(*next);
    }
    std::sort(starts.begin(), starts.end());
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end());
    return starts;
}

} // namespace

std::optional<Network> networkOf(const PolicySection& section) {
    const std::string& text = section.network;
    if (text == "any") return std::nullopt;
    if (text.find(':') == text.npos) {
        panelkit::IPv4Range range;
        panelkit::parseIPv4Range(text.data(), text.data() + text.size(), range);
        return Network{false, bytesOf(range.first), bytesOf(range.last)};
    }
    const std::size_t slash = text.find('/');
    panelkit::IPv6Address address;
    panelkit::parseIPv6(text.substr(0, slash), address);
    const unsigned length = slash == text.npos ? 128 : static_cast<unsigned>(std::stoul(text.substr(slash + 1)));
    const panelkit::IPv6Range range = panelkit::ipv6RangeOf(address, length);
    return Network{true, range.first.bytes, range.last.bytes};
}

std::vector<Network> protectedNetworks(const std::vector<PolicySection>& sections, bool isIPv6) {
    std::vector<Network> all;
    for (const PolicySection& section : sections) {
        const auto network = networkOf(section);
        if (section.action == PolicyAction::protect && network && network->isIPv6 == isIPv6) all.push_back(*network);
    }
    std::sort(all.begin(), all.end(), [](const Network& a, const Network& b) { return a.first < b.first; });
    std::vector<Network> merged;
    for (const Network& network : all) {
        const auto next = merged.empty() ? std::nullopt : after(merged.back().last, isIPv6);
        const bool isApart = merged.empty() || (next && *next < network.first);
        if (isApart) {
            merged.push_back(network);
        } else {
            merged.back().last = std::max(merged.back().last, network.last);
        }
    }
    return merged;
}

std::string addressText(const AddressBytes& address, bool isIPv6) {
    if (isIPv6) {
        std::array<char, panelkit::IPv6TextSize> buffer{};
        return panelkit::ipv6ToText({address}, buffer);
    }
    std::array<char, panelkit::IPv4TextSize> buffer{};
    panelkit::IPv4Address number = 0;
    for (std::size_t i = 0; i < 4; ++i) number = number << 8 | address.at(i);
    return panelkit::ipv4ToText(number, buffer);
}

std::vector<AddressBlock> addressBlocks(const std::vector<PolicySection>& sections, bool isIPv6) {
    std::vector<std::optional<Network>> networks(sections.size());
    std::transform(sections.begin(), sections.end(), networks.begin(), networkOf);
    const std::vector<AddressBytes> starts = startsOf(networks, isIPv6);
    std::vector<AddressBlock> blocks;
    for (std::size_t at = 0; at < starts.size(); ++at) {
        AddressBlock block{starts[at], {}, {}};
        block.last.fill(0xFF);
        if (!isIPv6) std::fill(block.last.begin() + 4, block.last.end(), std::uint8_t{0});
        if (at + 1 < starts.size()) block.last = before(starts[at + 1], isIPv6);
        bool named = false;
        for (std::size_t i = 0; i < networks.size(); ++i) {
            const bool its = networks[i] && networks[i]->isIPv6 == isIPv6 && has(*networks[i], block.first);
            if (its || !networks[i]) block.sections.push_back(i);
            named = named || its;
        }
        if (named) blocks.push_back(std::move(block));
    }
    return blocks;
}

SectionLists::SectionLists(const std::vector<PolicySection>& sections) {
    const auto isAny = [](const PolicySection& section) { return section.network == "any"; };
    std::size_t length = 0;
    if (sections.size() > few) {
        ipv4 = addressBlocks(sections, false);
        ipv6 = addressBlocks(sections, true);
    }
    for (const auto* blocks : {&ipv4, &ipv6}) {
        for (const AddressBlock& block : *blocks) {
            const bool isNew = names.emplace(block.sections, "-" + std::to_string(names.size() + 1)).second;
            if (isNew) length += block.sections.size();
        }
    }
    const bool oneList = names.empty() || length > 4 * sections.size();
    for (std::size_t i = 0; i < sections.size(); ++i) {
        if (oneList || isAny(sections[i])) others.push_back(i);
    }
    if (!oneList) return;
    ipv4.clear();
    ipv6.clear();
    names.clear();
}

} // namespace panelkitd
