// SPDX-License-Identifier: MIT
//
// BridgeSession: one connection to the service, over which commands go one at a time. Sessions are opened and
// closed by CommandSender, which owns them; they are never freed, so a stale pointer reads a broken session.
//
// A session belongs to one caller at a time. A second thread that sends over it waits for the first.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <memory>
#include <string>

enum ModuleIdType : std::uint32_t; // the modules are named in panelkit/bridge/commands.h

class PANELKIT_EXPORT BridgeSession {
public:
    ~BridgeSession();
    BridgeSession(const BridgeSession&) = delete;
    BridgeSession& operator=(const BridgeSession&) = delete;

    // Sends a command and waits for its answer. Connects first when the session is not connected yet.
    //   module, command   which command
    //   data, size        the request payload, at most 64 MiB; only read
    //   reply             receives the reply payload (replaced when the module answered, else unspecified);
    //                     null when no answer is wanted: the module's consent is waited for all the same
    // Returns true when the module answered. Otherwise lastFailure() says why.
    // NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): callers know it by this name
    bool __SendCommand(ModuleIdType module, long command, const void* data, unsigned size, std::string* reply);

    // Connects now, instead of with the first command. True when the session is connected.
    bool Connect();

    // Zero while the session is usable, also before it is connected; non-zero once its connection is dead.
    std::uint32_t broken() const;

    // The code of the last failure, set anew by every send (bridge::FailureCode, platform/bridge/failure.h).
    std::uint32_t lastFailure() const;

    // Whether the last send failed because there is no service to reach.
    bool failedForWantOfService() const;

    // How many milliseconds of silence the session bears while it waits for an answer; 0 is no limit, the default
    // is 30000. A service that is at work breaks the silence every 5 seconds. A session that timed out is broken.
    std::uint32_t waitSetting() const;
    void setWaitSetting(std::uint32_t milliseconds);

    const std::string& name() const;

    // Name and version of the service, as it gave them when the session connected; empty before.
    std::string service() const;

private:
    friend class CommandSender;
    BridgeSession(std::string name, std::uint32_t role, std::string endpoint);
    void close();

    struct State;
    std::unique_ptr<State> state_;
};
