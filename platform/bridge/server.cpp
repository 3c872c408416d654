// SPDX-License-Identifier: MIT
#include <platform/bridge/server_state.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <thread>
#include <utility>

namespace bridge::server {

namespace {

// After the grace: time for sessions to notice that their connection was closed.
constexpr auto cutOffWait = std::chrono::milliseconds(500);

// When memory runs out, accepting again at once would only keep the processor busy.
constexpr auto pauseAfterFailure = std::chrono::milliseconds(50);

} // namespace

Server::State::State(const std::string& endpoint, Service& serviceIn, Options optionsIn)
    : service(serviceIn),
      options(std::move(optionsIn)),
      arrivals(options.connections),
      connections(options.connections),
      receivers(options.receivers),
      transfers(options.transfers),
      listener(endpoint, options.listen) {}

bool Server::State::Sessions::haveEnded() const {
    return std::all_of(members.begin(), members.end(), [](const Member& member) { return member.ended; });
}

std::vector<Server::State::AttachedReceiver> Server::State::receiversNow() {
    const auto now = sessions.lock();
    return {now->receivers.begin(), now->receivers.end()};
}

void Server::State::add(Listener::Accepted accepted) {
    auto connection = std::make_shared<Connection>(std::move(accepted.channel), accepted.isLast);
    const auto now = sessions.lock();
    Member& member = now->members.emplace_back();
    member.connection = connection;
    try {
        member.thread = std::thread([this, connection, &member] {
            serve(*connection);
            finish(*connection, member);
        });
    } catch (const std::exception&) {
        now->members.pop_back(); // no thread or memory is left: this client is dropped, the others are served
    }
}

void Server::State::finish(const Connection& connection, Member& member) {
    connection.channel->close();
    const auto now = sessions.lock();
    member.connection.reset(); // so that the connection is closed now and not when the thread is joined
    member.ended = true;
    changed.notify_all();
}

// Joins the threads of sessions that have ended.
void Server::State::reap() {
    std::list<Member> ended;
    {
        const auto now = sessions.lock();
        for (auto member = now->members.begin(); member != now->members.end();) {
            const auto next = std::next(member);
            if (member->ended) ended.splice(ended.end(), now->members, member);
            member = next;
        }
    }
    for (Member& member : ended) member.thread.join();
}

// Sends signs of life for commands that take long.
void Server::State::keepAlive() {
    const std::chrono::milliseconds interval(options.workingInterval);
    auto now = sessions.lock();
    while (!now.waitFor(changed, interval / 5, [&] { return now->stopping; })) {
        guarded([&] {
            std::vector<std::shared_ptr<Connection>> running;
            for (const Member& member : now->members) {
                if (member.connection) running.push_back(member.connection);
            }
            now.unlocked([&] {
                for (const auto& connection : running) connection->showWorking(interval);
                running.clear();
            });
        });
    }
}

// Commands and answers may use the grace. After that, reads and writes are aborted.
bool Server::State::endAll() {
    bool ended = false;
    {
        auto now = sessions.lock();
        for (const Member& member : now->members) {
            if (member.connection) member.connection->stop();
        }
        const auto haveEnded = [&] { return now->haveEnded(); };
        ended = now.waitFor(changed, options.grace, haveEnded);
        if (!ended) {
            for (const Member& member : now->members) {
                if (member.connection) member.connection->channel->close();
            }
            now.unlocked([&] { service.hurry(); });
            ended = now.waitFor(changed, cutOffWait, haveEnded);
        }
    }
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
            Listener::Accepted accepted = state_->listener.accept();
            accepting = accepted.channel != nullptr;
            state_->reap();
            if (accepting) state_->add(std::move(accepted));
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
        const auto now = state_->sessions.lock(); // so that no receiver ends in the meantime
        for (const State::AttachedReceiver& receiver : now->receivers) {
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
    for (const State::AttachedReceiver& receiver : state_->receiversNow()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(over - Clock::now());
        receiver.line->drain(std::max(left, std::chrono::milliseconds(0)));
    }
}

Server::Usage Server::usage() const {
    return {state_->arrivals.used(), state_->connections.used(), state_->receivers.used(), state_->transfers.used()};
}

void Server::stop() {
    state_->sessions.lock()->stopping = true;
    state_->changed.notify_all();
    state_->listener.stop();
}

} // namespace bridge::server
