// SPDX-License-Identifier: MIT
#include <platform/bridge/bridge_session.h>

#include <platform/bridge/call_limits.h>
#include <platform/bridge/command_tap.h>
#include <platform/bridge/connection.h>
#include <platform/system/guarded.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <optional>
#include <utility>

namespace {

using bridge::Failure;
using bridge::FailureCode;
using bridge::FrameHeader;
using bridge::FrameKind;
using bridge::FrameStatus;
using bridge::SendOutcome;
using Loc::N_;

constexpr std::uint32_t handshakeWait = 10'000;

// The remarks are the reasons; without remarks the refusal's text is the reason.
Failure failureOf(const bridge::Refusal& refusal, const std::vector<bridge::Remark>& remarks) {
    const bool denied = refusal.reason == bridge::RefusalReason::accessDenied;
    Failure failure{denied ? FailureCode::accessDenied : FailureCode::refused, bridge::phrasesOf(remarks),
                    refusal.detail};
    if (remarks.empty() && !refusal.text.empty()) failure.phrases.push_back(Loc::verbatim(refusal.text));
    return failure;
}

Failure malformedFrame() {
    return bridge::lostBy(N_("the connection to the service was lost: it sent a malformed frame"));
}

} // namespace

struct PANELKIT_NO_EXPORT BridgeSession::State {
    // Set when the session is opened.
    std::string name;
    bridge::Role role{};
    std::string endpoint;

    // Read without the lock.
    std::atomic<std::uint32_t> broken{0};
    std::atomic<std::uint32_t> lastFailure{0};
    std::atomic<std::uint32_t> wait{0};

    struct Link {
        std::unique_ptr<bridge::ServiceConnection> connection;
        std::string service;
        std::uint32_t tag = 0;
    };
    platform::Guarded<Link> link; // locked by a command to its end: one at a time

    bridge::Patience patience() const {
        const auto limits = bridge::CallLimits::inForce();
        return {wait.load(), limits.until, limits.givenUp};
    }

    Failure connect(Link& to);
    SendOutcome send(Link& over, const FrameHeader& request, std::string_view payload, std::string& reply);
    Failure exchange(Link& over, const FrameHeader& request, std::string_view payload, std::string& reply,
                     std::vector<bridge::Remark>& remarks);
    Failure awaitReply(bridge::ServiceConnection& from, const FrameHeader& request, std::string& reply,
                       std::vector<bridge::Remark>& remarks);
    Failure takeAnswer(bridge::ServiceConnection& from, const FrameHeader& header, std::string& reply,
                       const std::vector<bridge::Remark>& remarks);
    Failure takeRemarks(bridge::ServiceConnection& from, const FrameHeader& header,
                        std::vector<bridge::Remark>& remarks);
    bool conclude(Link& of, SendOutcome outcome);
};

// Records the outcome of a send for the session and for the calling thread.
bool BridgeSession::State::conclude(Link& of, SendOutcome outcome) {
    const FailureCode code = outcome.failure.code;
    if (bridge::breaksSession(code)) {
        of.connection.reset();
        broken = 1;
        outcome.remarks.clear(); // the answer to which they belong never came
    }
    lastFailure = static_cast<std::uint32_t>(code);
    bridge::setLastOutcome(std::move(outcome));
    return code == FailureCode::none;
}

Failure BridgeSession::State::connect(Link& to) {
    if (broken != 0) return {FailureCode::connectionLost};
    if (to.connection) return {};
    bridge::Patience limit = patience();
    limit.silence = limit.silence == 0 ? handshakeWait : std::min(limit.silence, handshakeWait);
    limit.overall = limit.next();
    Failure outcome = bridge::connectTo(endpoint, role, name, limit, to.connection);
    if (to.connection) to.service = to.connection->welcome.service;
    return outcome;
}

Failure BridgeSession::State::exchange(Link& over, const FrameHeader& request, std::string_view payload,
                                       std::string& reply, std::vector<bridge::Remark>& remarks) {
    if (Failure failed = connect(over); failed.code != FailureCode::none) return failed;
    bridge::ServiceConnection& connection = *over.connection;
    const std::uint32_t limit = std::min(connection.welcome.frameLimit, bridge::defaultFrameLimit);
    if (payload.size() > limit) return bridge::requestTooLarge(payload.size(), limit);
    FrameHeader header = request;
    header.tag = ++over.tag;
    const bridge::IoStatus sent = writeFrame(*connection.channel, header, payload, patience());
    if (sent != bridge::IoStatus::done) return bridge::failureOf(sent);
    return awaitReply(connection, header, reply, remarks);
}

