// SPDX-License-Identifier: MIT
#include <service/engine/ike_connections.h>

#include <panelkit/format/ipv4.h>
#include <panelkit/format/ipv6.h>

#include <algorithm>
#include <map>
#include <utility>

namespace panelkitd {

using Loc::N_;
using vocabulary::Refused;

namespace {

// ---- gateways

bool isName(const std::string& text) {
    const auto fits = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
               c == '.';
    };
    return std::all_of(text.begin(), text.end(), fits);
}

// The daemon gives other texts a meaning of their own: "%any", networks, names with wildcards. An unspecified address
// would be every gateway.
std::string identityOf(const PolicySection& section) {
    panelkit::IPv6Address address;
    const std::string& gateway = section.gateway;
    const bool isIPv4 = panelkit::isDottedNumber(gateway);
    if (isIPv4 && panelkit::parseIPv4(gateway) != 0) return gateway;
    if (gateway.front() != '[' && panelkit::parseIPv6(gateway, address) && address != panelkit::IPv6Address()) {
        return gateway;
    }
    if (!isIPv4 && isName(gateway)) return "fqdn:" + gateway;
    throw EngineError(
        {remark(Refused::policyLine, "line %d: section [%s]: \"%s\" is not the host name or address of a gateway",
                section.line, section.name, gateway)});
}

// ---- certificates

struct Flaw {
    bool (*found)(const EngineCertificate& certificate, std::uint64_t now);
    Loc::MarkedWording<'s'> text;
};

// The further down, the nearer a certificate is to being usable.
// clang-format off
constexpr Flaw flaws[] = {
    {[](const EngineCertificate& c, std::uint64_t) { return c.tokenIsOpen && !c.hasPrivateKey; },   N_("the personal certificate \"%s\" has no private key on its token")},
    {[](const EngineCertificate& c, std::uint64_t) { return c.revoked; },                           N_("the personal certificate \"%s\" is revoked")},
    {[](const EngineCertificate& c, std::uint64_t now) { return c.notAfter < now; },                N_("the personal certificate \"%s\" has expired")},
    {[](const EngineCertificate& c, std::uint64_t) { return !c.forIke; },                           N_("the personal certificate \"%s\" may not be used for IKE: the extended key usage \"ipsecIKE\" is missing")},
    {[](const EngineCertificate& c, std::uint64_t now) { return c.notBefore > now; },               N_("the personal certificate \"%s\" is not valid yet")},
    {[](const EngineCertificate& c, std::uint64_t) { return !c.tokenIsOpen; },                      N_("nobody is logged in to the token with the personal certificate \"%s\"")},
};
// clang-format on

std::size_t flawOf(const EngineCertificate& certificate, const IkeOptions& options) {
    const bool counts = valueOf(options.parameters, "IKE.CRL_PROCESSING") != 0;
    for (std::size_t i = 0; i < std::size(flaws); ++i) {
        EngineCertificate seen = certificate;
        seen.revoked = seen.revoked && counts;
        if (flaws[i].found(seen, options.now)) return i;
    }
    return std::size(flaws);
}

bool isCandidate(const EngineCertificate& certificate, const std::string& subject) {
    if (!subject.empty()) return certificate.subject == subject;
    return !certificate.authority && (certificate.hasPrivateKey || !certificate.tokenIsOpen);
}

// The best certificate for the section; the first of equals.
void chooseCertificate(const std::string& subject, const EngineCredentials& credentials, const IkeOptions& options,
                       IkeConnection& into) {
    const EngineCertificate* best = nullptr;
    std::size_t least = 0;
    for (const EngineCertificate& certificate : credentials.certificates) {
        if (!isCandidate(certificate, subject)) continue;
        const std::size_t flaw = flawOf(certificate, options);
        if (best && flaw <= least) continue;
        best = &certificate;
        least = flaw;
    }
    if (!best) {
        into.credential = subject;
        into.lacks = noCertificate(subject, credentials.complete);
        into.mayCome = !credentials.complete;
        return;
    }
    into.credential = best->subject;
    into.token = best->token;
    into.keyId = best->keyId;
    if (least < std::size(flaws)) into.lacks = remark(Refused::credentials, flaws[least].text, best->subject);
    into.mayCome = least + 1 == std::size(flaws);
    into.config.add("local", ViciSection().add("auth", "pubkey").add("certs", std::vector<std::string>{best->der}));
}

void choosePresharedKey(const std::string& name, const EngineCredentials& credentials, IkeConnection& into) {
    into.byPresharedKey = true;
    into.credential = name;
    into.config.add("local", ViciSection().add("auth", "psk"));
    const auto& keys = credentials.presharedKeys;
    if (std::any_of(keys.begin(), keys.end(), [&](const auto& key) { return key.name == name; })) return;
    into.mayCome = true;
    into.lacks = remark(Refused::credentials,
                        "the preshared key \"%s\" is on no token, or its token is not logged in, or the token does not "
                        "give it out",
                        name);
}

// ---- connections

ViciSection remoteOf(const std::string& identity, const EngineCredentials& credentials, const IkeOptions& options,
                     bool byPresharedKey) {
    ViciSection remote;
    remote.add("id", identity).add("auth", byPresharedKey ? "psk" : "pubkey");
    if (byPresharedKey) return remote;
    const std::int64_t processing = valueOf(options.parameters, "IKE.CRL_PROCESSING");
    remote.add("revocation", processing == 1 ? "strict" : "relaxed").add("cacerts", credentials.anchors);
    return remote;
}

bool forcesUdp(const IkeOptions& options) {
    return options.espInUserSpace || (valueOf(options.parameters, "IKE.NATT_POLICY") & 128) != 0;
}

void addCommon(const PolicySection& section, const std::string& identity, const IkeOptions& options,
               const EngineCredentials& credentials, IkeConnection& into) {
    into.config.add("version", "2").add("remote_addrs", std::vector<std::string>{section.gateway});
    into.config.add("encap", forcesUdp(options) ? "yes" : "no").add("keyingtries", "0").add("unique", "never");
    addParameters(options.parameters, vocabulary::ParameterMoment::connection, into.config);
    into.config.add("remote", remoteOf(identity, credentials, options, into.byPresharedKey));
    if (!into.lacks && !into.byPresharedKey && credentials.anchors.empty()) {
        into.lacks = noAnchor(credentials.complete);
        into.mayCome = !credentials.complete;
    }
}

ViciSection childOf(const PolicySection& section, const IkeOptions& options) {
    ViciSection child;
    child.add("remote_ts", trafficSelectors(section)).add("local_ts", std::vector<std::string>{"dynamic"});
    child.add("mode", "tunnel").add("dpd_action", "restart").add("close_action", "start");
    if (!options.espInUserSpace && options.mark != 0) child.add("set_mark_out", std::to_string(options.mark));
    if (!options.espProposals.empty()) child.add("esp_proposals", options.espProposals);
    addParameters(options.parameters, vocabulary::ParameterMoment::child, child);
    return child;
}

// The name stays when other sections come and go.
std::string nameOf(const PolicySection& section) {
    const bool byKey = section.authentication == PolicyAuthentication::presharedKey;
    const std::string facts = section.gateway + '\n' + (byKey ? "key " + section.key : "subject " + section.subject);
    std::uint64_t hash = 14695981039346656037U; // FNV-1a
    for (const char byte : facts) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    std::string digits;
    for (; digits.size() < 16; hash >>= 4U) digits += "0123456789abcdef"[hash & 15U];
    return ourPrefix + digits;
}

IkeConnection begun(const PolicySection& section, const EngineCredentials& credentials, const IkeOptions& options) {
    IkeConnection connection;
    const std::string identity = identityOf(section);
    connection.name = nameOf(section);
    connection.gateway = section.gateway;
    if (section.authentication == PolicyAuthentication::presharedKey) {
        choosePresharedKey(section.key, credentials, connection);
    } else {
        chooseCertificate(section.subject, credentials, options, connection);
    }
    addCommon(section, identity, options, credentials, connection);
    return connection;
}

// The daemon finds a preshared key by the gateway.
void requireOneKey(const PolicySection& section, std::map<std::string, const PolicySection*>& keys) {
    if (section.authentication != PolicyAuthentication::presharedKey) return;
    const auto [first, isNew] = keys.emplace(section.gateway, &section);
    if (isNew || first->second->key == section.key) return;
    throw EngineError({remark(Refused::policyLine,
                              "line %d: section [%s] has another preshared key than section [%s], for the same gateway",
                              section.line, section.name, first->second->name)});
}

} // namespace

