// SPDX-License-Identifier: MIT
#include <platform/bridge/bridge_session.h>

#include <platform/bridge/connection.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <utility>

namespace {

using bridge::Failure;
using bridge::FailureCode;
using bridge::FrameHeader;
using bridge::FrameKind;
using bridge::makeFailure;

constexpr std::uint32_t handshakeWait = 10'000;

Failure failureOf(const bridge::Refusal& refusal) {
    const bool denied = refusal.reason == bridge::RefusalReason::accessDenied;
    const FailureCode code = denied ? FailureCode::accessDenied : FailureCode::refused;
    return {code, refusal.text.empty() ? bridge::describe(code) : refusal.text, refusal.detail};
}

} // namespace

struct BridgeSession::State {
    // Fixed at opening.
    std::string name;
    bridge::Role role{};
    std::string endpoint;

    // Read without the lock.
    std::atomic<std::uint32_t> broken{0};
    std::atomic<std::uint32_t> lastFailure{0};
    std::atomic<std::uint32_t> wait{0};

    std::mutex mutex; // one command at a time; guards what follows
    std::unique_ptr<bridge::Connection> connection;
    std::string service;
    std::uint32_t tag = 0;

    bridge::Patience patience() const { return {wait.load()}; }

    Failure connect();
    Failure exchange(const FrameHeader& request, std::string_view payload, std::string* reply);
    Failure awaitReply(const FrameHeader& request, std::string& reply);
    bool conclude(Failure outcome);
};

// Records the outcome of a send, with the session and with the thread.
bool BridgeSession::State::conclude(Failure outcome) {
    if (bridge::breaksSession(outcome.code)) {
        connection.reset();
        broken = 1;
    }
    lastFailure = static_cast<std::uint32_t>(outcome.code);
    const bool answered = outcome.code == FailureCode::none;
    bridge::setLastFailure(std::move(outcome));
    return answered;
}

Failure BridgeSession::State::connect() {
    if (broken != 0) return makeFailure(FailureCode::connectionLost);
    if (connection) return {};
    const std::uint32_t limit = wait == 0 ? handshakeWait : std::min(wait.load(), handshakeWait);
    Failure outcome = bridge::connectTo(endpoint, role, name, {limit, bridge::after(limit)}, connection);
    if (connection) service = connection->welcome.service;
    return outcome;
}

Failure BridgeSession::State::exchange(const FrameHeader& request, std::string_view payload, std::string* reply) {
    if (Failure failed = connect(); failed.code != FailureCode::none) return failed;
    const std::uint32_t limit = std::min(connection->welcome.frameLimit, bridge::defaultFrameLimit);
    if (payload.size() > limit) {
        return makeFailure(FailureCode::tooLarge,
                           std::to_string(payload.size()) + " bytes, the service takes " + std::to_string(limit));
    }
    FrameHeader header = request;
    header.tag = ++tag;
    if (Failure failed = bridge::failureOf(writeFrame(*connection->channel, header, payload, patience()));
        failed.code != FailureCode::none) {
        return failed;
    }
    std::string unwanted;
    return awaitReply(header, reply ? *reply : unwanted);
}

Failure BridgeSession::State::awaitReply(const FrameHeader& request, std::string& reply) {
    bridge::FrameReader& reader = connection->reader;
    for (;;) {
        FrameHeader header;
        if (Failure failed = bridge::failureOf(reader.readHeader(header, patience().next(), patience()));
            failed.code != FailureCode::none) {
            return failed;
        }
        if (header.kind == FrameKind::working && header.length == 0) continue;
        const bool answers = header.kind == FrameKind::reply || header.kind == FrameKind::refused;
        if (!answers || header.tag != request.tag) {
            return makeFailure(FailureCode::connectionLost, "it sent what is no answer to the command");
        }
        if (Failure failed = bridge::failureOf(reader.readBody(header, reply, bridge::defaultFrameLimit, patience()));
            failed.code != FailureCode::none) {
            return failed;
        }
        if (header.kind == FrameKind::reply) return {};
        const std::optional<bridge::Refusal> refusal = bridge::decodeRefusal(reply);
        return refusal ? failureOf(*refusal) : makeFailure(FailureCode::connectionLost);
    }
}

BridgeSession::BridgeSession(std::string name, std::uint32_t role, std::string endpoint)
    : state_(std::make_unique<State>()) {
    state_->name = std::move(name);
    state_->role = static_cast<bridge::Role>(role);
    state_->endpoint = std::move(endpoint);
}

BridgeSession::~BridgeSession() = default;

bool BridgeSession::__SendCommand(ModuleIdType module, long command, const void* data, unsigned size,
                                  std::string* reply) {
    const std::scoped_lock lock(state_->mutex);
    const FrameHeader request{0, FrameKind::request, static_cast<std::uint32_t>(module),
                              static_cast<std::uint32_t>(command)};
    return state_->conclude(state_->exchange(request, {static_cast<const char*>(data), size}, reply));
}

bool BridgeSession::Connect() {
    const std::scoped_lock lock(state_->mutex);
    return state_->conclude(state_->connect());
}

void BridgeSession::close() {
    const std::scoped_lock lock(state_->mutex);
    state_->connection.reset();
    state_->broken = 1;
}

std::uint32_t BridgeSession::broken() const { return state_->broken; }
std::uint32_t BridgeSession::lastFailure() const { return state_->lastFailure; }

bool BridgeSession::failedForWantOfService() const {
    return broken() == 0 && lastFailure() == static_cast<std::uint32_t>(FailureCode::noService);
}

std::uint32_t BridgeSession::waitSetting() const { return state_->wait; }
void BridgeSession::setWaitSetting(std::uint32_t milliseconds) { state_->wait = milliseconds; }
const std::string& BridgeSession::name() const { return state_->name; }

std::string BridgeSession::service() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->service;
}
