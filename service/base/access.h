// SPDX-License-Identifier: MIT
//
// Who may use which commands. Users may read, log in to tokens, change PINs that they know, and set their own policy;
// administrators may do everything.
#pragma once

#include <platform/bridge/peer.h>

#include <platform/system/guarded.h>

#include <string>

namespace panelkitd {

// Who gives a command: an account of this host, or the service itself.
struct Account {
    std::string id; // empty for the service
    std::string name;
    bool administrator = false;
};

enum class Who : unsigned char { users, administrators };

// Thread-safe.
class Access {
public:
    // The names of the two groups; a group that does not exist has no members.
    Access(std::string usersGroup, std::string administratorsGroup);

    // Whether the account may use the service.
    bool admits(const bridge::Peer& peer) const;

    // The superuser, the account that the service runs as, and the members of the administrators' group.
    bool isAdministrator(const bridge::Peer& peer) const;

    bool allows(const bridge::Peer& peer, Who who) const {
        return who == Who::users ? admits(peer) : isAdministrator(peer);
    }

    // The name of their group; may be empty.
    std::string administratorsGroup() const { return *administrators_.lock(); }

    // Sets the group of administrators from the configuration.
    void setAdministratorsGroup(const std::string& name);

private:
    const std::string self_;
    const std::string users_;
    platform::Guarded<std::string> administrators_;
};

} // namespace panelkitd
