// SPDX-License-Identifier: MIT
#include <service/base/access.h>

#include <platform/system/host.h>

#include <utility>

namespace panelkitd {

namespace {

// Looked up each time, so that a group can be added without a restart of the service. A SID needs no look-up.
bool memberOf(const bridge::Peer& peer, const std::string& groupName) {
    if (groupName.empty()) return false;
    const std::string id = groupName.rfind("S-1-", 0) == 0 ? groupName : platform::groupId(groupName);
    return !id.empty() && peer.memberOf(id);
}

} // namespace

Access::Access(std::string usersGroup, std::string administratorsGroup)
    : self_(bridge::self().user), users_(std::move(usersGroup)), administrators_(std::move(administratorsGroup)) {}

bool Access::admits(const bridge::Peer& peer) const { return isAdministrator(peer) || memberOf(peer, users_); }

bool Access::isAdministrator(const bridge::Peer& peer) const {
    if (peer.superuser || peer.user == self_) return true;
    const std::string administrators = *administrators_.lock(); // looking up a group may take long
    return memberOf(peer, administrators);
}

void Access::setAdministratorsGroup(const std::string& name) { *administrators_.lock() = name; }

} // namespace panelkitd
