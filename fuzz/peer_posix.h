// SPDX-License-Identifier: MIT
//
// A peer that has sent all its bytes and reads nothing more.
#pragma once

#include <platform/bridge/channel_posix.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace fuzz {

// Our end of a connection.
inline std::unique_ptr<bridge::Channel> channelOver(int socket) {
    return std::make_unique<bridge::Channel>(std::make_unique<bridge::Channel::Stream>(socket));
}

// The other end is open as long as this exists, so that what we send it is not refused.
class Peer {
public:
    explicit Peer(std::string_view bytes) {
        constexpr std::size_t most = 32768; // fits into a socket's buffer without a reader
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data()) != 0) std::abort();
        const std::size_t size = std::min(bytes.size(), most);
        if (::write(ends_[1], bytes.data(), size) != static_cast<ssize_t>(size)) std::abort();
        ::shutdown(ends_[1], SHUT_WR);
    }
    ~Peer() { ::close(ends_[1]); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // Call it once.
    std::unique_ptr<bridge::Channel> channel() const { return channelOver(ends_[0]); }

private:
    std::array<int, 2> ends_{};
};

} // namespace fuzz
