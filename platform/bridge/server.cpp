// SPDX-License-Identifier: MIT
#include <platform/bridge/server.h>

#include <platform/system/wipe.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace bridge::server {

namespace {

// After the grace: time for sessions to notice that their connection was closed.
constexpr auto cutOffWait = std::chrono::milliseconds(500);

// When memory runs out, accepting again at once would only keep the processor busy.
constexpr auto pauseAfterFailure = std::chrono::milliseconds(50);

// A connection and the command in progress on it: shared by the session's thread and the server's threads.
class Connection {
public:
    explicit Connection(std::unique_ptr<Channel> connected) : channel(std::move(connected)), reader(*channel) {}

    // Marks a command as begun. Returns false when the server is stopping.
    bool beginCommand(std::uint32_t tag) {
        const std::scoped_lock lock(mutex_);
        if (stopping_) return false;
        busySince_ = Clock::now();
        tag_ = tag;
        return true;
    }

    // Ends the command and sends its answer, after its remarks if there are any. Returns false when the session is over
    // too. The lock is not held while the answer is written, because a client that reads slowly makes this take long;
    // no other thread writes after the command has ended.
    bool answer(const FrameHeader& header, std::string_view body, std::string_view remarks, Patience patience) {
        {
            const std::scoped_lock lock(mutex_);
            busySince_.reset();
            answering_ = true;
        }
        IoStatus sent = IoStatus::done;
        if (!remarks.empty()) {
            sent = writeFrame(*channel, {.kind = FrameKind::remarks, .tag = header.tag}, remarks, patience);
        }
        if (sent == IoStatus::done) sent = writeFrame(*channel, header, body, patience);
        const std::scoped_lock lock(mutex_);
        answering_ = false;
        return sent == IoStatus::done && !stopping_;
    }

    // Tells the client that its command is still running, if the last sign of life is older than the interval. The
    // write does not block: a client that has no room for so few bytes is disconnected.
    void showWorking(std::chrono::milliseconds interval) {
        const std::scoped_lock lock(mutex_);
        if (!busySince_ || Clock::now() - *busySince_ < interval) return;
        busySince_ = Clock::now();
        const FrameHeader header{.kind = FrameKind::working, .tag = tag_};
        if (writeFrame(*channel, header, {}, {0, Clock::now()}) != IoStatus::done) channel->close();
    }

    // From now on no command is begun. A session that waits for a command, or for the rest of one, ends at once.
    void stop() {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
        if (!busySince_ && !answering_) channel->close();
    }

    const std::unique_ptr<Channel> channel;
    FrameReader reader;              // used by the session's thread only
    std::atomic<bool> lagged{false}; // a receiver that does not keep up; reported already
    Peer peer; // set once by the session's thread, under the server's lock; others read it under that lock
    std::shared_ptr<PushLine> line; // of a receiver; used by the session's thread only

private:
    std::mutex mutex_;                           // guards what follows, and writes while a command runs
    std::optional<Clock::time_point> busySince_; // start of the command, or its last sign of life
    std::uint32_t tag_ = 0;
    bool answering_ = false; // the session's thread writes the answer
    bool stopping_ = false;
};

// Bytes of a request that are charged to the budget of all sessions.
class Charge {
public:
    Charge(BufferBudget& budget, std::uint64_t bytes) : budget_(budget), bytes_(bytes) {}
    ~Charge() { budget_.give(bytes_); }
    Charge(const Charge&) = delete;
    Charge& operator=(const Charge&) = delete;

private:
    BufferBudget& budget_;
    const std::uint64_t bytes_;
};

// An exception from the service ends only the session in which it was thrown: memory and threads may run out at any
// moment.
template <class Work>
void guarded(Work&& work) {
    try {
        work();
    } catch (...) { // NOLINT(bugprone-empty-catch): see above
    }
}

} // namespace

struct Server::State {
    State(const std::string& endpoint, Service& serviceIn, Options optionsIn)
        : service(serviceIn),
          options(std::move(optionsIn)),
          budget(options.bufferLimit),
          listener(endpoint, options.listen) {}

    Service& service;
    const Options options;
    BufferBudget budget;
    Listener listener;

    // One for each accepted connection. The connection is reset when the session has ended; the thread is joined later.
    struct Member {
        std::shared_ptr<Connection> connection;
        std::thread thread;
        bool ended = false;
    };
    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::list<Member> members;
    bool stopping = false;
    std::uint64_t lastNumber = 0;
    // The receivers among them.
    struct Receiver {
        std::shared_ptr<PushLine> line;
        Connection* connection;
    };
    std::list<Receiver> receivers;

