// SPDX-License-Identifier: MIT
//
// The dispatcher: finds a command in its table, checks that the caller is allowed to use it, runs its handler, and
// writes the audit line. The server calls handle() on the thread of the session, so several commands may run at the
// same time.
#pragma once

#include <service/base/access.h>
#include <service/base/limits.h>
#include <service/base/log.h>

#include <platform/bridge/server.h>

#include <functional>
#include <string>
#include <utility>

namespace panelkitd {

class CertCommands;
class InterfaceCommands;
class MonitorCommands;
class ParameterCommands;
class PolicyCommands;
class TokenCommands;
struct Call;

// The parts of the service that carry out the commands. They must outlive the dispatcher.
struct CommandGroups {
    TokenCommands& tokens;
    CertCommands& certificates;
    ParameterCommands& parameters;
    InterfaceCommands& interfaces;
    PolicyCommands& policy;
    MonitorCommands& monitor;
};

// Carries out one command and returns the payload of the reply. Throws RefusedError to refuse the command. When the
// payload of the request ends early, reading from the call's `in` throws the stream's error.
using Handler = std::string (*)(CommandGroups& groups, Call& call);

class Dispatcher : public bridge::server::Service {
public:
    // `tokensChanged` is called after a command that changes objects on a token, also when it has failed.
    Dispatcher(CommandGroups groups, Access& access, std::function<void()> tokensChanged)
        : groups_(groups), access_(access), tokensChanged_(std::move(tokensChanged)) {}

    bool admits(const bridge::Peer& peer) override { return access_.admits(peer); }
    bool hasReserve(const bridge::Peer& peer) override { return access_.isAdministrator(peer); }
    bridge::server::Answer handle(bridge::server::Session& session, const bridge::server::Request& request) override;
    void lagged(const bridge::Peer& peer) override;
    void turnedAway(const bridge::Peer& peer, bridge::Verdict verdict) override;
    void hurry() override;
    void ended(bridge::server::Session& session) override;

private:
    void noteEnd(const Call& call, const std::string& command, const std::string& how);
    void note(const bridge::server::Session& session, const std::string& text, bool succeeded);

    CommandGroups groups_;
    Access& access_;
    const std::function<void()> tokensChanged_;
    bridge::AccountBudget requests_{limits::requests};
    ThrottledLog turnedAway_{10};
    ThrottledLog unsuccessful_{limits::unsuccessfulLines};
};

} // namespace panelkitd
