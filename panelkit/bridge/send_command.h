// SPDX-License-Identifier: MIT
//
// How controllers talk to the service: a short command directly, a long one with an idle hook. A controller method
// says only what differs: which command, its fields, and how its reply is read. Fields that are not those of the
// command's row don't compile.
#pragma once

#include <panelkit/bridge/payload.h>
#include <panelkit/bridge/sessions_pool.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/send_command_progress.h>

#include <cstdint>
#include <string>

namespace panelkit {

// A request that is sent and answered on the calling thread: what all DirectCommands have in common.
class DirectRequest {
public:
    ~DirectRequest(); // wipes the request, which may have carried a secret
    DirectRequest(const DirectRequest&) = delete;
    DirectRequest& operator=(const DirectRequest&) = delete;

    // Null when no session can be opened; send() then sends nothing and returns false.
    BridgeSession* session() const { return session_; }

    // True when the module answered. `reply` is null when no answer is wanted.
    bool send(std::string* reply = nullptr);

protected:
    DirectRequest(const CommandRow& row, BridgeSession* session) : row_(row), session_(session) {}

    std::string request_;

private:
    const CommandRow& row_;
    BridgeSession* session_;
};

// A command over the pooled session of its row.
//
//   return DirectCommand<Command::TokenLogout>().with(token).send();
template <Command command>
class DirectCommand : public DirectRequest {
public:
    DirectCommand() : DirectCommand(SessionsPool::GetSession(commandRow(command).session)) {}
    // Over the session that an earlier command of the same operation took; it may be null.
    explicit DirectCommand(BridgeSession* session) : DirectRequest(commandRow(command), session) {}

    // Writes the request: all its fields, in one call.
    template <class... Given>
    DirectCommand& with(const Given&... given) {
        appendRequest<command>(request_, given...);
        return *this;
    }

    // Reads the first fields of the reply, or all of them.
    template <class... Given>
    static void read(const std::string& reply, Given&... fields) {
        readReply<command>(reply, fields...);
    }
    static bool readStatus(const std::string& reply) { return panelkit::readStatus<command>(reply); }
};

// Exclusive use of a session for the duration of a long command.
class LockedSession {
public:
    explicit LockedSession(SessionId_t id) : id_(id), session_(SessionsPool::LockSession(id)) {}
    ~LockedSession() {
        if (session_) SessionsPool::UnlockSession(id_, session_);
    }
    LockedSession(const LockedSession&) = delete;
    LockedSession& operator=(const LockedSession&) = delete;

    BridgeSession* get() const { return session_; }

private:
    SessionId_t id_;
    BridgeSession* session_;
};

// Removes the time limit of a session, and restores it at the end of the scope.
class UnlimitedWait {
public:
    explicit UnlimitedWait(BridgeSession& session) : session_(session), saved_(session.waitSetting()) {
        session_.setWaitSetting(0);
    }
    ~UnlimitedWait() { session_.setWaitSetting(saved_); }
    UnlimitedWait(const UnlimitedWait&) = delete;
    UnlimitedWait& operator=(const UnlimitedWait&) = delete;

private:
    BridgeSession& session_;
    std::uint32_t saved_;
};

// A command that runs while `idle` is called. The session may be null: it then fails without sending.
//
//   const LockedSession session(SessionTokens);
//   ProgressCommand<Command::TokensReloadAll> reload(session.get(), *this);
//   return reload.execute();
template <Command command>
class ProgressCommand {
public:
    ProgressCommand(BridgeSession* session, SendCommandProgress::IdleLoop& idle)
        : progress_(session, commandRow(command).module, commandRow(command).code, &idle) {}

    // Writes the request: all its fields, in one call.
    template <class... Given>
    ProgressCommand& with(const Given&... given) {
        appendRequest<command>(progress_.payload, given...);
        return *this;
    }

    bool execute() { return progress_.Execute(); }

    // As execute, but an empty reply counts as no reply.
    bool executeForData() { return execute() && !reply().empty(); }

    // Valid after execute() returned true.
    const std::string& reply() const { return progress_.reply; }

    // Reads the first fields of the reply, or all of them.
    template <class... Given>
    void read(Given&... fields) const {
        readReply<command>(reply(), fields...);
    }
    bool readStatus() const { return panelkit::readStatus<command>(reply()); }

private:
    SendCommandProgress progress_;
};

} // namespace panelkit
