// SPDX-License-Identifier: MIT
//
// The table has these chains; docs/engine.md describes what they mean:
//
//   input, output             what passes in any case, then the chain `incoming` or `outgoing`
//   forward-to, forward-from  a forwarded packet must pass twice: as one to its destination and as one from its source
//   outgoing, incoming        the sections in their order; a packet that none of them matches passes
//   beside                    the sections before the route is chosen (route-local, route-forwarded): what is not to go
//                             through a tunnel is marked
//   outgoing-1 ...            with many sections: those that can match some addresses, to which outgoing sends packets
#include <service/engine/filter_rules.h>

#include <service/engine/filter_expressions.h>
#include <service/engine/networks.h>

#include <panelkit/lsp/lsp_records.h>

#include <algorithm>

namespace panelkitd {

using namespace nft;

namespace {

std::string counterName(std::size_t section, const char* what) { return "s" + std::to_string(section) + "-" + what; }
Json counter(std::size_t section, const char* what) { return Json{{"counter", counterName(section, what)}}; }

// ---- the table

class Table {
public:
    explicit Table(const FilterOptions& options) : options_(options) {
        command("add", "table", {{"family", filterFamily}, {"name", filterTable}});
        command("delete", "table", {{"family", filterFamily}, {"name", filterTable}});
        command("add", "table", {{"family", filterFamily}, {"name", filterTable}});
    }

    // With what passes in any case: loopback, and the daemon's own packets.
    void addHooks() {
        addHook("input", "input", 0);
        addHook("output", "output", 0);
        addHook("forward-to", "forward", 0);
        addHook("forward-from", "forward", 1);
        addRule("input", {is(meta("iifname"), "lo"), verdict("accept")});
        addRule("output", {is(meta("oifname"), "lo"), verdict("accept")});
    }

    void addDaemon() {
        addRule("output", {is(meta("mark"), options_.mark), verdict("accept")}, "the daemon's packets");
        addRule("input", {is(Json{{"socket", {{"key", "mark"}}}}, options_.mark), verdict("accept")},
                "packets to the daemon's sockets");
        if (options_.esp == EspPlace::userSpace) return;
        addRule("input", {is(meta("l4proto"), 50), verdict("accept")}, "packets that the kernel decrypts");
    }

    // What IPv6 and long packets need. Packets of neighbour discovery and of multicast listeners never come from
    // beyond a router. The rule with the state also makes the kernel put fragments together before they are filtered:
    // a fragment has no ports.
    void addControl() {
        const Expressions neighbours{is(field("icmpv6", "type"), anyOf({range(130, 136), 143})),
                                     is(field("ip6", "hoplimit"), anyOf({1, 255})), verdict("accept")};
        const Json related{{"match", {{"op", "in"}, {"left", {{"ct", {{"key", "state"}}}}}, {"right", "related"}}}};
        for (const char* chain : {"input", "output"}) addRule(chain, neighbours, "neighbour discovery");
        addRule("input", {related, is(meta("l4proto"), anyOf({1, 58})), verdict("accept")}, "errors of connections");
    }

    // Requests of a client for addresses, and the answers.
    void addDhcp() {
        struct Ports {
            const char* ofFamily;
            int client, server;
        };
        for (const Ports& ports : {Ports{"ipv4", 68, 67}, Ports{"ipv6", 546, 547}}) {
            const Json version = is(meta("nfproto"), ports.ofFamily);
            addRule("output", {version, is(field("udp", "sport"), ports.client),
                               is(field("udp", "dport"), ports.server), verdict("accept")});
            addRule("input", {version, is(field("udp", "sport"), ports.server), is(field("udp", "dport"), ports.client),
                              verdict("accept")});
        }
    }

    void dropTheRest() {
        for (const char* chain : {"input", "output", "forward-to"}) addRule(chain, {verdict("drop")});
    }

    void addSections(const std::vector<PolicySection>& sections) {
        for (std::size_t i = 0; i < sections.size(); ++i) {
            for (const char* what : {"passed", "dropped"}) add("counter", {{"name", counterName(i, what)}});
        }
        const SectionLists lists(sections);
        for (const Side& side : {outgoing, incoming}) addSide(sections, lists, side);
        addRule("output", {jumpTo(outgoing.chain)});
        addRule("input", {jumpTo(incoming.chain)});
        addRule("forward-to", {jumpTo(outgoing.chain)});
        addRule("forward-from", {jumpTo(incoming.chain)});
    }

    // With ESP in user space, the routes send a whole network into the device of the tunnels. What no section protects
    // there gets a mark, with which these routes do not count.
    void addWaysBeside(const std::vector<PolicySection>& sections) {
        const auto protects = [](const PolicySection& section) { return section.action == PolicyAction::protect; };
        const bool any = std::any_of(sections.begin(), sections.end(), protects);
        if (options_.esp != EspPlace::userSpace || !any) return;
        addSide(sections, SectionLists(sections), beside);
        addChain({{"name", "unprotected"}});
        addRule("unprotected", {Json{{"jump", {{"target", beside.chain}}}}});
        addRule("unprotected", {Json{{"mangle", {{"key", meta("mark")}, {"value", markBeside(options_.mark)}}}}},
                "not through a tunnel");
        addChain({{"name", "route-local"}, {"type", "route"}, {"hook", "output"}, {"prio", -150}});
        addChain({{"name", "route-forwarded"}, {"type", "filter"}, {"hook", "prerouting"}, {"prio", -150}});
        addRule("route-local", {is(meta("mark"), options_.mark), verdict("accept")}, "the daemon's packets");
        for (const char* chain : {"route-local", "route-forwarded"}) {
            for (Expressions& networks : protectedDestinations(sections)) {
                addRule(chain, networks + Expressions{jumpTo("unprotected")});
            }
        }
    }

