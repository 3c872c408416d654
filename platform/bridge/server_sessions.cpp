// SPDX-License-Identifier: MIT
//
// The sessions of a server. Everything here runs on the session's own thread.
#include <platform/bridge/server_state.h>

#include <platform/system/wipe.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace bridge::server {

namespace {

// Bytes that were charged to the account, until release() or the end of this object.
class Charge {
public:
    Charge(AccountBudget::Share& share, std::uint64_t bytes) : share_(share), bytes_(bytes) {}
    ~Charge() { release(); }
    Charge(const Charge&) = delete;
    Charge& operator=(const Charge&) = delete;

    void release() { share_.giveBack(std::exchange(bytes_, 0)); }

private:
    AccountBudget::Share& share_;
    std::uint64_t bytes_;
};

} // namespace

void Server::State::serve(Connection& connection) {
    guarded([&] {
        std::optional<Place> place;
        const std::optional<Hello> hello = shakeHands(connection, place);
        if (!hello) return;
        if (hello->role == Role::receiver) return serveReceiver(connection, *place);
        serveCommands(connection, *hello, *place);
    });
    delist(connection);
}

void Server::State::serveCommands(Connection& connection, const Hello& hello, Place& place) {
    Session session;
    session.number = ++sessions.lock()->lastNumber;
    session.name = hello.name;
    session.peer = connection.peer;
    session.version = std::min(hello.version, protocolVersion);
    guarded([&] {
        while (serveCommand(connection, session, place)) {}
    });
    guarded([&] { service.ended(session); });
}

// ---- the handshake

// Whether the account is admitted. Uses only what the operating system reports. Connections that wait for this answer
// count as well: to look up an account may take long, and strangers must not fill the service meanwhile.
Verdict Server::State::judge(const Connection& connection, std::optional<Place>& place, Loc::Phrase& why) {
    const Peer& peer = connection.peer;
    why = Loc::makePhrase("too many sessions are open");
    AccountBudget::Share arrival(arrivals, peer.user, peer.superuser);
    if (connection.isLast || !arrival.take(1)) return Verdict::overloaded;
    try {
        if (!peer.user.empty() && service.admits(peer)) {
            place.emplace(*this, peer.user, service.hasReserve(peer));
            return place->connection.take(1) ? Verdict::accepted : Verdict::overloaded;
        }
    } catch (const std::exception&) { // no memory or no descriptor was left to look the account up
        return Verdict::overloaded;
    }
    why = Loc::makePhrase("%s may not use this service", displayName(peer));
    return Verdict::accessDenied;
}

// Whether the hello can be accepted. A front end with newer versions supports ours too.
Verdict Server::State::judge(const std::optional<Hello>& hello, Place& place, Loc::Phrase& why) const {
    if (!hello) return Verdict::malformed;
    const bool roleKnown = hello->role == Role::commandSession || hello->role == Role::receiver;
    if (hello->version < oldestProtocolVersion || !roleKnown) return Verdict::versionMismatch;
    if (hello->role == Role::commandSession || place.receiver.take(1)) return Verdict::accepted;
    why = Loc::makePhrase("too many sessions are open");
    return Verdict::overloaded;
}

// Reads the hello; returns nullopt when it is missing or malformed.
std::optional<Hello> Server::State::readHello(Connection& connection, Patience limit) const {
    FrameHeader header;
    std::string body;
    if (connection.reader.readHeader(header, limit.overall, limit) != FrameStatus::done) return std::nullopt;
    if (header.kind != FrameKind::hello) return std::nullopt;
    if (connection.reader.readBody(header, body, helloLimit, limit) != FrameStatus::done) return std::nullopt;
    return decodeHello(body);
}

std::optional<Hello> Server::State::shakeHands(Connection& connection, std::optional<Place>& place) {
    Welcome answer{protocolVersion, Verdict::accepted, options.frameLimit, options.service, {}};
    const Patience limit{options.handshakeWait, after(options.handshakeWait)};
    Loc::Phrase why;

    // Windows reports the client of a pipe only after something was read from it.
    connection.peer = connection.channel->peer();
    const bool known = !connection.peer.user.empty();
    if (known) answer.verdict = judge(connection, place, why);
    std::optional<Hello> hello;
    if (answer.verdict == Verdict::accepted) hello = readHello(connection, limit);
    if (!known) {
        connection.peer = connection.channel->peer();
        answer.verdict = judge(connection, place, why);
    }

    if (answer.verdict == Verdict::accepted) {
        why = {};
        answer.verdict = judge(hello, *place, why);
    }
    if (!why.wording.empty()) answer.why = {{0, std::move(why)}};
    if (answer.verdict == Verdict::accepted) {
        answer.version = std::min(hello->version, protocolVersion);
        if (hello->role == Role::receiver) enlist(connection);
    } else {
        service.turnedAway(connection.peer, answer.verdict);
    }
    return welcome(connection, answer, limit) ? hello : std::nullopt;
}

