// SPDX-License-Identifier: MIT
#include <service/engine/ike_state.h>

#include <service/engine/ike_connections.h>

#include <utility>

namespace panelkitd {

using Loc::N_;
using vocabulary::Refused;

namespace {

std::string suiteOf(const ViciSection& child) {
    std::string suite = child.text("encr-alg");
    if (const std::string bits = child.text("encr-keysize"); !bits.empty()) suite += '-' + bits;
    if (const std::string integrity = child.text("integ-alg"); !integrity.empty()) suite += '/' + integrity;
    return suite;
}

IkeTunnelState tunnelOf(const ViciSection& ike, const ViciSection& child) {
    const std::string state = child.text("state");
    IkeTunnelState tunnel;
    tunnel.up = state == "INSTALLED" || state == "REKEYING" || state == "REKEYED";
    tunnel.id = child.number("uniqueid");
    tunnel.age = child.number("install-time");
    tunnel.address = ike.text("remote-host");
    tunnel.gatewayIdentity = ike.text("remote-id");
    tunnel.suite = suiteOf(child);
    tunnel.bytesIn = child.number("bytes-in");
    tunnel.bytesOut = child.number("bytes-out");
    return tunnel;
}

void addChildren(const ViciSection& ike, const ViciSection& children, IkeStates& into) {
    for (const ViciItem& item : children.items) {
        const auto* child = std::get_if<ViciSection>(&item.value);
        if (!child) continue;
        IkeTunnelState tunnel = tunnelOf(ike, *child);
        const auto [known, isNew] = into.tunnels.emplace(child->text("name"), tunnel);
        const bool better = tunnel.up && (!known->second.up || tunnel.id > known->second.id);
        if (!isNew && better) known->second = std::move(tunnel);
    }
}

void addConnection(const std::string& name, const ViciSection& ike, IkeStates& into) {
    if (!name.starts_with(ourPrefix)) return;
    const std::string state = ike.text("state");
    if (state == "DELETING" || state == "DESTROYING") return;
    into.all[name].push_back(ike.number("uniqueid"));
    if (state == "CREATED" || state == "CONNECTING") into.connecting[name] = ike.text("remote-host");
    if (const ViciSection* children = ike.section("child-sas")) addChildren(ike, *children, into);
}

struct Reason {
    const char* piece;            // of a line
    Loc::MarkedWording<'s'> text; // with the gateway
    bool isForList = false;
};

// The first rows say most: a failure has several lines.
// clang-format off
constexpr Reason reasons[] = {
    {"certificate was revoked",                N_("the certificate of the gateway %s is revoked")},
    {"RULE_CRL_VALIDATION is STALE",           N_("it is not known whether the certificate of the gateway %s is revoked: the list for it is out of date")},
    {"requires at least GOOD",                 N_("it is not known whether the certificate of the gateway %s is revoked: no list for it is on a token, or none that the IKE daemon can use"), true},
    {"subject certificate invalid",            N_("the certificate of the gateway %s has expired, or is not valid yet")},
    {"issuer certificate invalid",             N_("the certificate of the gateway %s has expired, or is not valid yet")},
    {"is not trusted",                         N_("the certificate of the gateway %s was not issued by an authority that is trusted here")},
    {"no issuer certificate found",            N_("the certificate of the gateway %s was not issued by an authority that is trusted here")},
    {"peer not authenticated by CA",           N_("the certificate of the gateway %s was not issued by an authority that is trusted here")},
    {"identity '",                             N_("the gateway has another identity than %s")},
    {"MAC mismatched",                         N_("the gateway %s has another preshared key")},
    {"no private key found",                   N_("the private key for the gateway %s can't be used: nobody is logged in to its token, or the IKE daemon does not see it")},
    {"no shared key found",                    N_("there is no preshared key for the gateway %s")},
    {"(myself) failed",                        N_("the token did not sign for the gateway %s")},
    {"no trusted ",                            N_("the gateway %s has no certificate for this name that is trusted here")},
    {"NO_PROPOSAL_CHOSEN",                     N_("the gateway %s accepts none of our algorithms")},
    {"received proposals unacceptable",        N_("the gateway %s accepts none of our algorithms")},
    {"no acceptable proposal found",           N_("the gateway %s proposes no algorithm that we accept")},
    {"received AUTHENTICATION_FAILED",         N_("the gateway %s refuses us: it does not accept our certificate or preshared key, or it is not the gateway that the policy names")},
    {"TS_UNACCEPTABLE",                        N_("the gateway %s does not accept the network of the section")},
    {"no acceptable traffic selectors found",  N_("the gateway %s does not accept the network of the section")},
    {"unable to resolve",                      N_("the address of the gateway %s can't be found")},
    {"peer not responding",                    N_("the gateway %s does not answer")},
    {"giving up after",                        N_("the gateway %s does not answer")},
    {"of request with message ID",             N_("the gateway %s does not answer")},
};
// clang-format on

} // namespace

IkeStates ikeStates(const std::vector<ViciSection>& events) {
    IkeStates states;
    for (const ViciSection& event : events) {
        for (const ViciItem& item : event.items) {
            const auto* ike = std::get_if<ViciSection>(&item.value);
            if (ike) addConnection(item.name, *ike, states);
        }
    }
    return states;
}

std::optional<HeardReason> reasonIn(const std::string& line, const std::string& gateway) {
    for (const Reason& reason : reasons) {
        if (line.find(reason.piece) == line.npos) continue;
        const auto rank = static_cast<std::size_t>(&reason - std::begin(reasons));
        return HeardReason{rank, remark(Refused::none, reason.text, gateway), reason.isForList};
    }
    return std::nullopt;
}

bool beginsAttempt(const std::string& line) { return line.starts_with("initiating IKE_SA"); }

} // namespace panelkitd
