// SPDX-License-Identifier: MIT
#include <platform/bridge/peer.h>

#include <unistd.h>

namespace bridge {

const char* const serviceAccount = "panelkit";

Peer self() {
    Peer peer;
    peer.user = std::to_string(::geteuid());
    peer.superuser = ::geteuid() == 0;
    peer.groups.push_back(std::to_string(::getegid()));
    return peer;
}

} // namespace bridge
