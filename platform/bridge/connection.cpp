// SPDX-License-Identifier: MIT
#include <platform/bridge/connection.h>

#include <optional>
#include <utility>

namespace bridge {

namespace {

Failure failureOf(const Welcome& welcome) {
    switch (welcome.verdict) {
    case Verdict::accepted: return {};
    case Verdict::accessDenied: return makeFailure(FailureCode::accessDenied, welcome.text);
    case Verdict::overloaded: return makeFailure(FailureCode::overloaded, welcome.text);
    default:
        return makeFailure(FailureCode::versionMismatch, "version " + std::to_string(welcome.version) + ", ours is " +
                                                             std::to_string(protocolVersion));
    }
}

Failure failureOf(ConnectStatus status, const std::string& endpoint) {
    switch (status) {
    case ConnectStatus::connected: return {};
    case ConnectStatus::accessDenied: return makeFailure(FailureCode::accessDenied, endpoint);
    case ConnectStatus::timedOut: return makeFailure(FailureCode::timedOut, endpoint);
    default: return makeFailure(FailureCode::noService, "nobody listens at " + endpoint);
    }
}

Failure shakeHands(Connection& connection, const Hello& hello, Patience patience) {
    // A service that refuses us may do so without reading: its welcome tells more than a failed write.
    writeFrame(*connection.channel, {.kind = FrameKind::hello}, encode(hello), patience);

    FrameHeader header;
    std::string body;
    FrameStatus status = connection.reader.readHeader(header, patience.overall, patience);
    if (status == FrameStatus::done && header.kind == FrameKind::welcome) {
        status = connection.reader.readBody(header, body, helloLimit, patience);
    }
    if (Failure failed = failureOf(status); failed.code != FailureCode::none) return failed;
    std::optional<Welcome> welcome = decodeWelcome(body);
    if (!welcome) return makeFailure(FailureCode::versionMismatch, "it does not answer as a panelkit service");
    connection.welcome = std::move(*welcome);
    return failureOf(connection.welcome);
}

} // namespace

Failure makeFailure(FailureCode code, const std::string& detail) {
    std::string text = describe(code);
    if (!detail.empty()) text += ": " + detail;
    return {code, std::move(text)};
}

Failure failureOf(FrameStatus status) {
    switch (status) {
    case FrameStatus::done: return {};
    case FrameStatus::timedOut: return makeFailure(FailureCode::timedOut);
    case FrameStatus::tooLarge: return makeFailure(FailureCode::connectionLost, "it sent a reply above the limit");
    default: return makeFailure(FailureCode::connectionLost);
    }
}

Failure failureOf(IoStatus status) {
    if (status == IoStatus::done) return {};
    return failureOf(status == IoStatus::timedOut ? FrameStatus::timedOut : FrameStatus::closed);
}

Failure connectTo(const std::string& endpoint, Role role, const std::string& name, Patience patience,
                  std::unique_ptr<Connection>& connection) {
    std::unique_ptr<Channel> channel;
    const ConnectStatus status = Channel::connect(endpoint, patience.overall, channel);
    if (status != ConnectStatus::connected) return failureOf(status, endpoint);
    auto made = std::make_unique<Connection>(std::move(channel));

    // Whoever serves the endpoint would read the PINs that go over it.
    const Peer owner = made->channel->peer();
    if (!trustsService(owner)) {
        return makeFailure(FailureCode::strangeService, displayName(owner) + " at " + endpoint);
    }
    Failure outcome = shakeHands(*made, {protocolVersion, role, name}, patience);
    if (outcome.code == FailureCode::none) connection = std::move(made);
    return outcome;
}

} // namespace bridge
