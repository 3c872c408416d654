// SPDX-License-Identifier: MIT
#include <platform/bridge/receiver.h>

#include <platform/bridge/command_sender.h>
#include <platform/bridge/connection.h>
#include <platform/bridge/workers.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
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
    explicit Line(std::unique_ptr<Connection> greeted) : connection(std::move(greeted)) {}

    void answer(std::uint32_t tag, bool handled, const std::string& reply) {
        const std::scoped_lock lock(writing);
        const FrameHeader header{0, handled ? FrameKind::pushAnswered : FrameKind::pushRefused, 0, 0, tag};
        writeFrame(*connection->channel, header, handled ? std::string_view(reply) : std::string_view(), patience);
    }

    std::unique_ptr<Connection> connection;
    std::mutex writing;
};

} // namespace

// The receiver's mutex guards the sender, since it may be exchanged.
class RecvSession {
public:
    std::shared_ptr<Line> line;
    std::uint32_t tag = 0;
};

namespace {

class Receiver {
public:
    static Receiver& instance() {
        static auto* const receiver = new Receiver; // its listeners may have static lifetime
        return *receiver;
    }

    void add(CommandListener* listener) {
        const std::scoped_lock lock(mutex_);
        listeners_.push_back(listener);
    }
    void remove(CommandListener* listener) {
        const std::scoped_lock lock(mutex_);
        listeners_.erase(std::remove(listeners_.begin(), listeners_.end(), listener), listeners_.end());
    }

    void start() {
        const std::scoped_lock lock(mutex_);
        if (thread_.joinable()) return;
        stopping_ = false;
        thread_ = std::thread([this] { run(); });
    }

    void stop() {
        std::unique_lock lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
        if (line_) line_->connection->channel->close();
        std::thread thread = std::move(thread_);
        lock.unlock();
        if (thread.joinable()) thread.join();
        lock.lock();
        changed_.wait(lock, [this] { return underWay_ == 0; });
    }

    void swap(RecvSession& one, RecvSession& other) {
        const std::scoped_lock lock(mutex_);
        std::swap(one.line, other.line);
        std::swap(one.tag, other.tag);
    }

private:
    void run();
    void receive(const std::shared_ptr<Line>& line);
    bool receiveOne(const std::shared_ptr<Line>& line);
    void begin();
    void end();
    void deliver(const std::shared_ptr<RecvSession>& session, const FrameHeader& header, const std::string& payload);
    void answer(const RecvSession& session, bool handled, const std::string& reply);
    bool keepLine(const std::shared_ptr<Line>& line);
    bool pauseEnds(std::chrono::milliseconds time);

    std::vector<CommandListener*> listeners() {
        const std::scoped_lock lock(mutex_);
        return listeners_;
    }

    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::vector<CommandListener*> listeners_;
    std::thread thread_;
    std::shared_ptr<Line> line_; // null while not connected
    bool stopping_ = false;
    int underWay_ = 0; // notifications
};

// Returns false when the receiver is stopping.
bool Receiver::keepLine(const std::shared_ptr<Line>& line) {
    const std::scoped_lock lock(mutex_);
    line_ = line;
    return !stopping_;
}

// Waits; returns false when the receiver is stopping.
bool Receiver::pauseEnds(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, time, [this] { return stopping_; });
}

void Receiver::run() {
    auto pause = firstPause;
    do {
        std::unique_ptr<Connection> connection;
        connectTo(CommandSender::Instance().Endpoint(), Role::receiver, "Notifications",
                  {handshakeWait, after(handshakeWait)}, connection);
        if (!connection) {
            pause = std::min(pause * 2, longestPause);
            continue;
        }
        pause = firstPause;
        receive(std::make_shared<Line>(std::move(connection)));
    } while (pauseEnds(pause));
}

// From attach to detach.
void Receiver::receive(const std::shared_ptr<Line>& line) {
    if (!keepLine(line)) return;
    for (CommandListener* listener : listeners()) listener->onServerAttach();
    while (receiveOne(line)) {}
    keepLine(nullptr);
    for (CommandListener* listener : listeners()) listener->onServerDetach();
}

bool Receiver::receiveOne(const std::shared_ptr<Line>& line) {
    FrameReader& reader = line->connection->reader;
    FrameHeader header;
    std::string payload;
    if (reader.readHeader(header, never, patience) != FrameStatus::done) return false;
    if (header.kind != FrameKind::push) return false;
    if (reader.readBody(header, payload, defaultFrameLimit, patience) != FrameStatus::done) return false;

    auto session = std::make_shared<RecvSession>();
    session->line = line;
    session->tag = header.tag;
    begin();
    try {
        runOnWorker([this, session, header, payload = std::move(payload)] { deliver(session, header, payload); },
                    [this] { end(); });
    } catch (const std::exception&) { // no thread or memory is left for it
        answer(*session, false, {});
        end();
    }
    return true;
}

void Receiver::begin() {
    const std::scoped_lock lock(mutex_);
    ++underWay_;
}

void Receiver::end() {
    const std::scoped_lock lock(mutex_);
    --underWay_;
    changed_.notify_all();
}

// Runs on a worker: passes a notification to the listeners of its module until one handles it.
void Receiver::deliver(const std::shared_ptr<RecvSession>& session, const FrameHeader& header,
                       const std::string& payload) {
    bool handled = false;
    std::string reply;
    for (CommandListener* listener : listeners()) {
        if (listener->module() != header.module || handled) continue;
        listener->onSessionOpened(session.get());
        try {
            handled = listener->onCommand(session.get(), static_cast<std::int32_t>(header.command), payload, reply);
        } catch (...) { // the sender is only told that the notification was not handled
            handled = false;
        }
        listener->onSessionClosed(session.get());
    }
    answer(*session, handled, reply);
}

void Receiver::answer(const RecvSession& session, bool handled, const std::string& reply) {
    std::unique_lock lock(mutex_);
    const std::shared_ptr<Line> line = session.line;
    const std::uint32_t tag = session.tag;
    lock.unlock();
    line->answer(tag, handled, reply);
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
