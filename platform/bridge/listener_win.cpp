// SPDX-License-Identifier: MIT
#include <platform/bridge/channel_win.h>
#include <platform/bridge/endpoint.h>
#include <platform/bridge/listener.h>
#include <platform/bridge/peer_win.h>
#include <platform/system/access_win.h>
#include <platform/text/utf16.h>

#include <array>
#include <stdexcept>

namespace bridge {

struct Listener::Socket {
    std::wstring name;
    platform::LocalMemory<void> descriptor;
    platform::Handle pending; // the instance that waits for the next front end
    platform::Handle connected{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    platform::Handle stopping{CreateEventW(nullptr, TRUE, FALSE, nullptr)};

    platform::Handle makeInstance(bool first) const;
};

namespace {

constexpr DWORD pipeBuffer = 64 * 1024;

[[noreturn]] void fail(const std::string& endpoint, const std::string& what) {
    throw std::runtime_error("can't serve the endpoint " + endpoint + ": " + what);
}

// Owner and full control: the service's account. Read and write: the system, the administrators and the users that may
// talk to us. No access over the network.
platform::LocalMemory<void> securityDescriptor(const ListenOptions& options) {
    const std::string own = self().user;
    std::string text = "O:" + own + "D:P(D;;GA;;;NU)(A;;GA;;;SY)(A;;GRGW;;;BA)(A;;GA;;;" + own + ")";
    if (!options.users.empty()) text += "(A;;GRGW;;;" + options.users + ")";
    return platform::descriptorOf(text);
}

} // namespace

platform::Handle Listener::Socket::makeInstance(bool first) const {
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    const DWORD mode = PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | (first ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0);
    return platform::Handle(CreateNamedPipeW(
        name.c_str(), mode, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
        PIPE_UNLIMITED_INSTANCES, pipeBuffer, pipeBuffer, 0, &attributes));
}

Listener::Listener(const std::string& endpoint, const ListenOptions& options) : socket_(std::make_unique<Socket>()) {
    if (const std::string problem = Loc::fill(endpointProblem(endpoint)); !problem.empty()) fail(endpoint, problem);
    socket_->name = platform::toUtf16(endpoint);
    socket_->descriptor = securityDescriptor(options);
    if (!socket_->descriptor) fail(endpoint, platform::systemErrorText(GetLastError()));
    // Not every system enforces the first-instance flag, so an existing pipe is also searched for.
    if (WaitNamedPipeW(socket_->name.c_str(), 1)) fail(endpoint, "another service serves it");
    socket_->pending = socket_->makeInstance(true);
    if (!platform::valid(socket_->pending)) {
        const DWORD error = GetLastError();
        fail(endpoint, error == ERROR_ACCESS_DENIED ? "another service serves it" : platform::systemErrorText(error));
    }
}

Listener::~Listener() = default;

// Windows has handles as long as it has memory, so none is ever the last.
Listener::Accepted Listener::accept() {
    for (;;) {
        if (!platform::valid(socket_->pending)) { // out of resources: the pause saves processor time
            Sleep(50);
            socket_->pending = socket_->makeInstance(false);
        }
        OVERLAPPED operation{};
        operation.hEvent = socket_->connected.get();
        ResetEvent(operation.hEvent);
        const bool already = ConnectNamedPipe(socket_->pending.get(), &operation) != 0;
        const DWORD error = already ? ERROR_PIPE_CONNECTED : GetLastError();
        bool connected = error == ERROR_PIPE_CONNECTED;
        if (error == ERROR_IO_PENDING) {
            const std::array<HANDLE, 2> events{socket_->stopping.get(), operation.hEvent};
            if (WaitForMultipleObjects(2, events.data(), FALSE, INFINITE) == WAIT_OBJECT_0) {
                CancelIoEx(socket_->pending.get(), &operation);
            }
            DWORD ignored = 0;
            connected = GetOverlappedResult(socket_->pending.get(), &operation, &ignored, TRUE) != 0;
        }
        if (WaitForSingleObject(socket_->stopping.get(), 0) == WAIT_OBJECT_0) return {};

        // The next instance is made before this one is returned, so that a pipe exists at every moment.
        auto stream = std::make_unique<Channel::Stream>();
        stream->acceptedHere = true;
        stream->pipe = std::move(socket_->pending);
        socket_->pending = socket_->makeInstance(false);
        if (connected) return {std::make_unique<Channel>(std::move(stream))};
    }
}

void Listener::stop() { SetEvent(socket_->stopping.get()); }

} // namespace bridge
