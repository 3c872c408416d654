// SPDX-License-Identifier: MIT
#include <platform/bridge/connection.h>

#include <optional>
#include <utility>
#include <vector>

namespace bridge {

namespace {

using Loc::N_;

// The failure, with the reason from the service if there is one.
Failure saidBy(FailureCode code, const Welcome& welcome) {
    std::vector<Loc::Phrase> phrases{{describe(code), {}}};
    for (const Remark& remark : welcome.why) phrases.push_back(remark.phrase);
    if (welcome.why.empty() && !welcome.text.empty()) phrases.push_back(Loc::verbatim(welcome.text));
    return {code, std::move(phrases)};
}

Failure failureOf(const Welcome& welcome, std::uint32_t asked) {
    switch (welcome.verdict) {
    case Verdict::accepted:
        if (welcome.version >= oldestProtocolVersion && welcome.version <= asked) return {};
        break;
    case Verdict::accessDenied: return saidBy(FailureCode::accessDenied, welcome);
    case Verdict::overloaded: return saidBy(FailureCode::overloaded, welcome);
    case Verdict::versionMismatch: break;
    default:
        return {FailureCode::versionMismatch,
                {Loc::makePhrase("the service does not understand the greeting of this program")}};
    }
    return {FailureCode::versionMismatch,
            {Loc::makePhrase("the service speaks version %d of the protocol; this program speaks versions %d to %d",
                             welcome.version, oldestProtocolVersion, protocolVersion)}};
}

Failure failureOf(ConnectStatus status, const std::string& endpoint) {
    switch (status) {
    case ConnectStatus::connected: return {};
    case ConnectStatus::accessDenied:
        return {FailureCode::accessDenied, {Loc::makePhrase("access denied: %s", endpoint)}};
    case ConnectStatus::timedOut:
        return {FailureCode::timedOut, {Loc::makePhrase("the service does not answer: %s", endpoint)}};
    case ConnectStatus::exhausted:
        return {FailureCode::noService,
                {Loc::makePhrase("no connection to the service can be opened: this program has too many files open, or "
                                 "memory is short")}};
    default:
        return {FailureCode::noService, {Loc::makePhrase("the service isn't running: nobody listens at %s", endpoint)}};
    }
}

Failure shakeHands(ServiceConnection& connection, const Hello& hello, Patience patience) {
    // A service that refuses us may do so without reading: its welcome says more than a failed write.
    writeFrame(*connection.channel, {.kind = FrameKind::hello}, encode(hello), patience);

    FrameHeader header;
    std::string body;
    FrameStatus status = connection.reader.readHeader(header, patience.overall, patience);
    if (status == FrameStatus::done && header.kind == FrameKind::welcome) {
        status = connection.reader.readBody(header, body, helloLimit, patience);
    }
    if (Failure failed = failureOf(status); failed.code != FailureCode::none) return failed;
    std::optional<Welcome> welcome = decodeWelcome(body);
    if (!welcome) {
        return {FailureCode::versionMismatch,
                {Loc::makePhrase("what listens there does not answer as a panelkit service")}};
    }
    connection.welcome = std::move(*welcome);
    return failureOf(connection.welcome, hello.version);
}

// Sets `connection` also when the service answered with another version.
Failure connectSpeaking(const std::string& endpoint, const Hello& hello, Patience patience,
                        std::unique_ptr<ServiceConnection>& connection) {
    std::unique_ptr<Channel> channel;
    const ConnectStatus status = Channel::connect(endpoint, patience.overall, channel);
    if (status != ConnectStatus::connected) return failureOf(status, endpoint);
    auto made = std::make_unique<ServiceConnection>(std::move(channel));

    // PINs are sent over this connection, so an account that is not trusted must not serve it.
    const Peer owner = made->channel->peer();
    if (!trustsService(owner)) {
        return {FailureCode::strangeService,
                {Loc::makePhrase("the service is run by an account that is not trusted: %s at %s", displayName(owner),
                                 endpoint)}};
    }
    Failure outcome = shakeHands(*made, hello, patience);
    const bool mismatch = made->welcome.verdict == Verdict::versionMismatch;
    if (outcome.code == FailureCode::none || mismatch) connection = std::move(made);
    return outcome;
}

} // namespace

Failure failureOf(FrameStatus status) {
    switch (status) {
    case FrameStatus::done: return {};
    case FrameStatus::timedOut: return {FailureCode::timedOut};
    case FrameStatus::tooLarge:
        return lostBy(N_("the connection to the service was lost: it sent a frame above the limit"));
    default: return {FailureCode::connectionLost};
    }
}

Failure lostBy(Loc::MarkedWording<> why) { return {FailureCode::connectionLost, {Loc::makePhrase(why)}}; }

Failure requestTooLarge(std::uint64_t size, std::uint64_t limit) {
    return {FailureCode::tooLarge,
            {Loc::makePhrase("the request is too large: %d bytes, the service takes %d", size, limit)}};
}

Failure failureOf(IoStatus status) {
    if (status == IoStatus::done) return {};
    return failureOf(status == IoStatus::timedOut ? FrameStatus::timedOut : FrameStatus::closed);
}

Failure connectTo(const std::string& endpoint, Role role, const std::string& name, Patience patience,
                  std::unique_ptr<ServiceConnection>& connection) {
    Hello hello{protocolVersion, role, name};
    Failure outcome = connectSpeaking(endpoint, hello, patience, connection);
    if (outcome.code != FailureCode::versionMismatch || !connection) return outcome;
    // An older service whose version is still supported is tried again with its own version.
    hello.version = connection->welcome.version;
    connection.reset();
    if (hello.version < oldestProtocolVersion || hello.version >= protocolVersion) return outcome;
    outcome = connectSpeaking(endpoint, hello, patience, connection);
    if (outcome.code != FailureCode::none) connection.reset();
    return outcome;
}

} // namespace bridge
