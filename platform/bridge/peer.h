// SPDX-License-Identifier: MIT
//
// The account at the other end of a connection, as the operating system reports it. It is taken from the connected
// socket or pipe itself, never from a process id or the owner of a path: those can change.
#pragma once

#include <string>
#include <vector>

namespace bridge {

// Accounts are text: a decimal uid or gid, or a SID on Windows.
struct Peer {
    std::string user;
    std::vector<std::string> groups;
    bool superuser = false; // root; on Windows an elevated administrator or the system

    bool memberOf(const std::string& group) const;
};

// The account this process runs as.
Peer self();

// A name for people, "anna", or "account 1000" when the account has no name.
std::string displayName(const Peer& peer);

// Whether a front end of this process may trust a service that runs as `service`: root or the system, the
// process's own account, or the account that the packaged service runs as.
bool trustsService(const Peer& service);

// The name of the account under which the packaged service runs.
extern const char* const serviceAccount;

} // namespace bridge
