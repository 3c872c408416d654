// SPDX-License-Identifier: MIT
//
// The rules of nftables for a policy. What they do to packets is tested with packets, in packet_filter_posix_test.cpp.
#include <service/engine/filter_rules.h>
#include <service/engine/networks.h>

#include "../support/test.h"
#include <nlohmann/json.hpp>

using namespace panelkitd;
using nlohmann::json;

namespace {

using Texts = std::vector<std::string>;

// A value of nftables in short: "10.0.0.0-10.0.0.9", "{1,58}".
std::string valueOf(const json& value) {
    if (value.is_string()) return value;
    if (!value.is_object()) return value.dump();
    if (value.contains("range")) return valueOf(value["range"][0]) + "-" + valueOf(value["range"][1]);
    std::string all;
    for (const json& one : value["set"]) all += (all.empty() ? "" : ",") + valueOf(one);
    return "{" + all + "}";
}

// What a rule compares, in short: "ip daddr".
std::string operandOf(const json& left) {
    const auto kind = left.begin().key();
    const json& its = *left.begin();
    if (kind == "payload") return its["protocol"].get<std::string>() + " " + its["field"].get<std::string>();
    const std::string side = its.contains("dir") ? its["dir"].get<std::string>() + " " : "";
    return kind + " " + side + its["key"].get<std::string>();
}

std::string expressionOf(const json& expression) {
    const auto kind = expression.begin().key();
    const json& its = *expression.begin();
    if (kind == "match") return operandOf(its["left"]) + " " + valueOf(its["right"]);
    if (kind == "goto") return "goto " + its["target"].get<std::string>();
    return kind == "counter" ? its.get<std::string>() : kind;
}

// The rules of a chain, as "ip daddr 10.0.0.1, s0-passed, accept".
Texts rulesIn(const std::string& commands, const std::string& chain) {
    Texts rules;
    const json parsed = json::parse(commands);
    for (const json& command : parsed["nftables"]) {
        if (!command.contains("add") || !command["add"].contains("rule")) continue;
        const json& rule = command["add"]["rule"];
        if (rule["chain"] != chain) continue;
        std::string text;
        for (const json& one : rule["expr"]) text += (text.empty() ? "" : ", ") + expressionOf(one);
        rules.push_back(text);
    }
    return rules;
}

std::string rulesOf(const std::string& sections, const FilterOptions& options = {}) {
    return filterRules({0, readPolicyText("title = T\nversion = 1\n" + sections)}, options);
}

TEST(TheRulesOfASection, MatchItsTraffic) {
    const struct {
        const char* keys;
        Texts outgoing;
    } rows[] = {
        {"", {"s0-dropped, drop"}},
        {"network = 10.0.0.7", {"ip daddr 10.0.0.7, s0-dropped, drop"}},
        {"network = 10.1.2.3/8", {"ip daddr 10.0.0.0-10.255.255.255, s0-dropped, drop"}},
        {"network = 10.0.0.1..10.0.0.9", {"ip daddr 10.0.0.1-10.0.0.9, s0-dropped, drop"}},
        {"network = 0.0.0.0/0", {"ip daddr 0.0.0.0-255.255.255.255, s0-dropped, drop"}},
        {"network = fd00::1", {"ip6 daddr fd00::1, s0-dropped, drop"}},
        {"network = fd00::1/16", {"ip6 daddr fd00::-fd00:ffff:ffff:ffff:ffff:ffff:ffff:ffff, s0-dropped, drop"}},
        {"protocol = icmp", {"meta l4proto {1,58}, s0-dropped, drop"}},
        {"protocol = icmp\nnetwork = 10.0.0.7", {"ip daddr 10.0.0.7, meta l4proto 1, s0-dropped, drop"}},
        {"protocol = icmp\nnetwork = fd00::1", {"ip6 daddr fd00::1, meta l4proto 58, s0-dropped, drop"}},
        {"protocol = 0", {"meta l4proto 0, s0-dropped, drop"}},
        {"protocol = ah", {"meta l4proto 51, s0-dropped, drop"}},
        {"protocol = tcp\nport = 443",
         {"meta l4proto 6, th dport 443, s0-dropped, drop", "meta l4proto 6, th sport 443, s0-dropped, drop"}},
        {"protocol = udp\nport = 67..68",
         {"meta l4proto 17, th dport 67-68, s0-dropped, drop", "meta l4proto 17, th sport 67-68, s0-dropped, drop"}},
    };
    for (const auto& row : rows) {
        const std::string section = std::string("[a]\naction = drop\n") + row.keys + "\n";
        EXPECT_EQ(rulesIn(rulesOf(section), "outgoing"), row.outgoing) << row.keys;
    }
}

TEST(TheRulesOfASection, DoWhatItsActionSays) {
    const std::string sections = "[web]\naction = pass\nprotocol = tcp\nport = 80\n"
                                 "[hq]\naction = protect\nnetwork = 10.0.0.1\ngateway = g\n";
    const std::string userSpace = rulesOf(sections), kernel = rulesOf(sections, {.esp = EspPlace::kernel});
    EXPECT_THAT(rulesIn(userSpace, "outgoing"),
                ElementsAre("meta l4proto 6, ct original proto-dst 80, s0-passed, accept",
                            "ip daddr 10.0.0.1, meta oifname ipsec0, s1-passed, accept",
                            "ip daddr 10.0.0.1, s1-dropped, drop"));
    EXPECT_THAT(rulesIn(userSpace, "incoming"),
                ElementsAre("meta l4proto 6, ct original proto-dst 80, s0-passed, accept",
                            "ip saddr 10.0.0.1, meta iifname ipsec0, s1-passed, accept",
                            "ip saddr 10.0.0.1, s1-dropped, drop"));
    EXPECT_EQ(rulesIn(kernel, "outgoing").at(1), "ip daddr 10.0.0.1, rt ipsec true, s1-passed, accept");
    EXPECT_EQ(rulesIn(kernel, "incoming").at(1), "ip saddr 10.0.0.1, meta ipsec true, s1-passed, accept");
}

// The sections of each block of addresses, as "10.0.0.0-10.0.0.3: 0 2".
Texts blocksOf(const std::vector<std::string>& networks, bool isIPv6) {
    std::vector<PolicySection> sections(networks.size());
    for (std::size_t i = 0; i < networks.size(); ++i) sections[i].network = networks[i];
    Texts blocks;
    for (const AddressBlock& block : addressBlocks(sections, isIPv6)) {
        std::string text = addressText(block.first, isIPv6) + "-" + addressText(block.last, isIPv6) + ":";
        for (const std::size_t section : block.sections) text += " " + std::to_string(section);
        blocks.push_back(text);
    }
    return blocks;
}

TEST(TheAddressesOfAPolicy, AreBlocksForWhichTheSameSectionsCount) {
    EXPECT_THAT(blocksOf({"any", "fd00::1"}, false), IsEmpty());
    EXPECT_THAT(blocksOf({"10.0.0.0/24", "any", "10.0.0.4..10.0.0.7", "10.0.0.7"}, false),
                ElementsAre("10.0.0.0-10.0.0.3: 0 1", "10.0.0.4-10.0.0.6: 0 1 2", "10.0.0.7-10.0.0.7: 0 1 2 3",
                            "10.0.0.8-10.0.0.255: 0 1"));
    EXPECT_THAT(blocksOf({"10.0.0.9..10.0.1.0", "10.0.0.5..10.0.0.20", "192.0.2.0/24"}, false),
                ElementsAre("10.0.0.5-10.0.0.8: 1", "10.0.0.9-10.0.0.20: 0 1", "10.0.0.21-10.0.1.0: 0",
                            "192.0.2.0-192.0.2.255: 2"));
    EXPECT_THAT(
        blocksOf({"255.255.255.255", "0.0.0.0/0", "0.0.0.0"}, false),
        ElementsAre("0.0.0.0-0.0.0.0: 1 2", "0.0.0.1-255.255.255.254: 1", "255.255.255.255-255.255.255.255: 0 1"));
    EXPECT_THAT(blocksOf({"::/0", "10.0.0.1", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ff00/120"}, true),
                ElementsAre("::-ffff:ffff:ffff:ffff:ffff:ffff:ffff:feff: 0",
                            "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ff00-ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff: 0 2"));
}

TEST(TheAddressesOfAPolicy, AreOneListWhereListsWouldGrowTooLong) {
    const auto listsOf = [](const std::string& prefix, const std::string& suffix) {
        std::vector<PolicySection> sections(200);
        for (std::size_t i = 0; i < sections.size(); ++i) {
            sections[i].network = prefix + std::to_string(i) + suffix;
        }
        return SectionLists(sections);
    };
    const SectionLists apart = listsOf("10.0.0.", ""), nested = listsOf("10.0.0.", "..10.0.1.0");
    EXPECT_EQ(apart.names.size(), 200U);
    EXPECT_THAT(apart.others, IsEmpty());
    EXPECT_THAT(nested.names, IsEmpty());
    EXPECT_THAT(nested.ipv4, IsEmpty());
    EXPECT_EQ(nested.others.size(), 200U);
}

TEST(TheListingOfCounters, IsReadIfItIsThatOfThePolicy) {
    const auto listing = [](const char* name) {
        return R"({"nftables": [{"metainfo": {}}, {"counter": {"name": ")" + std::string(name) +
               R"(", "packets": 7}}, {"counter": {"name": "s0-dropped", "packets": 18446744073709551615}}]})";
    };
    EXPECT_THAT(countsIn(listing("s0-passed"), 1), testing::Optional(ElementsAre(SectionCount{7, ~0ULL})));
    EXPECT_THAT(countsIn(R"({"nftables": [{"metainfo": {}}]})", 0), testing::Optional(IsEmpty()));
    for (const char* wrong : {"", "[]", "{\"nftables\": 1}", R"({"nftables": [{"counter": {"name": "s0-passed"}}]})"}) {
        EXPECT_FALSE(countsIn(wrong, 1)) << wrong;
    }
    for (const char* name : {"s1-passed", "s-passed", "", "s99999999999999999999-passed"}) {
        EXPECT_FALSE(countsIn(listing(name), 1)) << name;
    }
    EXPECT_FALSE(countsIn(listing("s0-passed"), 2)) << "counters are missing";
}

} // namespace
