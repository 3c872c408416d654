// SPDX-License-Identifier: MIT
#include <service/policy/tunnel_diagnosis.h>

#include <algorithm>
#include <utility>

namespace panelkitd {

using panelkit::StateRemark;
using panelkit::TunnelCondition;
using panelkit::TunnelInfo;
using vocabulary::Refused;

namespace {

constexpr std::size_t mostDescribed = 20; // tunnels that are up

std::string sinceOf(const TunnelInfo& tunnel) { return localText(static_cast<std::uint64_t>(tunnel.since)); }

bridge::Remark describeUp(const TunnelInfo& tunnel, bool byKey) {
    if (byKey) {
        return remark(Refused::tunnelIsUp,
                      "the tunnel of section [%s] to the gateway %s (%s) is up since %s, with the preshared key \"%s\"",
                      tunnel.section, tunnel.gateway, tunnel.address, sinceOf(tunnel), tunnel.credential);
    }
    return remark(Refused::tunnelIsUp,
                  "the tunnel of section [%s] to the gateway %s (%s) is up since %s, with the certificate \"%s\"",
                  tunnel.section, tunnel.gateway, tunnel.address, sinceOf(tunnel), tunnel.credential);
}

bridge::Remark describeDown(const TunnelInfo& tunnel) {
    if (tunnel.condition == TunnelCondition::turnedOff) {
        return remark(Refused::engineState, "the tunnel of section [%s] was turned off by an administrator at %s",
                      tunnel.section, sinceOf(tunnel));
    }
    if (tunnel.condition == TunnelCondition::connecting && tunnel.why.empty()) {
        return remark(Refused::engineState, "the tunnel of section [%s] is being set up with the gateway %s",
                      tunnel.section, tunnel.gateway);
    }
    return remark(Refused::engineState, "the tunnel of section [%s] to the gateway %s is not up since %s",
                  tunnel.section, tunnel.gateway, sinceOf(tunnel));
}

// Whether the reason is our own certificate or key, and not the gateway.
bool lacksCredential(const TunnelInfo& tunnel) {
    return std::any_of(tunnel.why.begin(), tunnel.why.end(), [](const StateRemark& why) {
        return why.code == static_cast<std::uint32_t>(Refused::credentials);
    });
}

// How the section authenticates, and in which state its own certificate is.
Diagnosis credentialOf(const PolicySection& section, const TunnelInfo& tunnel, const Credentials& credentials,
                       std::int64_t now) {
    Diagnosis its;
    if (lacksCredential(tunnel)) {
        if (const auto list = credentials.list()) its = diagnoseSection(section, *list, now);
        if (!its.problem) its = {};
    }
    its.problem.reset(); // the engine's reason counts
    its.byPresharedKey = section.authentication == PolicyAuthentication::presharedKey;
    (its.byPresharedKey ? its.presharedKey : its.subject) = tunnel.credential;
    return its;
}

const PolicySection* sectionOf(const PolicyText& policy, const TunnelInfo& tunnel) {
    const auto found = std::find_if(policy.sections.begin(), policy.sections.end(),
                                    [&](const PolicySection& section) { return section.name == tunnel.section; });
    return found == policy.sections.end() ? nullptr : &*found;
}

void describeAllUp(const PolicyText& policy, const std::vector<TunnelInfo>& tunnels, TunnelDiagnosis& into) {
    for (const TunnelInfo& tunnel : tunnels) {
        if (into.remarks.size() == mostDescribed) {
            into.remarks.push_back(
                remark(Refused::tunnelIsUp, "%d more tunnels are up", tunnels.size() - into.remarks.size()));
            return;
        }
        const PolicySection* const section = sectionOf(policy, tunnel);
        const bool byKey = section && section->authentication == PolicyAuthentication::presharedKey;
        into.remarks.push_back(describeUp(tunnel, byKey));
    }
}

} // namespace

std::optional<TunnelDiagnosis> diagnoseTunnels(const PolicyText& policy, const Engine& engine,
                                               const Credentials& credentials, std::int64_t now) {
    const std::vector<TunnelInfo> tunnels = engine.tunnels();
    TunnelDiagnosis its;
    its.remarks = engine.problems();
    its.isProblem = !its.remarks.empty();
    const auto isDown = [](const TunnelInfo& tunnel) { return tunnel.condition != TunnelCondition::up; };
    const auto down = std::find_if(tunnels.begin(), tunnels.end(), isDown);
    const TunnelInfo* const shown = tunnels.empty() ? nullptr : down != tunnels.end() ? &*down : &tunnels.front();
    const PolicySection* const section = shown ? sectionOf(policy, *shown) : nullptr;
    if (section) its.diagnosis = credentialOf(*section, *shown, credentials, now);
    if (its.isProblem || !section) return its.isProblem ? std::optional(its) : std::nullopt;
    if (down == tunnels.end()) {
        describeAllUp(policy, tunnels, its);
        return its;
    }
    its.isNote = down->condition == TunnelCondition::connecting && down->why.empty();
    its.isProblem = !its.isNote;
    its.remarks.push_back(describeDown(*down));
    for (const StateRemark& why : down->why) its.remarks.push_back({why.code, {why.wording, why.arguments}});
    return its;
}

} // namespace panelkitd
