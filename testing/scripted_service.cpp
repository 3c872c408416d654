// SPDX-License-Identifier: MIT
#include <testing/scripted_service.h>

#include <platform/bridge/frame.h>
#include <platform/bridge/listener.h>
#include <platform/bridge/messages.h>
#include <platform/system/guarded.h>

#include <condition_variable>
#include <list>
#include <map>
#include <optional>
#include <thread>
#include <utility>

namespace panelkit::testing {

namespace {

constexpr bridge::Patience patience{30'000};

std::uint64_t key(std::uint32_t module, std::uint32_t command) { return std::uint64_t{module} << 32 | command; }

} // namespace

struct ScriptedService::State {
    explicit State(const std::string& where) : endpoint(where), listener(where, {}) {}

    const std::string endpoint;
    bridge::Listener listener;
    std::thread accepting;

    struct Shared {
        std::map<std::uint64_t, Script> scripts;
        Greeting greeting;
        std::vector<Received> requests;
        std::vector<std::string> opened;
        std::vector<std::string> closed;
        std::list<std::unique_ptr<bridge::Channel>> channels; // the open ones
        bridge::Channel* receiver = nullptr;                  // the one that connected last
        std::map<std::uint32_t, PushResult> answers;          // of notifications, by tag
        std::uint32_t lastTag = 0;
        std::list<std::thread> threads;
        bool stopping = false;
    };
    platform::Guarded<Shared> shared;
    std::condition_variable changed;