SendOutcome BridgeSession::State::send(Link& over, const FrameHeader& request, std::string_view payload,
                                       std::string& reply) {
    SendOutcome outcome;
    try {
        outcome.failure = exchange(over, request, payload, reply, outcome.remarks);
    } catch (const std::exception&) { // no memory is left; what the service sends after this belongs to no command
        over.connection.reset();
        outcome = {{FailureCode::exhausted, {}}, {}};
    }
    if (outcome.failure.code == FailureCode::timedOut && patience().isOver()) {
        outcome.failure.phrases = {Loc::makePhrase("the command was given up before the service had answered it")};
    }
    return outcome;
}

Failure BridgeSession::State::awaitReply(bridge::ServiceConnection& from, const FrameHeader& request,
                                         std::string& reply, std::vector<bridge::Remark>& remarks) {
    bridge::FrameReader& reader = from.reader;
    for (;;) {
        FrameHeader header;
        const bridge::Patience until = patience();
        const FrameStatus got = reader.readHeader(header, until.next(), until);
        if (got != FrameStatus::done) return bridge::failureOf(got);
        const bool mayWork = remarks.empty(); // remarks come once, right before the answer
        if (header.kind == FrameKind::working && header.length == 0 && mayWork) {
            if (patience().isOver()) return {FailureCode::timedOut};
            continue;
        }
        const bool mayRemark = mayWork && from.welcome.version >= bridge::remarksSince;
        const bool answers = header.kind == FrameKind::reply || header.kind == FrameKind::refused;
        const bool isRemarks = header.kind == FrameKind::remarks && mayRemark;
        if (header.tag != request.tag || (!answers && !isRemarks)) {
            return bridge::lostBy(
                N_("the connection to the service was lost: it sent a frame that does not answer the command"));
        }
        if (answers) return takeAnswer(from, header, reply, remarks);
        if (Failure failed = takeRemarks(from, header, remarks); failed.code != FailureCode::none) return failed;
    }
}

Failure BridgeSession::State::takeAnswer(bridge::ServiceConnection& from, const FrameHeader& header, std::string& reply,
                                         const std::vector<bridge::Remark>& remarks) {
    const FrameStatus got = from.reader.readBody(header, reply, bridge::defaultFrameLimit, patience());
    if (got != FrameStatus::done) return bridge::failureOf(got);
    if (header.kind == FrameKind::reply) return {};
    const std::optional<bridge::Refusal> refusal = bridge::decodeRefusal(reply);
    return refusal ? failureOf(*refusal, remarks) : malformedFrame();
}

Failure BridgeSession::State::takeRemarks(bridge::ServiceConnection& from, const FrameHeader& header,
                                          std::vector<bridge::Remark>& remarks) {
    std::string body;
    const FrameStatus got = from.reader.readBody(header, body, bridge::remarksLimit, patience());
    if (got != FrameStatus::done) return bridge::failureOf(got);
    auto decoded = bridge::decodeRemarks(body);
    if (!decoded) return malformedFrame();
    remarks = std::move(*decoded);
    return {};
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
    const auto link = state_->link.lock();
    const FrameHeader request{0, FrameKind::request, static_cast<std::uint32_t>(module),
                              static_cast<std::uint32_t>(command)};
    const std::string_view payload(static_cast<const char*>(data), size);
    std::string unwanted;
    std::string& answer = reply ? *reply : unwanted;
    const bridge::CommandTap tap = bridge::commandTap();
    if (!tap) [[likely]]
        return state_->conclude(*link, state_->send(*link, request, payload, answer));

    const auto begin = bridge::Clock::now();
    SendOutcome outcome = state_->send(*link, request, payload, answer);
    const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(bridge::Clock::now() - begin);
    const bool answered = outcome.failure.code == FailureCode::none;
    tap({state_->name, request.module, request.command, payload, answered ? answer : std::string_view(),
         outcome.failure, outcome.remarks, time});
    return state_->conclude(*link, std::move(outcome));
}

bool BridgeSession::Connect() {
    const auto link = state_->link.lock();
    try {
        return state_->conclude(*link, {state_->connect(*link), {}});
    } catch (const std::exception&) {
        link->connection.reset();
        return state_->conclude(*link, {{FailureCode::exhausted, {}}, {}});
    }
}

void BridgeSession::close() {
    state_->link.lock()->connection.reset();
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

std::string BridgeSession::service() const { return state_->link.lock()->service; }
