// SPDX-License-Identifier: MIT
//
// SessionsPool keeps one open bridge session per kind of work for the whole process, opens it when it is first
// needed, re-opens sessions that died, and lends one out exclusively for a long command.
//
// Thread contract: the pool takes no lock and belongs to the one thread of a front end that talks to the
// service; only its creation is safe against races. A second thread must not call it at the same time.
#pragma once

#include <platform/export.h>

#include <array>
#include <cstdint>

class BridgeSession;

// Which session a controller asks for. 1, 2 and 4 have a session of their own; every other value is served
// from the "Common" one. That goes for the policy controller's 3 too: a slot named "LSP" exists and is never
// reached, and services rely on policy commands arriving over "Common".
enum SessionId_t : std::uint32_t {
    SessionParameters = 0,   // "Common"
    SessionCertificates = 1, // "Certificates"
    SessionTokens = 2,       // "Tokens"
    SessionPolicy = 3,       // "Common"
    SessionMonitor = 4,      // "Monitor"
    SessionInterfaces = 5,   // "Common"
};

class PANELKIT_EXPORT SessionsPool {
public:
    // Closes all sessions, slot by slot. Runs at process exit for the pool of the process.
    ~SessionsPool();
    SessionsPool(const SessionsPool&) = delete;
    // Copies the pointers as they are; both pools then hold the same sessions.
    SessionsPool& operator=(const SessionsPool&) = default;

    // The pooled session for `id`, opened if needed. When the pooled one is broken the service went away, so
    // every session of the process is stale: all are closed before a new one is opened. Null when the bridge
    // can open none (an unusable endpoint). The pool owns the session.
    static BridgeSession* GetSession(SessionId_t id);

    // As GetSession, but takes the session out of the pool: the caller has it alone until UnlockSession.
    // Others who ask for `id` meanwhile get a freshly opened session.
    static BridgeSession* LockSession(SessionId_t id);

    // Hands a locked session back. It returns to the pool if it is healthy and its place is still empty;
    // otherwise it is closed. `session` must not be null.
    static void UnlockSession(SessionId_t id, BridgeSession* session);

    // Closes the pooled session for `id`, if there is one; the next GetSession opens another.
    static void CloseSession(SessionId_t id);

private:
    friend struct SessionsPoolProbe; // the tests' look inside

    SessionsPool() = default;
    static SessionsPool& instance();
    void closeAll();

    std::array<BridgeSession*, 7> slots_{};
};
