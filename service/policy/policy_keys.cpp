// SPDX-License-Identifier: MIT
#include <service/policy/policy_keys.h>

#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>
#include <panelkit/format/number_range.h>

#include <algorithm>
#include <array>

namespace panelkitd {

namespace {

// What is wrong with a value; empty when nothing is.
using Wrong = std::string;

template <class Part>
struct KeyRow {
    const char* name;
    Wrong (*take)(Part& part, const std::string& value);
};

template <class Meaning>
struct Word {
    const char* text;
    Meaning meaning;
};

template <class Meaning, std::size_t count>
Wrong takeWord(std::optional<Meaning>& into, const std::string& value, const Word<Meaning> (&words)[count]) {
    std::string all;
    for (const Word<Meaning>& word : words) {
        if (value == word.text) {
            into = word.meaning;
            return {};
        }
        all += (all.empty() ? "" : ", ") + std::string(word.text);
    }
    return quoted(value) + " is none of: " + all;
}

Wrong takeText(std::string& into, const std::string& value, std::size_t longest) {
    if (value.empty()) return "the value is empty";
    if (value.size() > longest) return "the value is longer than " + std::to_string(longest) + " bytes";
    into = value;
    return {};
}

// ---- kinds of values

Wrong takeVersion(std::string& into, const std::string& value) {
    const bool fits = value.find_first_not_of("0123456789.") == value.npos && value.find("..") == value.npos;
    if (value.empty() || !fits || value.front() == '.' || value.back() == '.') {
        return quoted(value) + " is no version, such as 3 or 1.2.10";
    }
    return takeText(into, value, 32);
}

bool isIPv4Network(const std::string& value) {
    panelkit::IPv4Range range;
    if (value.find("..") == value.npos) return panelkit::parseIPv4Range(value, range);
    return panelkit::parseIPv4Range(value.data(), value.data() + value.size(), range) && range.first <= range.last;
}

bool isIPv6Network(const std::string& value) {
    const std::size_t slash = value.find('/');
    panelkit::IPv6Address address{};
    if (!panelkit::parseIPv6(value.substr(0, slash), address)) return false;
    std::uint8_t length = 0;
    return slash == value.npos || (panelkit::parseSmallNumber(value.substr(slash + 1), length) && length <= 128);
}

Wrong takeNetwork(std::string& into, const std::string& value) {
    if (value != "any" && !isIPv4Network(value) && !isIPv6Network(value)) {
        return quoted(value) + " is no network, such as 10.0.0.0/8, 10.0.0.1..10.0.0.9, fd00::/8 or any";
    }
    into = value;
    return {};
}

Wrong takeProtocol(std::string& into, const std::string& value) {
    constexpr std::array names{"any", "tcp", "udp", "icmp", "esp", "ah"};
    std::uint8_t number = 0;
    if (std::find(names.begin(), names.end(), value) == names.end() && !panelkit::parseSmallNumber(value, number)) {
        return quoted(value) + " is no protocol: any, tcp, udp, icmp, esp, ah, or a number up to 255";
    }
    into = value;
    return {};
}

Wrong takePort(std::string& into, const std::string& value) {
    panelkit::PortRange range;
    if (!panelkit::parsePortRange(value, range)) return quoted(value) + " is no port, such as 443 or 67..68";
    into = value;
    return {};
}

Wrong takeGateway(std::string& into, const std::string& value) {
    if (value.find_first_of(" \t") != value.npos) return quoted(value) + " is no host name or address";
    return takeText(into, value, 253);
}

// ---- the keys

constexpr Word<PolicyAction> actions[] = {
    {"protect", PolicyAction::protect}, {"pass", PolicyAction::pass}, {"drop", PolicyAction::drop}};
constexpr Word<PolicyAuthentication> authentications[] = {{"certificate", PolicyAuthentication::certificate},
                                                          {"preshared-key", PolicyAuthentication::presharedKey}};

// clang-format off
constexpr KeyRow<PolicyText> headKeys[] = {
    {"title",          [](PolicyText& p, const std::string& value) { return takeText(p.title, value, 200); }},
    {"version",        [](PolicyText& p, const std::string& value) { return takeVersion(p.version, value); }},
    {"description",    [](PolicyText& p, const std::string& value) { return takeText(p.description, value, 1000); }},
};

constexpr KeyRow<PolicySection> sectionKeys[] = {
    {"action",         [](PolicySection& s, const std::string& value) { return takeWord(s.action, value, actions); }},
    {"network",        [](PolicySection& s, const std::string& value) { return takeNetwork(s.network, value); }},
    {"protocol",       [](PolicySection& s, const std::string& value) { return takeProtocol(s.protocol, value); }},
    {"port",           [](PolicySection& s, const std::string& value) { return takePort(s.port, value); }},
    {"gateway",        [](PolicySection& s, const std::string& value) { return takeGateway(s.gateway, value); }},
    {"authentication", [](PolicySection& s, const std::string& value) { return takeWord(s.authentication, value, authentications); }},
    {"subject",        [](PolicySection& s, const std::string& value) { return takeText(s.subject, value, 1000); }},
    {"key",            [](PolicySection& s, const std::string& value) { return takeText(s.key, value, 64); }},
};
// clang-format on

template <class Part, std::size_t count>
Wrong takeKey(Part& part, const KeyRow<Part> (&rows)[count], const char* where, const std::string& key,
              const std::string& value) {
    std::string all;
    for (const KeyRow<Part>& row : rows) {
        if (key == row.name) {
            const Wrong wrong = row.take(part, value);
            return wrong.empty() ? wrong : std::string(key).append(": ").append(wrong);
        }
        all += (all.empty() ? "" : ", ") + std::string(row.name);
    }
    return quoted(key) + " is no key of " + where + "; there are: " + all;
}

// ---- what goes together

bool protects(const PolicySection& s) { return s.action == PolicyAction::protect; }
bool usesKey(const PolicySection& s) { return s.authentication == PolicyAuthentication::presharedKey; }

struct Rule {
    bool (*broken)(const PolicySection& section);
    const char* text;
};

// clang-format off
constexpr Rule rules[] = {
    {[](const PolicySection& s) { return !s.action; },                                    "has no action"},
    {[](const PolicySection& s) { return protects(s) && s.gateway.empty(); },             "protects and names no gateway"},
    {[](const PolicySection& s) { return s.action && !protects(s) && !s.gateway.empty(); }, "has a gateway and does not protect"},
    {[](const PolicySection& s) { return s.action && !protects(s) && s.authentication; }, "has an authentication and does not protect"},
    {[](const PolicySection& s) { return usesKey(s) && s.key.empty(); },                  "names no preshared key"},
    {[](const PolicySection& s) { return !usesKey(s) && !s.key.empty(); },                "has a key and does not authenticate with preshared-key"},
    {[](const PolicySection& s) { return !s.subject.empty() && (usesKey(s) || !protects(s)); }, "has a subject and does not authenticate with a certificate"},
    {[](const PolicySection& s) { return !s.port.empty() && s.protocol != "tcp" && s.protocol != "udp"; }, "has a port; its protocol must be tcp or udp"},
};
// clang-format on

} // namespace

std::string quoted(const std::string& text) {
    constexpr std::size_t longest = 80;
    if (text.size() <= longest) return '"' + text + '"';
    std::size_t end = longest;
    while ((static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end; // not within a character
    return '"' + text.substr(0, end) + "...\"";
}

std::string takePolicyKey(PolicyText& head, const std::string& key, const std::string& value) {
    return takeKey(head, headKeys, "the head", key, value);
}

std::string takePolicyKey(PolicySection& section, const std::string& key, const std::string& value) {
    return takeKey(section, sectionKeys, "a section", key, value);
}

std::vector<std::string> contradictionsOf(const PolicySection& section) {
    std::vector<std::string> found;
    for (const Rule& rule : rules) {
        if (rule.broken(section)) found.emplace_back(rule.text);
    }
    return found;
}

} // namespace panelkitd