    std::string text() const { return R"({"nftables":[)" + commands_ + "]}"; }

private:
    void command(const char* verb, const char* what, Json object) {
        if (!commands_.empty()) commands_ += ',';
        commands_ += Json{{verb, {{what, std::move(object)}}}}.dump();
    }
    void add(const char* what, Json object) {
        object["family"] = filterFamily;
        object["table"] = filterTable;
        command("add", what, std::move(object));
    }
    void addChain(Json chain) { add("chain", std::move(chain)); }
    void addHook(const char* name, const char* hook, int priority) {
        addChain({{"name", name}, {"type", "filter"}, {"hook", hook}, {"prio", priority}, {"policy", "accept"}});
    }
    void addRule(const std::string& chain, const Expressions& expressions, const std::string& comment = {}) {
        Json rule{{"chain", chain}, {"expr", expressions}};
        if (!comment.empty()) rule["comment"] = comment;
        add("rule", std::move(rule));
    }

    void addSide(const std::vector<PolicySection>& sections, const SectionLists& lists, const Side& side) {
        for (const auto& [list, name] : lists.names) {
            addChain({{"name", side.chain + name}});
            for (const std::size_t number : list) addSection(sections[number], number, side, side.chain + name);
        }
        addChain({{"name", side.chain}});
        for (const bool isIPv6 : {false, true}) {
            Json::array_t ways;
            for (const AddressBlock& block : (isIPv6 ? lists.ipv6 : lists.ipv4)) {
                ways.push_back(
                    Json::array_t{rangeOf(block, isIPv6), jumpTo(side.chain + lists.names.at(block.sections))});
            }
            const Json key = field(isIPv6 ? "ip6" : "ip", side.otherEnd);
            if (!ways.empty()) addRule(side.chain, {Json{{"vmap", {{"key", key}, {"data", {{"set", ways}}}}}}});
        }
        for (const std::size_t number : lists.others) addSection(sections[number], number, side, side.chain);
    }

    static std::vector<Expressions> protectedDestinations(const std::vector<PolicySection>& sections) {
        const auto isForAny = [](const PolicySection& section) {
            return section.action == PolicyAction::protect && section.network == "any";
        };
        if (std::any_of(sections.begin(), sections.end(), isForAny)) return {{}};
        std::vector<Expressions> alternatives;
        for (const bool isIPv6 : {false, true}) {
            Json::array_t ranges;
            for (const Network& network : protectedNetworks(sections, isIPv6)) {
                ranges.push_back(rangeOf(network, isIPv6));
            }
            if (ranges.empty()) continue;
            alternatives.push_back({is(field(isIPv6 ? "ip6" : "ip", beside.otherEnd), Json{{"set", ranges}})});
        }
        return alternatives;
    }

    // `return` ends a list of sections: the packet gets the mark.
    void addWayOf(const PolicySection& section, const std::string& chain) {
        const Expressions decided{verdict(section.action == PolicyAction::protect ? "accept" : "return")};
        if (section.action == PolicyAction::pass) return addRule(chain, openPackets(section, beside) + decided);
        for (const Expressions& packets : closedPackets(section, beside)) addRule(chain, packets + decided);
    }

    void addSection(const PolicySection& section, std::size_t number, const Side& side, const std::string& chain) {
        if (side == beside) return addWayOf(section, chain);
        const std::string comment = "section [" + section.name + "], line " + std::to_string(section.line);
        const Expressions pass{counter(number, "passed"), verdict("accept")};
        const Expressions drop{counter(number, "dropped"), verdict("drop")};
        if (section.action == PolicyAction::pass) return addRule(chain, openPackets(section, side) + pass, comment);
        for (const Expressions& packets : closedPackets(section, side)) {
            if (section.action == PolicyAction::protect) {
                addRule(chain, packets + Expressions{throughTunnel(side, options_)} + pass, comment);
            }
            addRule(chain, packets + drop, comment);
        }
    }

    const FilterOptions& options_;
    std::string commands_; // printed at once: a tree of a thousand sections is slow
};

} // namespace

std::string filterRules(const EnginePolicy& policy, const FilterOptions& options) {
    Table filter(options);
    if (!policy.text && policy.driverMode == LSPpassAll) return filter.text();
    filter.addHooks();
    if (policy.text) {
        filter.addDaemon();
        filter.addControl();
        filter.addSections(policy.text->sections);
        filter.addWaysBeside(policy.text->sections);
    } else if (policy.driverMode == LSPdropAllExceptDhcp) {
        filter.addControl();
        filter.addDhcp();
    }
    if (!policy.text) filter.dropTheRest();
    return filter.text();
}

std::string filterRemoval() {
    const Json here{{"table", {{"family", filterFamily}, {"name", filterTable}}}};
    return Json{{"nftables", Json::array({{{"add", here}}, {{"delete", here}}})}}.dump();
}

std::optional<std::vector<SectionCount>> countsIn(std::string_view listing, std::size_t sections) {
    std::vector<SectionCount> counts(sections);
    std::size_t seen = 0;
    const auto read = [&](const Json& one) {
        const std::string name = one.at("name").get<std::string>();
        const std::size_t number = std::stoul(name.substr(1));
        const auto packets = one.at("packets").get<std::uint64_t>();
        (name.ends_with("-passed") ? counts.at(number).passed : counts.at(number).dropped) = packets;
        ++seen;
    };
    try {
        const Json parsed = Json::parse(listing);
        for (const Json& object : parsed.at("nftables")) {
            if (object.contains("counter")) read(object["counter"]);
        }
    } catch (const std::exception&) { // not our table, or not from nft
        return std::nullopt;
    }
    return seen == 2 * sections ? std::optional(std::move(counts)) : std::nullopt;
}

} // namespace panelkitd