    void acceptAll();
    void serve(bridge::Channel& channel);
    std::optional<bridge::Hello> greetClient(bridge::Channel& channel, bridge::FrameReader& reader);
    void welcomeClient(bridge::Channel& channel, const bridge::Hello& hello);
    void serveReceiver(bridge::Channel& channel, bridge::FrameReader& reader);
    bool takeAnswer(bridge::FrameReader& reader);
    bool serveRequest(bridge::Channel& channel, bridge::FrameReader& reader, const std::string& session);
    Reaction reactionTo(const Received& request);
    bool react(bridge::Channel& channel, const bridge::FrameHeader& request, const Reaction& reaction);
    bool pause(bridge::Channel& channel, const bridge::FrameHeader& request, const Reaction& reaction);
};

void ScriptedService::State::acceptAll() {
    while (std::unique_ptr<bridge::Channel> channel = listener.accept().channel) {
        const auto now = shared.lock();
        const auto entry = now->channels.insert(now->channels.end(), std::move(channel));
        now->threads.emplace_back([this, entry] {
            serve(**entry);
            shared.lock()->channels.erase(entry); // closes it
        });
    }
}

void ScriptedService::State::serve(bridge::Channel& channel) {
    bridge::FrameReader reader(channel);
    const std::optional<bridge::Hello> hello = greetClient(channel, reader);
    if (!hello) return;
    if (hello->role == bridge::Role::receiver) {
        serveReceiver(channel, reader);
    } else {
        while (serveRequest(channel, reader, hello->name)) {}
    }
    shared.lock()->closed.push_back(hello->name);
    changed.notify_all();
}

std::optional<bridge::Hello> ScriptedService::State::greetClient(bridge::Channel& channel,
                                                                 bridge::FrameReader& reader) {
    bridge::FrameHeader header;
    std::string body;
    if (reader.readHeader(header, bridge::never, patience) != bridge::FrameStatus::done) return std::nullopt;
    if (reader.readBody(header, body, bridge::helloLimit, patience) != bridge::FrameStatus::done) return std::nullopt;
    std::optional<bridge::Hello> hello = bridge::decodeHello(body);
    if (!hello) return std::nullopt;
    shared.lock()->opened.push_back(hello->name);
    welcomeClient(channel, *hello);
    return hello;
}

// Answers a hello as the test's greeting says.
void ScriptedService::State::welcomeClient(bridge::Channel& channel, const bridge::Hello& hello) {
    const Greeting how = shared.lock()->greeting;
    if (how.silent) return;
    if (!how.raw.empty()) {
        channel.write(how.raw, {}, patience);
        return;
    }
    bridge::Welcome welcome{
        how.version, static_cast<bridge::Verdict>(how.verdict), how.frameLimit, "scripted service", how.text, how.why};
    const bool understood = how.version > 1 || hello.version == 1; // version 1 accepts no other one
    if (!understood && how.verdict == 0) welcome.verdict = bridge::Verdict::versionMismatch;
    writeFrame(channel, {.kind = bridge::FrameKind::welcome}, encode(welcome), patience);
}

void ScriptedService::State::serveReceiver(bridge::Channel& channel, bridge::FrameReader& reader) {
    shared.lock()->receiver = &channel;
    changed.notify_all();
    while (takeAnswer(reader)) {}
    const auto now = shared.lock();
    if (now->receiver == &channel) now->receiver = nullptr;
}

bool ScriptedService::State::takeAnswer(bridge::FrameReader& reader) {
    bridge::FrameHeader header;
    PushResult result;
    if (reader.readHeader(header, bridge::never, patience) != bridge::FrameStatus::done) return false;
    if (reader.readBody(header, result.reply, bridge::defaultFrameLimit, patience) != bridge::FrameStatus::done) {
        return false;
    }
    const bool handled = header.kind == bridge::FrameKind::pushAnswered;
    result.kind = handled ? PushResult::Kind::handled : PushResult::Kind::notHandled;
    shared.lock()->answers[header.tag] = result;
    changed.notify_all();
    return true;
}

bool ScriptedService::State::serveRequest(bridge::Channel& channel, bridge::FrameReader& reader,
                                          const std::string& session) {
    bridge::FrameHeader header;
    Received request{session};
    if (reader.readHeader(header, bridge::never, patience) != bridge::FrameStatus::done) return false;
    if (reader.readBody(header, request.payload, bridge::defaultFrameLimit, patience) != bridge::FrameStatus::done) {
        return false;
    }
    request.module = header.module;
    request.command = header.command;
    const Reaction reaction = reactionTo(request);
    return pause(channel, header, reaction) && react(channel, header, reaction);
}

Reaction ScriptedService::State::reactionTo(const Received& request) {
    Script script;
    {
        const auto now = shared.lock();
        now->requests.push_back(request);
        const auto found = now->scripts.find(key(request.module, request.command));
        if (found != now->scripts.end()) script = found->second;
    }
    return script ? script(request) : Reaction::refuse("no script for this command");
}

// Waits as the reaction says, with its signs of life; returns false when the service ends in the meantime.
bool ScriptedService::State::pause(bridge::Channel& channel, const bridge::FrameHeader& request,
                                   const Reaction& reaction) {
    const auto step = reaction.delay / (reaction.signsOfLife + 1);
    for (unsigned i = 0; i <= reaction.signsOfLife; ++i) {
        if (i > 0) writeFrame(channel, {.kind = bridge::FrameKind::working, .tag = request.tag}, {}, patience);
        auto now = shared.lock();
        if (now.waitFor(changed, step, [&] { return now->stopping; })) return false;
    }
    return true;
}

// Returns false when the connection has ended.
bool ScriptedService::State::react(bridge::Channel& channel, const bridge::FrameHeader& request,
                                   const Reaction& reaction) {
    using Kind = Reaction::Kind;
    const auto before = [&](bridge::FrameKind kind, const std::string& body, std::uint32_t tag) {
        return writeFrame(channel, {.kind = kind, .tag = tag}, body, patience) == bridge::IoStatus::done;
    };
    if (!reaction.remarks.empty() && !before(bridge::FrameKind::remarks, encode(reaction.remarks), request.tag)) {
        return false;
    }
    for (const auto& [kind, body, tagShift] : reaction.frames) {
        if (!before(static_cast<bridge::FrameKind>(kind), body, request.tag + tagShift)) return false;
    }
    bridge::FrameHeader header = request;
    header.kind = bridge::FrameKind::reply;
    switch (reaction.kind) {
    case Kind::reply: return writeFrame(channel, header, reaction.text, patience) == bridge::IoStatus::done;
    case Kind::cutAfter: writeFrame(channel, header, reaction.text, patience); return false;
    case Kind::cutBefore: return false;
    case Kind::silence: return true;
    case Kind::raw: return channel.write(reaction.text, {}, patience) == bridge::IoStatus::done;
    case Kind::refuse: {
        header.kind = bridge::FrameKind::refused;
        const std::string body =
            encode(bridge::Refusal{bridge::RefusalReason::byModule, reaction.bytes, reaction.text});
        return writeFrame(channel, header, body, patience) == bridge::IoStatus::done;
    }
    case Kind::cutInside:
    case Kind::claim: {
        const bool claims = reaction.kind == Kind::claim;
        header.length = claims ? reaction.bytes : static_cast<std::uint32_t>(reaction.text.size());
        const auto bytes = encodeFrameHeader(header);
        const std::string_view part = claims ? std::string_view() : std::string_view(reaction.text);
        channel.write({bytes.data(), bytes.size()}, part.substr(0, reaction.bytes), patience);
        return claims;
    }
    }
    return false;
}

ScriptedService::ScriptedService() : ScriptedService(uniqueEndpoint()) {}

ScriptedService::ScriptedService(const std::string& endpoint) : state_(std::make_unique<State>(endpoint)) {
    state_->accepting = std::thread([this] { state_->acceptAll(); });
}

ScriptedService::~ScriptedService() {
    state_->listener.stop();
    state_->accepting.join();
    state_->shared.lock()->stopping = true;
    state_->changed.notify_all();
    cutAll();
    std::list<std::thread> threads;
    threads.swap(state_->shared.lock()->threads); // they need the lock to end
    for (std::thread& thread : threads) thread.join();
}

const std::string& ScriptedService::endpoint() const { return state_->endpoint; }

void ScriptedService::on(Command command, Reaction reaction) {
    on(command, [reaction = std::move(reaction)](const Received&) { return reaction; });
}

void ScriptedService::on(Command command, Script script) {
    const CommandRow& row = commandRow(command);
    state_->shared.lock()->scripts[key(row.module, row.code)] = std::move(script);
}

void ScriptedService::greet(Greeting greeting) { state_->shared.lock()->greeting = std::move(greeting); }

std::vector<Received> ScriptedService::requests() const { return state_->shared.lock()->requests; }

std::vector<std::string> ScriptedService::opened() const { return state_->shared.lock()->opened; }

std::vector<std::string> ScriptedService::closed() const { return state_->shared.lock()->closed; }

bool ScriptedService::waitForClosed(std::size_t count) const {
    auto now = state_->shared.lock();
    return now.waitFor(state_->changed, std::chrono::seconds(10), [&] { return now->closed.size() >= count; });
}

bool ScriptedService::waitForReceiver() const {
    auto now = state_->shared.lock();
    return now.waitFor(state_->changed, std::chrono::seconds(10), [&] { return now->receiver != nullptr; });
}

PushResult ScriptedService::push(std::int32_t id, const std::string& payload, std::chrono::milliseconds limit) {
    auto now = state_->shared.lock();
    if (!now->receiver) return {};
    const std::uint32_t tag = ++now->lastTag;
    const bridge::FrameHeader header{0, bridge::FrameKind::push, ModuleNotifications, static_cast<std::uint32_t>(id),
                                     tag};
    // Under the lock, so that senders write one after the other and the receiver is not destroyed.
    if (writeFrame(*now->receiver, header, payload, patience) != bridge::IoStatus::done) return {};
    now.waitFor(state_->changed, limit, [&] { return now->answers.count(tag) != 0; });
    const auto answer = now->answers.extract(tag);
    return answer.empty() ? PushResult{} : answer.mapped();
}

void ScriptedService::cutAll() {
    const auto now = state_->shared.lock();
    for (const auto& channel : now->channels) channel->close();
}

} // namespace panelkit::testing
