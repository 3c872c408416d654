// SPDX-License-Identifier: MIT
//
// Channel over a Unix stream socket. Asio's calls are used without blocking; waiting, with a deadline, is done with
// poll() on the native handle.
#include <platform/bridge/channel_posix.h>

#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <asio/write.hpp>

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <thread>

namespace bridge {

namespace {

using asio::local::stream_protocol;

// Pause before a full queue of connections is tried again.
constexpr auto connectPause = std::chrono::milliseconds(5);

int pollTimeout(Deadline deadline) {
    if (deadline == never) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT32_MAX));
}

// Waits until the socket is ready for `events` or in error; false when the deadline passed first.
bool waitFor(int handle, short events, Deadline deadline) {
    pollfd entry{handle, events, 0};
    for (;;) {
        const int ready = ::poll(&entry, 1, pollTimeout(deadline));
        if (ready > 0) return true;
        if (ready == 0 && Clock::now() >= deadline) return false;
        if (ready < 0 && errno != EINTR) return true; // the call itself will report the error
    }
}

// The service has more connections to accept than its queue holds. The system says EAGAIN, which Asio reports as a lack
// of buffers.
bool queueIsFull(const std::error_code& error) {
    return error == asio::error::no_buffer_space || error == asio::error::would_block ||
           error == asio::error::try_again;
}

} // namespace

asio::io_context& streamContext() {
    static auto* const context = new asio::io_context(1); // never freed: sessions may be closed at process exit
    return *context;
}

Channel::Channel(std::unique_ptr<Stream> stream) : stream_(std::move(stream)) {}
Channel::~Channel() = default;

ConnectStatus Channel::connect(const std::string& endpoint, Deadline deadline, std::unique_ptr<Channel>& channel) {
    auto stream = std::make_unique<Stream>();
    std::error_code error;
    stream->socket.open(stream_protocol(), error);
    if (error) return ConnectStatus::exhausted;
    // A blocking connect could wait for ever for a service that no longer accepts.
    stream->socket.native_non_blocking(true, error);
    for (;;) {
        stream->socket.connect(stream_protocol::endpoint(endpoint), error);
        if (!error) break;
        if (error == asio::error::access_denied || error == asio::error::no_permission) {
            return ConnectStatus::accessDenied;
        }
        if (!queueIsFull(error)) return ConnectStatus::noService;
        if (Clock::now() >= deadline) return ConnectStatus::timedOut;
        std::this_thread::sleep_for(connectPause);
    }
    stream->socket.non_blocking(true, error);
    channel = std::make_unique<Channel>(std::move(stream));
    return ConnectStatus::connected;
}

IoStatus Channel::readSome(char* to, std::size_t size, std::size_t& got, Deadline deadline) {
    for (;;) {
        if (!waitFor(stream_->socket.native_handle(), POLLIN, deadline)) return IoStatus::timedOut;
        std::error_code error;
        got = stream_->socket.read_some(asio::buffer(to, size), error);
        if (!error) return IoStatus::done;
        if (error != asio::error::would_block) return IoStatus::closed;
    }
}

IoStatus Channel::write(std::string_view head, std::string_view body, Patience patience) {
    std::array<asio::const_buffer, 2> parts{asio::buffer(head), asio::buffer(body)};
    while (parts[0].size() + parts[1].size() > 0) {
        std::error_code error;
        std::size_t written = stream_->socket.write_some(parts, error);
        if (error == asio::error::would_block) {
            if (!waitFor(stream_->socket.native_handle(), POLLOUT, patience.next())) return IoStatus::timedOut;
            continue;
        }
        if (error) return IoStatus::closed;
        for (asio::const_buffer& part : parts) {
            const std::size_t taken = std::min(written, part.size());
            part += taken;
            written -= taken;
        }
    }
    return IoStatus::done;
}

Peer Channel::peer() const {
    const int handle = stream_->socket.native_handle();
    ucred credentials{};
    socklen_t size = sizeof credentials;
    Peer peer;
    if (::getsockopt(handle, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return peer;
    peer.user = std::to_string(credentials.uid);
    peer.superuser = credentials.uid == 0;
    peer.groups.push_back(std::to_string(credentials.gid));

    std::vector<gid_t> groups(64);
    for (;;) {
        size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        if (::getsockopt(handle, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0) break;
        if (errno != ERANGE) return peer;
        groups.resize(size / sizeof(gid_t));
    }
    groups.resize(size / sizeof(gid_t));
    for (const gid_t group : groups) peer.groups.push_back(std::to_string(group));
    return peer;
}

// Shutting down wakes threads that wait on the socket; the handle itself stays open as long as the channel exists.
void Channel::close() {
    std::error_code ignored;
    stream_->socket.shutdown(stream_protocol::socket::shutdown_both, ignored);
}

} // namespace bridge
