// SPDX-License-Identifier: MIT
#include <platform/bridge/receiver.h>

#include <platform/bridge/command_sender.h>
#include <platform/bridge/connection.h>
#include <platform/bridge/workers.h>
#include <platform/system/guarded.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <map>
#include <thread>
#include <utility>
#include <vector>

namespace bridge::client {

namespace {

constexpr auto firstPause = std::chrono::milliseconds(100);
constexpr auto longestPause = std::chrono::milliseconds(2000);
constexpr std::uint32_t handshakeWait = 5'000;
constexpr Patience patience{30'000};

// A connection to which several threads write answers.
struct Line {
    explicit Line(std::unique_ptr<ServiceConnection> greeted) : connection(std::move(greeted)) {}

    void answer(std::uint32_t tag, bool handled, const std::string& reply) {
        const auto turn = writing.lock();
        const FrameHeader header{0, handled ? FrameKind::pushAnswered : FrameKind::pushRefused, 0, 0, tag};
        writeFrame(*connection->channel, header, handled ? std::string_view(reply) : std::string_view(), patience);
    }

    struct Turn {};

    std::unique_ptr<ServiceConnection> connection;
    platform::Guarded<Turn> writing; // one answer after the other; reading and closing need no turn
};

// To whom a notification is answered.
struct Sender {
    std::shared_ptr<Line> line;
    std::uint32_t tag = 0;
};

} // namespace

// Only stands for a notification: the receiver knows its sender, which may be exchanged.
class RecvSession {};

namespace {

class Receiver {
public:
    static Receiver& instance() {
        static auto* const receiver = new Receiver; // its listeners may have static lifetime
        return *receiver;
    }

    void add(CommandListener* listener) { state_.lock()->listeners.push_back(listener); }

    void remove(CommandListener* listener) {
        auto state = state_.lock();
        std::erase(state->listeners, listener);
        const auto others = [&] { return callsOf(*state, listener) > Visit::callsHere(listener); };
        state.wait(changed_, [&] { return !others(); });
    }

    void start() {
        const auto state = state_.lock();
        if (state->thread.joinable()) return;
        state->stopping = false;
        state->thread = std::thread([this] { run(); });
    }

    void stop() {
        auto state = state_.lock();
        state->stopping = true;
        changed_.notify_all();
        if (state->line) state->line->connection->channel->close();
        std::thread thread = std::move(state->thread);
        state.unlocked([&] {
            if (thread.joinable()) thread.join();
        });
        state.wait(changed_, [&] { return state->underWay == 0; });
    }

    void swap(const RecvSession& one, const RecvSession& other) {
        const auto state = state_.lock();
        std::swap(state->senders.at(&one), state->senders.at(&other));
    }

private:
    // A call of a listener's functions, on the stack of the thread that calls them. While it exists, DelCommandListener
    // does not return in other threads.
    class Visit {
    public:
        explicit Visit(CommandListener* listener) : listener_(listener), outer_(innermost) { innermost = this; }
        ~Visit() { innermost = outer_; }
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

        static int callsHere(const CommandListener* listener) {
            int calls = 0;
            for (const Visit* visit = innermost; visit; visit = visit->outer_) {
                if (visit->listener_ == listener) ++calls;
            }
            return calls;
        }

    private:
        static thread_local Visit* innermost;
        CommandListener* listener_;
        Visit* outer_;
    };

    template <class Call>
    void visit(CommandListener* listener, const Call& call);
    void tellAll(void (CommandListener::*event)());
    static std::unique_ptr<ServiceConnection> connect();
    void run();
    void receive(const std::shared_ptr<Line>& line);
    bool receiveOne(const std::shared_ptr<Line>& line);
    void begin(const RecvSession& session, Sender sender);
    void end();
    void deliver(const std::shared_ptr<RecvSession>& session, const FrameHeader& header, const std::string& payload);
    void answer(const RecvSession& session, bool handled, const std::string& reply);
    bool keepLine(const std::shared_ptr<Line>& line);
    bool pauseEnds(std::chrono::milliseconds time);

    std::vector<CommandListener*> listeners() { return state_.lock()->listeners; }

    struct State {
        std::vector<CommandListener*> listeners;
        std::vector<CommandListener*> visited; // once for each call that is under way
        std::thread thread;
        std::shared_ptr<Line> line; // null while not connected
        bool stopping = false;
        int underWay = 0;                             // notifications
        std::map<const RecvSession*, Sender> senders; // of those that are not answered yet
    };

    static int callsOf(const State& state, const CommandListener* listener) {
        return static_cast<int>(std::count(state.visited.begin(), state.visited.end(), listener));
    }

