// SPDX-License-Identifier: MIT
//
// How controllers talk to the service: a short command directly, a long one with an idle hook. A controller method
// says only what differs: which command, its fields, and how its reply is read.
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <panelkit/bridge/commands.h>
#include <panelkit/bridge/sessions_pool.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/send_command_progress.h>

#include <string>

namespace panelkit {

// A command that is sent and answered on the calling thread, over the pooled session of its row.
//
//   DirectCommand command(Command::TokenLogout);
//   return command.with(token).send();
class DirectCommand {
public:
    explicit DirectCommand(Command command)
        : DirectCommand(command, SessionsPool::GetSession(commandRow(command).session)) {}
    // Over the session that an earlier command of the same operation took; it may be null.
    DirectCommand(Command command, BridgeSession* session) : row_(commandRow(command)), session_(session) {}
    ~DirectCommand(); // wipes the request, which may have carried a secret
    DirectCommand(const DirectCommand&) = delete;
    DirectCommand& operator=(const DirectCommand&) = delete;

    // Null when no session can be opened; send() then answers false and sends nothing.
    BridgeSession* session() const { return session_; }

    // Appends the fields to the request.
    template <class... Fields>
    DirectCommand& with(const Fields&... fields) {
        CommandStreamOut(request_).append(fields...);
        return *this;
    }

    // Appends bytes that are in stream form already.
    DirectCommand& withEncoded(std::string_view bytes) {
        request_ += bytes;
        return *this;
    }

    // True when the module answered. `reply` is null when no answer is wanted.
    bool send(std::string* reply = nullptr);

private:
    const CommandRow& row_;
    BridgeSession* session_;
    std::string request_;
};

// A session that is ours alone while a long command runs.
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

// A command that runs while `idle` is called. The session may be null: it then fails without sending.
//
//   const LockedSession session(SessionTokens);
//   ProgressCommand command(Command::TokensReloadAll, session.get(), *this);
//   return command.execute();
class ProgressCommand {
public:
    ProgressCommand(Command command, BridgeSession* session, SendCommandProgress::IdleLoop& idle)
        : progress_(session, commandRow(command).module, commandRow(command).code, &idle) {}

    template <class... Fields>
    ProgressCommand& with(const Fields&... fields) {
        CommandStreamOut(progress_.payload).append(fields...);
        return *this;
    }

    bool execute() { return progress_.Execute(); }

    // As execute, but an answer without a byte counts as none.
    bool executeForData() { return execute() && !reply().empty(); }

    // Valid after execute() gave true.
    const std::string& reply() const { return progress_.reply; }

private:
    SendCommandProgress progress_;
};

// The status byte that acting commands answer first: success is 1 and nothing else. An empty reply throws
// "CommandStreamError".
bool readStatus(const std::string& reply);

} // namespace panelkit
