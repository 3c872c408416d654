// SPDX-License-Identifier: MIT
#include <panelkit/bridge/sessions_pool.h>

#include <panelkit/bridge/transcript.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>

namespace {

// The names of the slots' sessions. Slot 3 is never selected, 5 and 6 are never opened.
constexpr std::array<const char*, 7> slotNames = {"Common", "Certificates", "Tokens", "LSP", "Monitor", "", ""};

constexpr std::size_t slotOf(SessionId_t id) {
    switch (id) {
    case SessionCertificates: return 1;
    case SessionTokens: return 2;
    case SessionMonitor: return 4;
    default: return 0;
    }
}

} // namespace

SessionsPool& SessionsPool::instance() {
    [[maybe_unused]] static const bool obeyed = (panelkit::obeyTranscriptVariable(), true);
    static SessionsPool pool;
    return pool;
}

SessionsPool::~SessionsPool() { closeAll(); }

void SessionsPool::closeAll() {
    for (BridgeSession*& session : slots_) {
        CommandSender::Instance().CloseSession(session);
        session = nullptr;
    }
}

BridgeSession* SessionsPool::GetSession(SessionId_t id) {
    SessionsPool& pool = instance();
    const std::size_t slot = slotOf(id);
    BridgeSession*& session = pool.slots_[slot];
    if (session && session->broken() == 0) return session;
    if (session) pool.closeAll();
    session = CommandSender::Instance().OpenNewSession(slotNames[slot], 1);
    return session;
}

BridgeSession* SessionsPool::LockSession(SessionId_t id) {
    BridgeSession* session = GetSession(id);
    instance().slots_[slotOf(id)] = nullptr;
    return session;
}

void SessionsPool::UnlockSession(SessionId_t id, BridgeSession* session) {
    BridgeSession*& slot = instance().slots_[slotOf(id)];
    if (session->broken() == 0 && !slot) {
        slot = session;
    } else {
        CommandSender::Instance().CloseSession(session);
    }
}

void SessionsPool::CloseSession(SessionId_t id) {
    BridgeSession*& slot = instance().slots_[slotOf(id)];
    CommandSender::Instance().CloseSession(slot);
    slot = nullptr;
}
