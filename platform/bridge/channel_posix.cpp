// SPDX-License-Identifier: MIT
//
// Channel over a Unix stream socket.
#include <platform/bridge/channel_posix.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

namespace bridge {

namespace {

// Pause before a full queue of connections is tried again.
constexpr auto connectPause = std::chrono::milliseconds(5);

// Milliseconds until the deadline, rounded up; there must be one.
std::int64_t timeUntil(Deadline deadline) {
    return std::max<std::int64_t>(0, std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count());
}

// Waits until the socket takes bytes or is in error; false when the deadline passed first.
bool waitToWrite(int handle, Deadline deadline) {
    pollfd entry{handle, POLLOUT, 0};
    for (;;) {
        const std::int64_t wait = deadline == never ? -1 : std::min<std::int64_t>(timeUntil(deadline), INT32_MAX);
        const int ready = ::poll(&entry, 1, static_cast<int>(wait));
        if (ready > 0) return true;
        if (ready == 0 && Clock::now() >= deadline) return false;
        if (ready < 0 && errno != EINTR) return true; // the call itself will report the error
    }
}

// Connects without waiting; returns 0 or the system's error.
int tryToConnect(int socket, const std::string& endpoint) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (endpoint.size() >= sizeof address.sun_path) return ENAMETOOLONG;
    endpoint.copy(address.sun_path, endpoint.size());
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
}

// As sendmsg() of both parts, without waiting. One part goes by the cheaper call.
ssize_t sendSome(int handle, std::string_view head, std::string_view body) {
    constexpr int flags = MSG_DONTWAIT | MSG_NOSIGNAL;
    if (body.empty()) return ::send(handle, head.data(), head.size(), flags);
    std::array<iovec, 2> parts{iovec{const_cast<char*>(head.data()), head.size()}, // only read
                               iovec{const_cast<char*>(body.data()), body.size()}};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    return ::sendmsg(handle, &message, flags);
}

} // namespace

Channel::Stream::~Stream() {
    if (handle >= 0) ::close(handle);
}

// Setting the limit is a call of its own, so it is set only when it changes. Most reads wait for the same time as the
// one before.
ssize_t Channel::Stream::receive(char* to, std::size_t size, Deadline deadline) {
    const std::int64_t limit = deadline == never ? 0 : timeUntil(deadline);
    if (deadline != never && limit == 0) return ::recv(handle, to, size, MSG_DONTWAIT);
    if (limit != receiveLimit) {
        const timeval time{limit / 1000, limit % 1000 * 1000};
        if (::setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0) return -1;
        receiveLimit = limit;
    }
    return ::recv(handle, to, size, 0);
}

Channel::Channel(std::unique_ptr<Stream> stream) : stream_(std::move(stream)) {}
Channel::~Channel() = default;

ConnectStatus Channel::connect(const std::string& endpoint, Deadline deadline, std::unique_ptr<Channel>& channel) {
    // A blocking connect could wait for ever for a service that no longer accepts.
    auto stream = std::make_unique<Stream>();
    stream->handle = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (stream->handle < 0) return ConnectStatus::exhausted;
    while (const int error = tryToConnect(stream->handle, endpoint)) {
        if (error == EACCES || error == EPERM) return ConnectStatus::accessDenied;
        if (error != EAGAIN) return ConnectStatus::noService; // it would: more connections wait than the queue holds
        if (Clock::now() >= deadline) return ConnectStatus::timedOut;
        std::this_thread::sleep_for(connectPause);
    }
    ::fcntl(stream->handle, F_SETFL, 0);
    channel = std::make_unique<Channel>(std::move(stream));
    return ConnectStatus::connected;
}

IoStatus Channel::readSome(char* to, std::size_t size, std::size_t& got, Deadline deadline) {
    for (;;) {
        const ssize_t received = stream_->receive(to, size, deadline);
        if (received > 0) {
            got = static_cast<std::size_t>(received);
            return IoStatus::done;
        }
        if (received == 0 || (errno != EINTR && errno != EAGAIN)) return IoStatus::closed;
        if (Clock::now() >= deadline) return IoStatus::timedOut;
    }
}

IoStatus Channel::write(std::string_view head, std::string_view body, Patience patience) {
    while (head.size() + body.size() > 0) {
        const ssize_t sent = sendSome(stream_->handle, head, body);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && errno != EAGAIN) return IoStatus::closed;
        if (sent < 0 && !waitToWrite(stream_->handle, patience.next())) return IoStatus::timedOut;
        const std::size_t written = sent < 0 ? 0 : static_cast<std::size_t>(sent);
        const std::size_t ofHead = std::min(written, head.size());
        head.remove_prefix(ofHead);
        body.remove_prefix(written - ofHead);
    }
    return IoStatus::done;
}

Peer Channel::peer() const {
    const int handle = stream_->handle;
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
void Channel::close() { ::shutdown(stream_->handle, SHUT_RDWR); }

} // namespace bridge