    void add(std::unique_ptr<Channel> channel);
    void reap();
    void keepAlive();
    bool endAll();

    void serve(Connection& connection);
    void serveCommands(Connection& connection, const Hello& hello);
    void identify(Connection& connection);
    Verdict judge(const Connection& connection, std::vector<Remark>& why);
    static Verdict judge(const std::optional<Hello>& hello);
    std::optional<Hello> readHello(Connection& connection, Patience limit);
    std::optional<Hello> shakeHands(Connection& connection);
    bool serveCommand(Connection& connection, Session& session);
    void enlist(Connection& connection);
    void delist(const Connection& connection);
    void serveReceiver(Connection& connection);
    bool takeAnswer(Connection& connection, PushLine& line);
    std::vector<Receiver> receiversNow();
    Answer answer(Session& session, const Request& request);
    bool send(Connection& connection, const Session& session, const FrameHeader& request, Answer answer);
    Patience patience() const { return {options.silence}; }
    bool awaitEnds(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds time);
};

// ---- a session, on its own thread

void Server::State::serve(Connection& connection) {
    guarded([&] {
        const std::optional<Hello> hello = shakeHands(connection);
        if (!hello) return;
        if (hello->role == Role::receiver) return serveReceiver(connection);
        serveCommands(connection, *hello);
    });
    delist(connection);
}

void Server::State::serveCommands(Connection& connection, const Hello& hello) {
    Session session;
    {
        const std::scoped_lock lock(mutex);
        session.number = ++lastNumber;
    }
    session.name = hello.name;
    session.peer = connection.peer;
    session.version = std::min(hello.version, protocolVersion);
    guarded([&] {
        while (serveCommand(connection, session)) {}
    });
    guarded([&] { service.ended(session); });
}

void Server::State::identify(Connection& connection) {
    Peer peer = connection.channel->peer();
    const std::scoped_lock lock(mutex);
    connection.peer = std::move(peer);
}

// Whether the account is admitted. Uses only what the operating system reports.
Verdict Server::State::judge(const Connection& connection, std::vector<Remark>& why) {
    if (connection.peer.user.empty() || !service.admits(connection.peer)) {
        why = {{0, Loc::makePhrase("%s may not use this service", displayName(connection.peer))}};
        return Verdict::accessDenied;
    }
    const std::scoped_lock lock(mutex);
    const auto own = std::count_if(members.begin(), members.end(), [&](const Member& member) {
        return member.connection && member.connection->peer.user == connection.peer.user;
    });
    if (members.size() > options.sessions || static_cast<std::size_t>(own) > options.sessionsPerUser) {
        why = {{0, Loc::makePhrase("too many sessions are open")}};
        return Verdict::overloaded;
    }
    return Verdict::accepted;
}

// Whether the hello can be accepted. A front end with newer versions supports ours too.
Verdict Server::State::judge(const std::optional<Hello>& hello) {
    if (!hello) return Verdict::malformed;
    const bool roleKnown = hello->role == Role::commandSession || hello->role == Role::receiver;
    return hello->version >= oldestProtocolVersion && roleKnown ? Verdict::accepted : Verdict::versionMismatch;
}

// Reads the hello; returns nullopt when it is missing or malformed.
std::optional<Hello> Server::State::readHello(Connection& connection, Patience limit) {
    FrameHeader header;
    std::string body;
    if (connection.reader.readHeader(header, limit.overall, limit) != FrameStatus::done) return std::nullopt;
    if (header.kind != FrameKind::hello) return std::nullopt;
    if (connection.reader.readBody(header, body, helloLimit, limit) != FrameStatus::done) return std::nullopt;
    return decodeHello(body);
}

