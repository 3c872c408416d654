// SPDX-License-Identifier: MIT
#include <platform/bridge/peer.h>

#include <platform/system/host.h>

#include <algorithm>

namespace bridge {

bool Peer::memberOf(const std::string& group) const {
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

std::string displayName(const Peer& peer) {
    const std::string name = platform::userName(peer.user);
    if (!name.empty()) return name;
    return peer.user.empty() ? "an unknown account" : "account " + peer.user;
}

bool trustsService(const Peer& service) {
    if (service.superuser) return true;
    return !service.user.empty() && (service.user == self().user || service.user == platform::userId(serviceAccount));
}

} // namespace bridge