std::vector<IkeConnection> ikeConnections(const PolicyText& policy, const EngineCredentials& credentials,
                                          const IkeOptions& options) {
    std::vector<IkeConnection> connections;
    std::map<std::string, std::size_t> places;
    std::map<std::string, const PolicySection*> keys;
    for (const PolicySection& section : policy.sections) {
        if (section.action != PolicyAction::protect) continue;
        requireOneKey(section, keys);
        const auto [place, isNew] = places.emplace(nameOf(section), connections.size());
        if (isNew) connections.push_back(begun(section, credentials, options));
        connections[place->second].children.push_back({&section, childOf(section, options)});
    }
    return connections;
}

EngineError notInForce(const IkeConnection& connection, const Remarks& why) {
    const PolicySection& section = *connection.children.front().section;
    Remarks remarks{
        remark(Refused::policyLine, "line %d: section [%s] can't be put into force", section.line, section.name)};
    remarks.insert(remarks.end(), why.begin(), why.end());
    return EngineError(std::move(remarks));
}

ViciSection loadMessage(const IkeConnection& connection) {
    ViciSection children;
    for (const IkeChild& child : connection.children) children.add(child.section->name, child.config);
    ViciSection config = connection.config;
    config.add("children", std::move(children));
    return ViciSection().add(connection.name, std::move(config));
}

} // namespace panelkitd