std::optional<Hello> Server::State::shakeHands(Connection& connection) {
    Welcome welcome{protocolVersion, Verdict::accepted, options.frameLimit, options.service, {}};
    const Patience limit{options.handshakeWait, after(options.handshakeWait)};

    // Windows reports the client of a pipe only after something was read from it.
    identify(connection);
    const bool known = !connection.peer.user.empty();
    if (known) welcome.verdict = judge(connection, welcome.why);
    std::optional<Hello> hello;
    if (welcome.verdict == Verdict::accepted) hello = readHello(connection, limit);
    if (!known) {
        identify(connection);
        welcome.verdict = judge(connection, welcome.why);
    }

    if (welcome.verdict == Verdict::accepted) welcome.verdict = judge(hello);
    if (welcome.verdict != Verdict::accepted) {
        service.turnedAway(connection.peer, welcome.verdict);
    } else {
        welcome.version = std::min(hello->version, protocolVersion);
        if (hello->role == Role::receiver) enlist(connection);
    }
    welcome.text = Loc::fill(phrasesOf(welcome.why));
    const IoStatus written = writeFrame(*connection.channel, {.kind = FrameKind::welcome}, encode(welcome), limit);
    if (written != IoStatus::done || welcome.verdict != Verdict::accepted) return std::nullopt;
    return hello;
}

// Reads and answers one command; returns false when the session is over.
bool Server::State::serveCommand(Connection& connection, Session& session) {
    FrameHeader header;
    if (connection.reader.readHeader(header, never, patience()) != FrameStatus::done) return false;
    if (header.kind != FrameKind::request) return false;

    std::string payload;
    const platform::WipeOnExit wiped(payload);
    const FrameStatus status = connection.reader.readBody(header, payload, options.frameLimit, patience(), &budget);
    const Charge charge(budget, payload.size());
    if (status == FrameStatus::tooLarge || status == FrameStatus::overBudget) {
        // The rest of the body is not read, so the session must end.
        send(connection, session, header,
             Answer::refused(RefusalReason::tooLarge, Loc::makePhrase("the request is too large")));
        return false;
    }
    if (status != FrameStatus::done) return false;
    if (!connection.beginCommand(header.tag)) {
        send(connection, session, header,
             Answer::refused(RefusalReason::stopping, Loc::makePhrase("the service is stopping")));
        return false;
    }
    Answer result = answer(session, {header.module, header.command, payload});
    platform::wipe(payload); // before the client can know that the command has ended
    return send(connection, session, header, std::move(result));
}

Answer Server::State::answer(Session& session, const Request& request) {
    try {
        return service.handle(session, request);
    } catch (const std::exception& error) {
        return Answer::refused(RefusalReason::byModule, Loc::verbatim(error.what()));
    }
}

bool Server::State::send(Connection& connection, const Session& session, const FrameHeader& request, Answer answer) {
    if (const auto* reply = std::get_if<std::string>(&answer.content); reply && reply->size() > defaultFrameLimit) {
        answer = Answer::refused(RefusalReason::tooLarge, Loc::makePhrase("the reply is too large"));
    }
    const bool remarks = session.version >= remarksSince && !answer.remarks.empty();
    const std::string remarked = remarks ? encode(answer.remarks) : std::string();
    const Patience limit{options.silence, after(options.answerWait)};
    FrameHeader header = request;
    if (const auto* refusal = std::get_if<Refusal>(&answer.content)) {
        header.kind = FrameKind::refused;
        return connection.answer(header, encode(*refusal), remarked, limit);
    }
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
    const std::scoped_lock lock(mutex);
    receivers.push_back({connection.line, &connection});
}

void Server::State::delist(const Connection& connection) {
    const std::scoped_lock lock(mutex);
    receivers.remove_if([&](const Receiver& receiver) { return receiver.connection == &connection; });
}

// The session's own thread reads the answers; the line's thread sends the notifications.
void Server::State::serveReceiver(Connection& connection) {
    PushLine& line = *connection.line;
    std::thread sender([&] {
        guarded([&] { line.run(); });
        connection.channel->close();
    });
    guarded([&] {
        while (takeAnswer(connection, line)) {}
    });
    delist(connection);
    connection.channel->close();
    line.end();
    sender.join();
}

bool Server::State::takeAnswer(Connection& connection, PushLine& line) {
    FrameHeader header;
    std::string reply;
    if (connection.reader.readHeader(header, never, patience()) != FrameStatus::done) return false;
    const bool handled = header.kind == FrameKind::pushAnswered;
    if (!handled && header.kind != FrameKind::pushRefused) return false;
    const FrameStatus status = connection.reader.readBody(header, reply, options.frameLimit, patience(), &budget);
    const Charge charge(budget, reply.size());
    if (status != FrameStatus::done) return false;
    line.answered(header.tag, handled ? PushOutcome::handled : PushOutcome::notHandled, reply);
    return true;
}

