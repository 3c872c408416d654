// SPDX-License-Identifier: MIT
//
// CommandSender opens and closes the sessions of this process and knows the endpoint to which they connect.
//
// There is one object, made on first use and never destroyed: the session pool and controllers with static lifetime may
// use it until the very end of the process. All members may be called from any thread.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <memory>
#include <string>

class BridgeSession;

class PANELKIT_EXPORT CommandSender {
public:
    static CommandSender& Instance();
    CommandSender(const CommandSender&) = delete;
    CommandSender& operator=(const CommandSender&) = delete;

    // Opens a session. It connects with its first command, so this call succeeds even if the service isn't running.
    //   name   the session's name in the service's log, for example "Tokens"
    //   role   always 1: a session that sends commands
    // Returns null when no session can exist: the endpoint setting can't be used (bridge::lastFailure() says why). This
    // object owns the session; return it with CloseSession.
    BridgeSession* OpenNewSession(const char* name, int role);

    // Disconnects the session, wipes its buffers and marks it broken. Null, and a session that was closed before, are
    // ignored.
    void CloseSession(BridgeSession* session);

    // Where sessions connect that are opened from now on: the path of a Unix socket, or the name of a named pipe. The
    // default is the value of the environment variable PANELKIT_BRIDGE, else the endpoint of the system's service.
    void SetEndpoint(std::string endpoint);
    std::string Endpoint() const;

    // The wait setting (milliseconds of silence, 0 without limit) of sessions that are opened from now on.
    void SetWait(std::uint32_t milliseconds);

private:
    CommandSender();
    ~CommandSender() = default;

    struct State;
    std::unique_ptr<State> state_;
};
