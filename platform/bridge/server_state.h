// SPDX-License-Identifier: MIT
//
// The state of a server: its sessions, each with a thread of its own, and what accounts have taken. For server.cpp and
// server_sessions.cpp.
#pragma once

#include <platform/bridge/account_budget.h>
#include <platform/bridge/server.h>
#include <platform/bridge/server_connection.h>
#include <platform/system/guarded.h>

#include <condition_variable>
#include <list>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace bridge::server {

// An exception from the service ends only the session in which it was thrown: memory and threads may run out at any
// moment.
template <class Work>
void guarded(Work&& work) {
    try {
        work();
    } catch (...) { // NOLINT(bugprone-empty-catch): see above
    }
}

struct Server::State {
    State(const std::string& endpoint, Service& serviceIn, Options optionsIn);

    // What the session of an account has taken. It is given back with this object, at the end of the session.
    struct Place {
        Place(State& state, const std::string& account, bool privileged)
            : connection(state.connections, account, privileged),
              receiver(state.receivers, account, privileged),
              bytes(state.transfers, account, privileged) {}

        AccountBudget::Share connection, receiver, bytes;
    };

    // One for each accepted connection. The connection is reset when the session has ended; the thread is joined later.
    struct Member {
        std::shared_ptr<Connection> connection;
        std::thread thread;
        bool ended = false;
    };
    struct AttachedReceiver {
        std::shared_ptr<PushLine> line;
        Connection* connection;
    };
    struct Sessions {
        std::list<Member> members;
        std::list<AttachedReceiver> receivers; // among them
        std::uint64_t lastNumber = 0;
        bool stopping = false;

        bool haveEnded() const;
    };

    Service& service;
    const Options options;
    AccountBudget arrivals; // connections that were not admitted yet, in the limits of `connections`
    AccountBudget connections, receivers, transfers;
    Listener listener;
    platform::Guarded<Sessions> sessions;
    std::condition_variable changed;

    // ---- server.cpp

    void add(Listener::Accepted accepted);
    void finish(const Connection& connection, Member& member);
    void reap();
    void keepAlive();
    bool endAll();
    std::vector<AttachedReceiver> receiversNow();

    // ---- server_sessions.cpp: on the session's own thread

    void serve(Connection& connection);
    void serveCommands(Connection& connection, const Hello& hello, Place& place);
    Verdict judge(const Connection& connection, std::optional<Place>& place, Loc::Phrase& why);
    Verdict judge(const std::optional<Hello>& hello, Place& place, Loc::Phrase& why) const;
    std::optional<Hello> readHello(Connection& connection, Patience limit) const;
    std::optional<Hello> shakeHands(Connection& connection, std::optional<Place>& place);
    bool welcome(Connection& connection, const Welcome& welcome, Patience limit);
    bool serveCommand(Connection& connection, Session& session, Place& place);
    void enlist(Connection& connection);
    void delist(const Connection& connection);
    void serveReceiver(Connection& connection, Place& place);
    bool takeAnswer(Connection& connection, Place& place);
    Answer answer(Session& session, const Request& request);
    bool send(Connection& connection, const Session& session, const FrameHeader& request, Answer answer, Place& place);
    Patience patience() const { return {options.silence}; }
};

} // namespace bridge::server
