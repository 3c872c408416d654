// SPDX-License-Identifier: MIT
#include <service/policyfile/policy_keys.h>

#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>
#include <panelkit/format/number_range.h>
#include <platform/text/join.h>

#include <algorithm>
#include <array>

namespace panelkitd {

using Loc::N_;
using vocabulary::Refused;

namespace {

// The mistake in a value; nullopt when there is none.
using Wrong = std::optional<bridge::Remark>;
constexpr Refused policyLine = Refused::policyLine;

template <class Part>
struct KeyRow {
    const char* name;
    Wrong (*take)(Part& part, const KeyLine& at, const std::string& value);
};

template <class Meaning>
struct Word {
    const char* text;
    Meaning meaning;
};

// A remark with the line, the key and the value.
Wrong unfit(Loc::MarkedWording<'d', 's', 's'> wording, const KeyLine& at, const std::string& value) {
    return remark(policyLine, wording, at.line, at.key, shortened(value));
}

template <class Meaning, std::size_t count>
Wrong takeWord(std::optional<Meaning>& into, const KeyLine& at, const std::string& value,
               const Word<Meaning> (&words)[count]) {
    for (const Word<Meaning>& word : words) {
        if (value == word.text) {
            into = word.meaning;
            return std::nullopt;
        }
    }
    const std::string all = platform::joined(words, ", ", &Word<Meaning>::text);
    return remark(policyLine, "line %d: %s: \"%s\" is not one of: %s", at.line, at.key, shortened(value), all);
}

Wrong takeText(std::string& into, const KeyLine& at, const std::string& value, std::size_t longest) {
    if (value.empty()) return remark(policyLine, "line %d: %s: the value is empty", at.line, at.key);
    if (value.size() > longest) {
        return remark(policyLine, "line %d: %s: the value is longer than %d bytes", at.line, at.key, longest);
    }
    into = value;
    return std::nullopt;
}

// ---- kinds of values

Wrong takeVersion(std::string& into, const KeyLine& at, const std::string& value) {
    const bool fits = value.find_first_not_of("0123456789.") == value.npos && value.find("..") == value.npos;
    if (value.empty() || !fits || value.front() == '.' || value.back() == '.') {
        return unfit(N_("line %d: %s: \"%s\" is not a version, such as 3 or 1.2.10"), at, value);
    }
    return takeText(into, at, value, 32);
}

bool isIPv4Network(const std::string& value) {
    panelkit::IPv4Range range;
    if (value.find("..") == value.npos) return panelkit::parseIPv4Range(value, range);
    return panelkit::parseIPv4Range(value.data(), value.data() + value.size(), range);
}

bool isIPv6Network(const std::string& value) {
    const std::size_t slash = value.find('/');
    panelkit::IPv6Address address{};
    if (!panelkit::parseIPv6(value.substr(0, slash), address)) return false;
    std::uint8_t length = 0;
    return slash == value.npos || (panelkit::parseSmallNumber(value.substr(slash + 1), length) && length <= 128);
}

Wrong takeNetwork(std::string& into, const KeyLine& at, const std::string& value) {
    if (value != "any" && !isIPv4Network(value) && !isIPv6Network(value)) {
        return unfit(
            N_("line %d: %s: \"%s\" is not a network, such as 10.0.0.0/8, 10.0.0.1..10.0.0.9, fd00::/8 or any"), at,
            value);
    }
    into = value;
    return std::nullopt;
}

Wrong takeProtocol(std::string& into, const KeyLine& at, const std::string& value) {
    constexpr std::array names{"any", "tcp", "udp", "icmp", "esp", "ah"};
    std::uint8_t number = 0;
    if (std::find(names.begin(), names.end(), value) == names.end() && !panelkit::parseSmallNumber(value, number)) {
        return unfit(
            N_("line %d: %s: \"%s\" is not a protocol: any, tcp, udp, icmp, esp, ah, or a number from 0 to 255"), at,
            value);
    }
    into = value;
    return std::nullopt;
}

Wrong takePort(std::string& into, const KeyLine& at, const std::string& value) {
    panelkit::PortRange range;
    if (!panelkit::parsePortRange(value, range)) {
        return unfit(N_("line %d: %s: \"%s\" is not a port, such as 443 or 67..68"), at, value);
    }
    into = value;
    return std::nullopt;
}

Wrong takeGateway(std::string& into, const KeyLine& at, const std::string& value) {
    if (value.find_first_of(" \t") != value.npos) {
        return unfit(N_("line %d: %s: \"%s\" is not a host name or address"), at, value);
    }
    return takeText(into, at, value, 253);
}

// ---- the keys

constexpr Word<PolicyAction> actions[] = {
    {"protect", PolicyAction::protect}, {"pass", PolicyAction::pass}, {"drop", PolicyAction::drop}};
constexpr Word<PolicyAuthentication> authentications[] = {{"certificate", PolicyAuthentication::certificate},
                                                          {"preshared-key", PolicyAuthentication::presharedKey}};

// clang-format off
constexpr KeyRow<PolicyText> headKeys[] = {
    {"title",          [](PolicyText& p, const KeyLine& at, const std::string& value) { return takeText(p.title, at, value, 200); }},
    {"version",        [](PolicyText& p, const KeyLine& at, const std::string& value) { return takeVersion(p.version, at, value); }},
    {"description",    [](PolicyText& p, const KeyLine& at, const std::string& value) { return takeText(p.description, at, value, 1000); }},
};

constexpr KeyRow<PolicySection> sectionKeys[] = {
    {"action",         [](PolicySection& s, const KeyLine& at, const std::string& value) { return takeWord(s.action, at, value, actions); }},
    {"network",        [](PolicySection& s, const KeyLine& at, const std::string& value) { return takeNetwork(s.network, at, value); }},
    {"protocol",       [](PolicySection& s, const KeyLine& at, const std::string& value) { return takeProtocol(s.protocol, at, value); }},
    {"port",           [](PolicySection& s, const KeyLine& at, const std::string& value) { return takePort(s.port, at, value); }},
    {"gateway",        [](PolicySection& s, const KeyLine& at, const std::string& value) { return takeGateway(s.gateway, at, value); }},
    {"authentication", [](PolicySection& s, const KeyLine& at, const std::string& value) { return takeWord(s.authentication, at, value, authentications); }},
    {"subject",        [](PolicySection& s, const KeyLine& at, const std::string& value) { return takeText(s.subject, at, value, 1000); }},
    {"key",            [](PolicySection& s, const KeyLine& at, const std::string& value) { return takeText(s.key, at, value, 64); }},
};
// clang-format on

template <class Meaning, std::size_t count>
const char* wordOf(Meaning meaning, const Word<Meaning> (&words)[count]) {
    const auto has = [meaning](const Word<Meaning>& word) { return word.meaning == meaning; };
    return std::find_if(words, words + count, has)->text;
}

template <class Part, std::size_t count>
Wrong takeKey(Part& part, const KeyRow<Part> (&rows)[count], Loc::MarkedWording<'d', 's', 's'> unknown,
              const KeyLine& at, const std::string& value) {
    for (const KeyRow<Part>& row : rows) {
        if (at.key == row.name) return row.take(part, at, value);
    }
    const std::string all = platform::joined(rows, ", ", &KeyRow<Part>::name);
    return remark(policyLine, unknown, at.line, shortened(at.key), all);
}

// ---- rules for combinations of keys

bool protects(const PolicySection& s) { return s.action == PolicyAction::protect; }
bool usesKey(const PolicySection& s) { return s.authentication == PolicyAuthentication::presharedKey; }

struct Rule {
    bool (*broken)(const PolicySection& section);
    Loc::MarkedWording<'d', 's'> text; // its arguments are the line and the name of the section
};

// clang-format off
constexpr Rule rules[] = {
    {[](const PolicySection& s) { return !s.action; },                                    N_("line %d: section [%s] has no action")},
    {[](const PolicySection& s) { return protects(s) && s.gateway.empty(); },             N_("line %d: section [%s] protects and names no gateway")},
    {[](const PolicySection& s) { return s.action && !protects(s) && !s.gateway.empty(); }, N_("line %d: section [%s] has a gateway and does not protect")},
    {[](const PolicySection& s) { return s.action && !protects(s) && s.authentication; }, N_("line %d: section [%s] has an authentication and does not protect")},
    {[](const PolicySection& s) { return usesKey(s) && s.key.empty(); },                  N_("line %d: section [%s] names no preshared key")},
    {[](const PolicySection& s) { return !usesKey(s) && !s.key.empty(); },                N_("line %d: section [%s] has a key and does not authenticate with preshared-key")},
    {[](const PolicySection& s) { return !s.subject.empty() && (usesKey(s) || !protects(s)); }, N_("line %d: section [%s] has a subject and does not authenticate with a certificate")},
    {[](const PolicySection& s) { return !s.port.empty() && s.protocol != "tcp" && s.protocol != "udp"; }, N_("line %d: section [%s] has a port; its protocol must be tcp or udp")},
};
// clang-format on

} // namespace

const char* wordOf(PolicyAction action) { return wordOf(action, actions); }

const char* wordOf(PolicyAuthentication authentication) { return wordOf(authentication, authentications); }

std::string shortened(const std::string& text) {
    constexpr std::size_t longest = 80;
    if (text.size() <= longest) return text;
    std::size_t end = longest;
    while ((static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end; // do not cut within a character
    return text.substr(0, end) + "...";
}

std::optional<bridge::Remark> takePolicyKey(PolicyText& head, const KeyLine& at, const std::string& value) {
    return takeKey(head, headKeys, N_("line %d: \"%s\" is not a key of the head; there are: %s"), at, value);
}

std::optional<bridge::Remark> takePolicyKey(PolicySection& section, const KeyLine& at, const std::string& value) {
    return takeKey(section, sectionKeys, N_("line %d: \"%s\" is not a key of a section; there are: %s"), at, value);
}

Remarks contradictionsOf(const PolicySection& section) {
    Remarks found;
    for (const Rule& rule : rules) {
        if (rule.broken(section)) found.push_back(remark(policyLine, rule.text, section.line, section.name));
    }
    return found;
}

} // namespace panelkitd
