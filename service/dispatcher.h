// SPDX-License-Identifier: MIT
//
// The dispatcher: finds the command in its table, checks that the caller may give it, runs its handler, and writes the
// audit line.
#pragma once

#include <service/access.h>
#include <service/log.h>

#include <panelkit/bridge/command_stream.h>
#include <panelkit/bridge/commands.h>
#include <platform/bridge/server.h>

#include <string>

namespace panelkitd {

class CertModule;
class InterfaceModule;
class ParameterModule;
class PolicyModule;
class TokenModule;

// The modules that handlers work with.
struct Modules {
    TokenModule& tokens;
    CertModule& certificates;
    ParameterModule& parameters;
    InterfaceModule& interfaces;
    PolicyModule& policy;
};

// One command as its handler sees it.
struct Call {
    bridge::server::Session& session;
    bool byAdministrator;
    CommandStreamIn in;  // over the payload
    std::string subject; // what the command acts on, for the audit line; no secrets
    std::string outcome; // for the audit line, of replies whose first byte does not say how it ended
};

// Returns the reply. Throws RefusedError to refuse; a payload that ends early throws out of `in`.
using Handler = std::string (*)(Modules& modules, Call& call);

class Dispatcher : public bridge::server::Service {
public:
    Dispatcher(Modules modules, Access& access) : modules_(modules), access_(access) {}

    bool admits(const bridge::Peer& peer) override { return access_.admits(peer); }
    bridge::server::Answer handle(bridge::server::Session& session, const bridge::server::Request& request) override;
    void lagged(const bridge::Peer& peer) override;
    void turnedAway(const bridge::Peer& peer, bridge::Verdict verdict) override;
    void ended(bridge::server::Session& session) override;

private:
    Modules modules_;
    Access& access_;
    ThrottledLog turnedAway_{10};
};

} // namespace panelkitd