std::vector<Server::State::Receiver> Server::State::receiversNow() {
    const std::scoped_lock lock(mutex);
    return {receivers.begin(), receivers.end()};
}

// ---- the server's threads

void Server::State::add(std::unique_ptr<Channel> channel) {
    auto connection = std::make_shared<Connection>(std::move(channel));
    const std::scoped_lock lock(mutex);
    Member& member = members.emplace_back();
    member.connection = connection;
    try {
        member.thread = std::thread([this, connection, &member] {
            serve(*connection);
            connection->channel->close();
            const std::scoped_lock ending(mutex);
            member.connection.reset(); // so that the connection is closed now and not when the thread is joined
            member.ended = true;
            changed.notify_all();
        });
    } catch (const std::exception&) {
        members.pop_back(); // no thread or memory is left: this client is dropped, the others are served
    }
}

// Joins the threads of sessions that have ended.
void Server::State::reap() {
    std::list<Member> ended;
    {
        const std::scoped_lock lock(mutex);
        for (auto member = members.begin(); member != members.end();) {
            const auto next = std::next(member);
            if (member->ended) ended.splice(ended.end(), members, member);
            member = next;
        }
    }
    for (Member& member : ended) member.thread.join();
}

// Sends signs of life for commands that take long.
void Server::State::keepAlive() {
    const std::chrono::milliseconds interval(options.workingInterval);
    std::unique_lock lock(mutex);
    while (!changed.wait_for(lock, interval / 5, [this] { return stopping; })) {
        guarded([&] {
            std::vector<std::shared_ptr<Connection>> connections;
            for (const Member& member : members) {
                if (member.connection) connections.push_back(member.connection);
            }
            lock.unlock();
            for (const auto& connection : connections) connection->showWorking(interval);
        });
        if (!lock) lock.lock();
    }
}

bool Server::State::awaitEnds(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds time) {
    return changed.wait_for(lock, time, [this] {
        return std::all_of(members.begin(), members.end(), [](const Member& member) { return member.ended; });
    });
}

// Commands and answers may use the grace. After that, reads and writes are aborted.
bool Server::State::endAll() {
    std::unique_lock lock(mutex);
    for (const Member& member : members) {
        if (member.connection) member.connection->stop();
    }
    bool ended = awaitEnds(lock, options.grace);
    if (!ended) {
        for (const Member& member : members) {
            if (member.connection) member.connection->channel->close();
        }
        lock.unlock();
        service.hurry();
        lock.lock();
        ended = awaitEnds(lock, cutOffWait);
    }
    lock.unlock();
    if (ended) reap();
    return ended;
}

Server::Server(const std::string& endpoint, Service& service, Options options)
    : state_(std::make_unique<State>(endpoint, service, std::move(options))) {}

Server::~Server() = default;

bool Server::run() {
    std::thread alive([this] { state_->keepAlive(); });
    for (bool accepting = true; accepting;) {
        bool failed = true;
        guarded([&] {
            std::unique_ptr<Channel> channel = state_->listener.accept();
            accepting = channel != nullptr;
            state_->reap();
            if (channel) state_->add(std::move(channel));
            failed = false;
        });
        if (failed) std::this_thread::sleep_for(pauseAfterFailure);
    }
    alive.join();
    return state_->endAll();
}

void Server::push(Push notification) {
    const auto push = std::make_shared<const Push>(std::move(notification));
    std::vector<Peer> lagging;
    {
        const std::scoped_lock lock(state_->mutex); // so that no receiver ends in the meantime
        for (const State::Receiver& receiver : state_->receivers) {
            if (receiver.line->add(push)) continue;
            if (receiver.connection->lagged.exchange(true)) continue;
            lagging.push_back(receiver.connection->peer);
            receiver.connection->channel->close();
        }
    }
    for (const Peer& peer : lagging) state_->service.lagged(peer);
}

void Server::drainPushes(std::chrono::milliseconds time) {
    const Deadline over = Clock::now() + time; // one deadline for all of them
    for (const State::Receiver& receiver : state_->receiversNow()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(over - Clock::now());
        receiver.line->drain(std::max(left, std::chrono::milliseconds(0)));
    }
}

void Server::stop() {
    {
        const std::scoped_lock lock(state_->mutex);
        state_->stopping = true;
        state_->changed.notify_all();
    }
    state_->listener.stop();
}

} // namespace bridge::server
