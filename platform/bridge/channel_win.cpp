// SPDX-License-Identifier: MIT
//
// Channel over a named pipe: overlapped calls, each with a deadline, after which it is cancelled.
#include <platform/bridge/channel_win.h>

#include <platform/bridge/peer_win.h>
#include <platform/system/wipe.h>
#include <platform/text/utf16.h>

#include <algorithm>
#include <array>

namespace bridge {

namespace {

// A small frame is sent with one write, so that the other side wakes only once.
constexpr std::size_t joinedWrite = std::size_t{16} * 1024;

IoStatus writeAll(Channel::Stream& stream, std::string_view bytes, Patience patience) {
    while (!bytes.empty()) {
        if (stream.isClosed()) return IoStatus::closed;
        OVERLAPPED operation{};
        operation.hEvent = stream.writeDone.get();
        ResetEvent(operation.hEvent);
        const auto size = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1U << 20));
        if (!WriteFile(stream.pipe.get(), bytes.data(), size, nullptr, &operation) &&
            GetLastError() != ERROR_IO_PENDING) {
            return IoStatus::closed;
        }
        std::size_t written = 0;
        const IoStatus status = stream.finish(operation, written, patience.next());
        if (status != IoStatus::done) return status;
        bytes.remove_prefix(written);
    }
    return IoStatus::done;
}

} // namespace

DWORD waitTime(Deadline deadline) {
    if (deadline == never) return INFINITE;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<DWORD>(std::clamp<std::int64_t>(left, 0, INFINITE - 1));
}

IoStatus Channel::Stream::finish(OVERLAPPED& operation, std::size_t& transferred, Deadline deadline) {
    const std::array<HANDLE, 2> events{operation.hEvent, closing.get()};
    const DWORD woken = WaitForMultipleObjects(2, events.data(), FALSE, waitTime(deadline));
    if (woken != WAIT_OBJECT_0) CancelIoEx(pipe.get(), &operation);
    DWORD bytes = 0;
    const bool completed = GetOverlappedResult(pipe.get(), &operation, &bytes, TRUE); // a cancelled one ends at once
    transferred = bytes;
    if (completed && bytes > 0) return IoStatus::done; // it may have completed just before it was cancelled
    return woken == WAIT_TIMEOUT ? IoStatus::timedOut : IoStatus::closed;
}

Channel::Channel(std::unique_ptr<Stream> stream) : stream_(std::move(stream)) {}

// Only the handle is closed: disconnecting the pipe would throw away what the peer has not read yet.
Channel::~Channel() = default;

namespace {

bool isExhausted(DWORD error) {
    return error == ERROR_TOO_MANY_OPEN_FILES || error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_OUTOFMEMORY ||
           error == ERROR_NO_SYSTEM_RESOURCES;
}

} // namespace

ConnectStatus Channel::connect(const std::string& endpoint, Deadline deadline, std::unique_ptr<Channel>& channel) {
    const std::wstring name = platform::toUtf16(endpoint);
    auto stream = std::make_unique<Stream>();
    for (;;) {
        // Identification level: the service may learn who we are, but not act in our name.
        stream->pipe.reset(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                                       nullptr));
        if (platform::valid(stream->pipe)) break;
        const DWORD error = GetLastError();
        if (error == ERROR_ACCESS_DENIED) return ConnectStatus::accessDenied;
        if (isExhausted(error)) return ConnectStatus::exhausted;
        if (error != ERROR_PIPE_BUSY) return ConnectStatus::noService;
        if (Clock::now() >= deadline) return ConnectStatus::timedOut;
        WaitNamedPipeW(name.c_str(), std::min<DWORD>(waitTime(deadline), 100));
    }
    channel = std::make_unique<Channel>(std::move(stream));
    return ConnectStatus::connected;
}

IoStatus Channel::readSome(char* to, std::size_t size, std::size_t& got, Deadline deadline) {
    if (stream_->isClosed()) return IoStatus::closed;
    OVERLAPPED operation{};
    operation.hEvent = stream_->readDone.get();
    ResetEvent(operation.hEvent);
    const auto wanted = static_cast<DWORD>(std::min<std::size_t>(size, 1U << 20));
    if (!ReadFile(stream_->pipe.get(), to, wanted, nullptr, &operation) && GetLastError() != ERROR_IO_PENDING) {
        return IoStatus::closed;
    }
    return stream_->finish(operation, got, deadline);
}

IoStatus Channel::write(std::string_view head, std::string_view body, Patience patience) {
    if (body.empty() || head.size() + body.size() > joinedWrite) {
        const IoStatus status = writeAll(*stream_, head, patience);
        return status == IoStatus::done ? writeAll(*stream_, body, patience) : status;
    }
    std::string joined;
    joined.reserve(head.size() + body.size());
    joined.append(head).append(body);
    const platform::WipeOnExit wiped(joined);
    return writeAll(*stream_, joined, patience);
}

Peer Channel::peer() const {
    return stream_->acceptedHere ? pipeClient(stream_->pipe.get()) : pipeOwner(stream_->pipe.get());
}

void Channel::close() { SetEvent(stream_->closing.get()); }

} // namespace bridge
