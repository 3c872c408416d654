// SPDX-License-Identifier: MIT
//
// A service for tests: it serves a real socket or pipe, records the requests, and answers as the test says, including
// faults. Front-end teams can test with it without a daemon.
//
//   panelkit::testing::ScriptedService service;
//   service.answer<panelkit::Command::TokenLogin>(true);
//   CommandSender::Instance().SetEndpoint(service.endpoint());
//   ... log in ...
//   EXPECT_EQ(service.requests().at(0).payload, ...);
//
// Commands without a script are refused. Members may be called from any thread while the service runs.
#pragma once

#include <panelkit/bridge/payload.h>
#include <platform/bridge/failure.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace panelkit::testing {

// A request as it arrived.
struct Received {
    std::string session; // the session's name from the hello
    std::uint32_t module = 0;
    std::uint32_t command = 0;
    std::string payload;
};

// What the service does with a request.
struct Reaction {
    enum class Kind : unsigned char {
        reply,
        refuse,
        cutBefore, // close the connection without an answer
        cutInside, // close it after `bytes` bytes of the reply frame's body
        cutAfter,  // close it after a whole reply
        claim,     // send the header of a reply of `bytes` bytes, and no body
        silence,   // never answer
        raw,       // send `text` as it is, which need not be a frame
    };
    Kind kind = Kind::refuse;
    std::string text{};      // the reply's payload, or the refusal's text
    std::uint32_t bytes = 0; // see above; of a refusal, the module's number for the reason
    std::chrono::milliseconds delay{0};
    unsigned signsOfLife = 0;              // still-working frames, spread over the delay
    std::vector<bridge::Remark> remarks{}; // sent before the reply or refusal
    struct Frame {
        std::uint32_t kind = 0; // bridge::FrameKind, or an unknown value
        std::string body;
        std::uint32_t tagShift = 0; // added to the request's tag
    };
    std::vector<Frame> frames{}; // sent after the remarks, even if they are not allowed there

    static Reaction reply(std::string payload) { return {Kind::reply, std::move(payload)}; }
    static Reaction refuse(std::string text = "refused by the script", std::uint32_t detail = 0) {
        return {Kind::refuse, std::move(text), detail};
    }
    static Reaction cutBefore() { return {Kind::cutBefore}; }
    static Reaction cutInside(std::string payload, std::uint32_t bytes) {
        return {Kind::cutInside, std::move(payload), bytes};
    }
    static Reaction cutAfter(std::string payload) { return {Kind::cutAfter, std::move(payload)}; }
    static Reaction claim(std::uint32_t bytes) { return {Kind::claim, {}, bytes}; }
    static Reaction silence() { return {Kind::silence}; }
    static Reaction raw(std::string bytes) { return {Kind::raw, std::move(bytes)}; }

    // Returns the same, with one more remark before it.
    Reaction remarking(std::uint32_t code, Loc::Phrase phrase) const {
        Reaction more = *this;
        more.remarks.push_back({code, std::move(phrase)});
        return more;
    }

    // Returns the same, with one more frame before it.
    Reaction behind(Frame frame) const {
        Reaction more = *this;
        more.frames.push_back(std::move(frame));
        return more;
    }

    // Returns the same after a delay, with a number of still-working frames during it.
    Reaction after(std::chrono::milliseconds time, unsigned working = 0) const {
        Reaction later = *this;
        later.delay = time;
        later.signsOfLife = working;
        return later;
    }
};

// The answer to a notification.
struct PushResult {
    enum class Kind : unsigned char { handled, notHandled, noAnswer } kind = Kind::noAnswer;
    std::string reply;
    bool operator==(const PushResult&) const = default;
};

// The answer to a hello.
struct Greeting {
    std::uint32_t version = 2;       // of the protocol, sent to the client; 1 refuses clients with a later one
    std::uint32_t verdict = 0;       // bridge::Verdict; 0 accepts
    std::string text;                // the reason of a refusal
    std::vector<bridge::Remark> why; // the same as remarks
    bool silent = false;             // never welcomes
    std::string raw;                 // sent instead of a welcome, when not empty
    std::uint32_t frameLimit = 64U << 20;
};

class ScriptedService {
public:
    using Script = std::function<Reaction(const Received&)>;

    // Starts serving, at an endpoint of its own unless one is given. Throws std::runtime_error when that fails.
    ScriptedService();
    explicit ScriptedService(const std::string& endpoint);
    ~ScriptedService(); // closes all connections
    ScriptedService(const ScriptedService&) = delete;
    ScriptedService& operator=(const ScriptedService&) = delete;

    const std::string& endpoint() const;

    // Sets the reaction to a command from now on. A script runs on the connection's thread.
    void on(Command command, Reaction reaction);
    void on(Command command, Script script);
    // The same, for a reply with these fields, which must be those of the command's row.
    template <Command command, class... Given>
    void answer(const Given&... given) {
        on(command, Reaction::reply(encodeReply<command>(given...)));
    }

    // Sets the answer to the hello of later connections.
    void greet(Greeting greeting);

    // Returns all requests so far, in order.
    std::vector<Received> requests() const;
    // Return the names of the sessions that were opened, and of those that have ended, in order.
    std::vector<std::string> opened() const;
    std::vector<std::string> closed() const;
    // Waits until `count` sessions have ended; returns false after ten seconds.
    bool waitForClosed(std::size_t count) const;

    // Waits until a receiver of notifications is connected; returns false after ten seconds.
    bool waitForReceiver() const;
    // Sends a notification to the receiver that connected last, and waits for its answer. Several threads may push at
    // once.
    PushResult push(std::int32_t id, const std::string& payload,
                    std::chrono::milliseconds limit = std::chrono::seconds(10));

    // Closes all connections, as when a service dies; new ones are still accepted.
    void cutAll();

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Returns an endpoint that is used nowhere else: a socket in a private folder, or a pipe.
std::string uniqueEndpoint();

} // namespace panelkit::testing