    platform::Guarded<State> state_;
    std::condition_variable changed_;
};

thread_local Receiver::Visit* Receiver::Visit::innermost = nullptr;

// Calls functions of the listener unless it was removed meanwhile. Whatever they throw stays here.
template <class Call>
void Receiver::visit(CommandListener* listener, const Call& call) {
    {
        const auto state = state_.lock();
        const auto& listed = state->listeners;
        if (std::find(listed.begin(), listed.end(), listener) == listed.end()) return;
        state->visited.push_back(listener);
    }
    {
        const Visit visit(listener);
        try {
            call();
        } catch (...) {} // a front end's mistake must not end the process
    }
    const auto state = state_.lock();
    state->visited.erase(std::find(state->visited.begin(), state->visited.end(), listener));
    changed_.notify_all();
}

void Receiver::tellAll(void (CommandListener::*event)()) {
    for (CommandListener* listener : listeners()) {
        visit(listener, [&] { (listener->*event)(); });
    }
}

// Null when there is no service, or no memory for a connection.
std::unique_ptr<ServiceConnection> Receiver::connect() {
    std::unique_ptr<ServiceConnection> connection;
    try {
        connectTo(CommandSender::Instance().Endpoint(), Role::receiver, "Notifications",
                  {handshakeWait, after(handshakeWait)}, connection);
    } catch (const std::exception&) {
        connection.reset();
    }
    return connection;
}

// Returns false when the receiver is stopping.
bool Receiver::keepLine(const std::shared_ptr<Line>& line) {
    const auto state = state_.lock();
    state->line = line;
    return !state->stopping;
}

// Waits; returns false when the receiver is stopping.
bool Receiver::pauseEnds(std::chrono::milliseconds time) {
    auto state = state_.lock();
    return !state.waitFor(changed_, time, [&] { return state->stopping; });
}

void Receiver::run() {
    auto pause = firstPause;
    do {
        std::unique_ptr<ServiceConnection> connection = connect();
        if (!connection) {
            pause = std::min(pause * 2, longestPause);
            continue;
        }
        pause = firstPause;
        try {
            receive(std::make_shared<Line>(std::move(connection)));
        } catch (const std::exception&) {} // no memory is left; tried again after the pause
    } while (pauseEnds(pause));
}

// From attach to detach.
void Receiver::receive(const std::shared_ptr<Line>& line) {
    if (!keepLine(line)) return;
    tellAll(&CommandListener::onServerAttach);
    try {
        while (receiveOne(line)) {}
    } catch (const std::exception&) {} // no memory is left for a notification; the sender learns it from the lost line
    keepLine(nullptr);
    line->connection->channel->close(); // also when handlers of it still run
    tellAll(&CommandListener::onServerDetach);
}

bool Receiver::receiveOne(const std::shared_ptr<Line>& line) {
    FrameReader& reader = line->connection->reader;
    FrameHeader header;
    std::string payload;
    if (reader.readHeader(header, never, patience) != FrameStatus::done) return false;
    if (header.kind != FrameKind::push) return false;
    if (reader.readBody(header, payload, defaultFrameLimit, patience) != FrameStatus::done) return false;

    auto session = std::make_shared<RecvSession>();
    begin(*session, {line, header.tag});
    try {
        auto work = [this, line, session, header, payload = std::move(payload)] {
            try {
                deliver(session, header, payload);
            } catch (const std::exception&) {
                line->connection->channel->close();
            }
        };
        runOnWorker(std::move(work), [this] { end(); });
    } catch (const std::exception&) { // no thread or memory is left for it
        answer(*session, false, {});
        end();
    }
    return true;
}

void Receiver::begin(const RecvSession& session, Sender sender) {
    const auto state = state_.lock();
    state->senders[&session] = std::move(sender);
    ++state->underWay;
}

void Receiver::end() {
    const auto state = state_.lock();
    --state->underWay;
    changed_.notify_all();
}

// Runs on a worker: passes a notification to the listeners of its module until one handles it. When there is no memory
// for the answer, the connection ends, so that the sender does not wait for it.
void Receiver::deliver(const std::shared_ptr<RecvSession>& session, const FrameHeader& header,
                       const std::string& payload) {
    bool handled = false;
    std::string reply;
    for (CommandListener* listener : listeners()) {
        if (listener->module() != header.module || handled) continue;
        visit(listener, [&] {
            reply.clear();
            listener->onSessionOpened(session.get());
            try {
                handled = listener->onCommand(session.get(), static_cast<std::int32_t>(header.command), payload, reply);
            } catch (...) {} // the sender is only told that the notification was not handled
            listener->onSessionClosed(session.get());
        });
    }
    answer(*session, handled, reply);
}

void Receiver::answer(const RecvSession& session, bool handled, const std::string& reply) {
    const Sender sender = state_.lock()->senders.extract(&session).mapped();
    sender.line->answer(sender.tag, handled, reply);
}

} // namespace

CommandListener::CommandListener(ModuleIdType module) : module_(module) {}
CommandListener::~CommandListener() = default;

void AddCommandListener(CommandListener* listener) { Receiver::instance().add(listener); }
void DelCommandListener(CommandListener* listener) { Receiver::instance().remove(listener); }
void CommandReceiver_init() { Receiver::instance().start(); }
void CommandReceiver_fini() { Receiver::instance().stop(); }
void SwapSessions(RecvSession* one, RecvSession* other) { Receiver::instance().swap(*one, *other); }

} // namespace bridge::client
