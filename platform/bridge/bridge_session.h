// SPDX-License-Identifier: MIT
//
// BridgeSession: one connection to the service, over which commands are sent one at a time. CommandSender opens, closes
// and owns sessions. They are never freed, so a stale pointer points to a broken session.
//
// A session is for one caller at a time. A second thread that sends over it waits for the first.
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
    //   module, command   the command's numbers
    //   data, size        the request payload, at most 64 MiB; not changed
    //   reply             receives the reply payload (replaced when the module answered, else unspecified);
    //                     null to ignore the answer; the call waits for it all the same
    // Returns true when the module answered. Otherwise lastFailure() says why. Throws nothing: when memory runs out,
    // the failure is `exhausted`, and the next command connects again.
    // NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): callers know it by this name
    bool __SendCommand(ModuleIdType module, long command, const void* data, unsigned size, std::string* reply);

    // Connects now instead of with the first command. Returns true when the session is connected.
    bool Connect();

    // Zero while the session is usable, also before it is connected; non-zero after its connection was lost.
    std::uint32_t broken() const;

    // The code of the last failure, set by every send (bridge::FailureCode, platform/bridge/failure.h).
    std::uint32_t lastFailure() const;

    // Whether the last send failed because the service could not be reached.
    bool failedForWantOfService() const;

    // How many milliseconds without a sign of life the session waits for an answer; 0 means no limit. The default is
    // 30000. A service that is still working sends a sign of life every 5 seconds. A session that timed out is broken.
    std::uint32_t waitSetting() const;
    void setWaitSetting(std::uint32_t milliseconds);

    const std::string& name() const;

    // Name and version of the service, as it sent them when the session connected; empty before that.
    std::string service() const;

private:
    friend class CommandSender;
    BridgeSession(std::string name, std::uint32_t role, std::string endpoint);
    void close();

    struct State;
    std::unique_ptr<State> state_;
};
