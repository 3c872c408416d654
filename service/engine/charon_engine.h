// SPDX-License-Identifier: MIT
//
// The engine that protects traffic: an IKE daemon (ike_daemon.h) makes the tunnels, the packet filter of the kernel
// lets pass what is in them. The filter stays when this process ends; the daemon ends with it.
//
// A thread of its own looks after the daemon: it starts the daemon again when it has died, gives it what it needs,
// and sets up tunnels that are down. Another one hears the daemon's events and log.
//
// The PINs of tokens that somebody is logged in to are kept in locked memory until the log-out: a daemon that was
// started again needs them.
#pragma once

#include <service/engine/engine.h>
#include <service/engine/packet_filter.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace panelkitd {

struct CharonSettings {
    std::string folder;                               // private to us, for the daemon's files
    std::string program = "/usr/sbin/charon-systemd"; // the daemon
    std::string socket;   // of a daemon that is there already and is used in place of one of our own; empty: none
    FilterOptions filter; // with the mark; where ESP is, the engine finds out itself
    EngineParameters parameters;
    std::function<void(const TunnelNews&)> news; // called on a thread of the engine; must not block
    std::chrono::milliseconds patience{3000};    // for each answer of the daemon
};

// Throws EngineError when another program uses the ports of IKE or could make that socket, and on systems without such
// a daemon. The daemon is started when the first policy with tunnels is applied. `makeFilter` is makePacketFilter()
// except in tests.
using FilterMaker = std::function<std::unique_ptr<PacketFilter>(const FilterOptions&)>;
std::unique_ptr<Engine> makeCharonEngine(CharonSettings settings, const FilterMaker& makeFilter = makePacketFilter);

} // namespace panelkitd
