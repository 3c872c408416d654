// SPDX-License-Identifier: MIT
//
// Connections that need not follow the protocol.
#pragma once

#include <platform/bridge/channel.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>

#include "../../support/test.h"

namespace raw {

constexpr bridge::Patience patience{5000};

using Client = std::unique_ptr<bridge::Channel>;

// Whether it comes true in ten seconds.
inline bool soon(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return condition();
}

inline Client connected(const std::string& endpoint) {
    Client client;
    EXPECT_EQ(bridge::Channel::connect(endpoint, bridge::after(5000), client), bridge::ConnectStatus::connected);
    return client;
}

// The next frame; {} when none comes.
inline std::pair<bridge::FrameHeader, std::string> readFrame(bridge::Channel& from) {
    bridge::FrameReader reader(from);
    bridge::FrameHeader header;
    std::string body;
    if (reader.readHeader(header, bridge::after(5000), patience) != bridge::FrameStatus::done) return {};
    reader.readBody(header, body, 1U << 20, patience);
    return {header, body};
}

// Reads all remaining bytes; returns whether the connection ends in time.
inline bool endsWithin(bridge::Channel& channel, unsigned milliseconds) {
    const bridge::Deadline deadline = bridge::after(milliseconds);
    std::array<char, 256> bytes{};
    std::size_t got = 0;
    bridge::IoStatus status = bridge::IoStatus::done;
    while (status == bridge::IoStatus::done) status = channel.readSome(bytes.data(), bytes.size(), got, deadline);
    return status == bridge::IoStatus::closed;
}

// What the service says to a hello; `malformed` when that is not a welcome.
inline bridge::Welcome welcomeTo(bridge::Channel& client, const std::string& hello) {
    writeFrame(client, {.kind = bridge::FrameKind::hello}, hello, patience);
    const auto [header, body] = readFrame(client);
    if (header.kind != bridge::FrameKind::welcome) return {.verdict = bridge::Verdict::malformed};
    return bridge::decodeWelcome(body).value_or(bridge::Welcome{.verdict = bridge::Verdict::malformed});
}
inline bridge::Verdict verdictFor(bridge::Channel& client, bridge::Role role = bridge::Role::commandSession,
                                  std::uint32_t version = 1) {
    return welcomeTo(client, encode(bridge::Hello{version, role, "raw"})).verdict;
}

inline Client greeted(const std::string& endpoint, bridge::Role role = bridge::Role::commandSession,
                      std::uint32_t version = 1) {
    Client client = connected(endpoint);
    EXPECT_EQ(verdictFor(*client, role, version), bridge::Verdict::accepted);
    return client;
}

// Sends the header of a request that claims to have so many bytes, and some bytes.
inline void request(bridge::Channel& client, std::uint32_t command, std::size_t claimed, const std::string& sent,
                    bridge::FrameKind kind = bridge::FrameKind::request) {
    const auto header = bridge::encodeFrameHeader({static_cast<std::uint32_t>(claimed), kind, 6, command, 1});
    client.write({header.data(), header.size()}, sent, {200});
}

} // namespace raw
