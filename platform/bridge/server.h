// SPDX-License-Identifier: MIT
//
// The service's side of the bridge: accepts sessions, identifies their accounts, runs their commands.
//
// Every session has a thread of its own, so a slow command, or a client that neither reads nor writes, does not delay
// others; one command runs at a time per session. There may be limits on the number of connections and on what they
// transfer, for all accounts together and for each. A client beyond them hears so at once.
//
//   class Echo : public bridge::server::Service {
//       bool admits(const bridge::Peer&) override { return true; }
//       Answer handle(Session&, const Request& request) override { return Answer::reply(request.payload); }
//   };
//   Echo echo;
//   bridge::server::Server server("/run/echo.sock", echo, {});
//   server.run(); // until another thread calls stop()
#pragma once

#include <platform/bridge/account_budget.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/listener.h>
#include <platform/bridge/messages.h>
#include <platform/bridge/push_line.h>

#include <any>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace bridge::server {

// A client's session, as the service sees it. Used on the session's own thread only.
struct Session {
    std::uint64_t number = 0; // unique for the life of the server
    std::string name;         // given by the client
    Peer peer;
    std::uint32_t version = protocolVersion; // of the protocol; the newest that both sides support
    std::any state;                          // for the service's use; destroyed when the session ends
};

struct Request {
    std::uint32_t module = 0;
    std::uint32_t command = 0;
    std::string& payload; // the service may move it away; what is left is wiped when the command is answered
};

// The end of a command: a reply or a refusal, with the service's remarks on it. Clients that speak an older version of
// the protocol do not receive the remarks.
struct Answer {
    std::variant<std::string, Refusal> content;
    std::vector<Remark> remarks;

    static Answer reply(std::string payload, std::vector<Remark> remarks = {}) {
        return {std::move(payload), fitted(std::move(remarks))};
    }
    // The remarks are the reasons, first what and then why; in English they are the refusal's text.
    static Answer refused(RefusalReason reason, std::vector<Remark> why, std::uint32_t detail = 0) {
        why = fitted(std::move(why));
        std::string text = Loc::fill(phrasesOf(why));
        return {Refusal{reason, detail, std::move(text)}, std::move(why)};
    }
    // With a reason without a number.
    static Answer refused(RefusalReason reason, Loc::Phrase phrase) {
        return refused(reason, std::vector<Remark>{{0, std::move(phrase)}});
    }
};

// What the server calls in the service. All members but admits() are called on the threads of sessions, several at
// once; an exception from them ends the session.
class Service {
public:
    virtual ~Service() = default;

    // Whether this account may use the service. Called before any data from the client is evaluated.
    virtual bool admits(const Peer& peer) = 0;

    // Whether this account may use what is reserved in the limits: an administrator, who must get in when others have
    // taken all the rest.
    virtual bool hasReserve(const Peer&) { return false; }

    virtual Answer handle(Session& session, const Request& request) = 0;

    // The grace at the end is over: commands that are still under way must end now. Called once at most, by run().
    virtual void hurry() {}

    // The session ended, for whatever reason.
    virtual void ended(Session&) {}

    // A receiver does not read its notifications fast enough and is closed. Called once per receiver, on the thread
    // that pushes.
    virtual void lagged(const Peer&) {}

    // A connection was refused in its handshake. `peer` has no user when the system does not report it.
    virtual void turnedAway(const Peer&, Verdict) {}
};

struct Options {
    ListenOptions listen;
    std::string service = "panelkitd"; // name and version, sent to clients
    std::uint32_t frameLimit = defaultFrameLimit;
    BudgetLimits connections; // number
    BudgetLimits receivers;   // number of the receivers among them
    BudgetLimits transfers;   // bytes of requests that have arrived, until they are answered, and of large replies
    std::uint32_t handshakeWait = 5'000;   // milliseconds for a whole hello
    std::uint32_t silence = 30'000;        // milliseconds without a byte within a frame
    std::uint32_t answerWait = 60'000;     // milliseconds in which a client must have read a whole answer
    std::uint32_t workingInterval = 5'000; // milliseconds between still-working frames
    PushLimits push;
    std::chrono::milliseconds grace{10'000}; // for commands under way when the server stops
};

class Server {
public:
    // Throws std::runtime_error when the endpoint can't be served (see Listener).
    Server(const std::string& endpoint, Service& service, Options options);
    // Only after run() has returned true or was never called: all sessions must have ended.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Serves until stop() is called. Then no new command is begun, commands in progress are finished and answered, and
    // all sessions are closed, at the end of the grace also those whose client does not read its answer. Returns false
    // when a command did not end within the grace: the process must then exit without destroying the server.
    bool run();

    // From any thread, also before run(). Not from a signal handler.
    void stop();

    // Sends a notification to all receivers that are connected now. Returns at once; from any thread.
    void push(Push notification);

    // Waits until all notifications are sent and answered, at most for that time.
    void drainPushes(std::chrono::milliseconds time);

    // What the accounts have taken at present: connections before and after they were admitted, receivers, bytes.
    struct Usage {
        std::uint64_t arrivals = 0, connections = 0, receivers = 0, transfers = 0;
        bool operator==(const Usage&) const = default;
    };
    Usage usage() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace bridge::server