// Returns whether the client was accepted and knows it.
bool Server::State::welcome(Connection& connection, const Welcome& welcome, Patience limit) {
    Welcome told = welcome;
    told.text = Loc::fill(phrasesOf(told.why));
    const IoStatus written = writeFrame(*connection.channel, {.kind = FrameKind::welcome}, encode(told), limit);
    return written == IoStatus::done && told.verdict == Verdict::accepted;
}

// ---- commands

// Reads and answers one command; returns false when the session is over.
bool Server::State::serveCommand(Connection& connection, Session& session, Place& place) {
    FrameHeader header;
    if (connection.reader.readHeader(header, never, patience()) != FrameStatus::done) return false;
    if (header.kind != FrameKind::request) return false;

    std::string payload;
    const platform::WipeOnExit wiped(payload);
    const FrameStatus status =
        connection.reader.readBody(header, payload, options.frameLimit, patience(), &place.bytes);
    Charge charge(place.bytes, place.bytes.taken());
    const auto refused = [&](RefusalReason reason, Loc::Phrase why) { // the session ends: the rest may not be read yet
        send(connection, session, header, Answer::refused(reason, std::move(why)), place);
        return false;
    };
    if (status == FrameStatus::tooLarge) {
        return refused(RefusalReason::tooLarge, Loc::makePhrase("the request is too large"));
    }
    if (status == FrameStatus::overBudget) {
        return refused(RefusalReason::tooLarge, Loc::makePhrase("too much is under way for this account already"));
    }
    if (status != FrameStatus::done) return false;
    if (!connection.beginCommand(header.tag)) {
        return refused(RefusalReason::stopping, Loc::makePhrase("the service is stopping"));
    }
    Answer result = answer(session, {header.module, header.command, payload});
    platform::wipe(payload); // before the client can know that the command has ended
    payload = std::string();
    charge.release();
    return send(connection, session, header, std::move(result), place);
}

Answer Server::State::answer(Session& session, const Request& request) {
    try {
        return service.handle(session, request);
    } catch (const std::exception& error) {
        return Answer::refused(RefusalReason::byModule, Loc::verbatim(error.what()));
    }
}

bool Server::State::send(Connection& connection, const Session& session, const FrameHeader& request, Answer answer,
                         Place& place) {
    const auto* built = std::get_if<std::string>(&answer.content);
    const std::uint64_t size = built && built->size() >= chargedFrom ? built->size() : 0;
    if (size > defaultFrameLimit) {
        answer = Answer::refused(RefusalReason::tooLarge, Loc::makePhrase("the reply is too large"));
    } else if (!place.bytes.take(size)) { // replies that are not read
        answer =
            Answer::refused(RefusalReason::tooLarge, Loc::makePhrase("too much is under way for this account already"));
    }
    const bool remarks = session.version >= remarksSince && !answer.remarks.empty();
    const std::string remarked = remarks ? encode(answer.remarks) : std::string();
    const Patience limit{options.silence, after(options.answerWait)};
    FrameHeader header = request;
    if (const auto* refusal = std::get_if<Refusal>(&answer.content)) {
        header.kind = FrameKind::refused;
        return connection.answer(header, encode(*refusal), remarked, limit);
    }
    const Charge charge(place.bytes, size);
    header.kind = FrameKind::reply;
    std::string& reply = std::get<std::string>(answer.content);
    const platform::WipeOnExit wiped(reply); // it may hold a secret
    return connection.answer(header, reply, remarked, limit);
}

// ---- receivers

// Done before the receiver is welcomed: notifications that are pushed after the receiver knows that it is attached must
// reach it. Nothing is sent before the line runs.
void Server::State::enlist(Connection& connection) {
    connection.line = std::make_shared<PushLine>(*connection.channel, options.push);
    sessions.lock()->receivers.push_back({connection.line, &connection});
}

void Server::State::delist(const Connection& connection) {
    sessions.lock()->receivers.remove_if([&](const AttachedReceiver& one) { return one.connection == &connection; });
}

// The session's own thread reads the answers; the line's thread sends the notifications.
void Server::State::serveReceiver(Connection& connection, Place& place) {
    PushLine& line = *connection.line;
    std::thread sender([&] {
        guarded([&] { line.run(); });
        connection.channel->close();
    });
    guarded([&] {
        while (takeAnswer(connection, place)) {}
    });
    delist(connection);
    connection.channel->close();
    line.end();
    sender.join();
}

bool Server::State::takeAnswer(Connection& connection, Place& place) {
    FrameHeader header;
    std::string reply;
    if (connection.reader.readHeader(header, never, patience()) != FrameStatus::done) return false;
    const bool handled = header.kind == FrameKind::pushAnswered;
    if (!handled && header.kind != FrameKind::pushRefused) return false;
    const FrameStatus status = connection.reader.readBody(header, reply, options.frameLimit, patience(), &place.bytes);
    const Charge charge(place.bytes, place.bytes.taken());
    if (status != FrameStatus::done) return false;
    connection.line->answered(header.tag, handled ? PushOutcome::handled : PushOutcome::notHandled, reply);
    return true;
}

} // namespace bridge::server
