// SPDX-License-Identifier: MIT
//
// SessionsPool keeps one open bridge session per kind of work for the whole process. It opens a session when it is
// first needed, opens it again after it broke, and lends a session out exclusively for a long command.
//
// Threads: the pool takes no lock. Only the one thread of a front end that talks to the service may call it. Only its
// creation is safe from several threads at once.
#pragma once

#include <platform/export.h>

#include <array>
#include <cstdint>

class BridgeSession;

// Which session a controller asks for. 1, 2 and 4 have a session of their own; every other value uses the "Common"
// session. This includes 3, the policy controller's: the slot "LSP" exists but is never used, because policy commands
// must arrive over "Common".
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
    // Closes all sessions, slot by slot. The pool of the process does so when the process exits.
    ~SessionsPool();
    SessionsPool(const SessionsPool&) = delete;
    // Copies the pointers; both pools then hold the same sessions.
    SessionsPool& operator=(const SessionsPool&) = default;

    // Returns the pooled session for `id` and opens it if needed. A broken session means that the service went away, so
    // every session of the process is stale: all of them are closed before a new one is opened. Returns null when no
    // session can be opened (an unusable endpoint). The pool owns the session.
    static BridgeSession* GetSession(SessionId_t id);

    // As GetSession, but removes the session from the pool: the caller has it alone until UnlockSession. If the same
    // `id` is asked for in the meantime, a new session is opened.
    static BridgeSession* LockSession(SessionId_t id);

    // Gives a locked session back. It returns to the pool if it still works and its slot is empty; otherwise it is
    // closed. `session` must not be null.
    static void UnlockSession(SessionId_t id, BridgeSession* session);

    // Closes the pooled session for `id`, if there is one; the next GetSession opens another.
    static void CloseSession(SessionId_t id);

private:
    friend struct SessionsPoolProbe; // for tests

    SessionsPool() = default;
    static SessionsPool& instance();
    void closeAll();

    std::array<BridgeSession*, 7> slots_{};
};
