// SPDX-License-Identifier: MIT
//
// Whatever bytes a peer sends, the reader of frames ends, and returns no body that the header did not announce or the
// limit did not allow.
#include <platform/bridge/channel_posix.h>
#include <platform/bridge/frame.h>

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::uint32_t limit = 4096;
constexpr std::size_t mostBytes = 32768; // fits into a socket's buffer without a reader

std::unique_ptr<bridge::Channel> channelOver(int socket) {
    auto stream = std::make_unique<bridge::Channel::Stream>();
    stream->socket.assign(asio::local::stream_protocol(), socket);
    stream->socket.non_blocking(true);
    return std::make_unique<bridge::Channel>(std::move(stream));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) std::abort();
    const auto channel = channelOver(ends[0]);
    {
        const auto peer = channelOver(ends[1]);
        const char* bytes = reinterpret_cast<const char*>(data); // NOLINT: bytes are bytes
        peer->write({bytes, std::min(size, mostBytes)}, {}, {1000});
    }
    bridge::FrameReader reader(*channel);
    bridge::FrameHeader header;
    bridge::AccountBudget budget({.all = 2 * limit});
    bridge::AccountBudget::Share share(budget, "0", false);
    std::string body;
    while (reader.readHeader(header, bridge::after(1000), {1000}) == bridge::FrameStatus::done) {
        const bool whole = reader.readBody(header, body, limit, {1000}, &share) == bridge::FrameStatus::done;
        if (whole && (body.size() != header.length || body.size() > limit)) std::abort();
        if (body.size() > limit) std::abort();
        share.giveBack(share.taken());
        if (!whole) break;
    }
    return 0;
}
