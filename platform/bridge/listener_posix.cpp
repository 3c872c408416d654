// SPDX-License-Identifier: MIT
#include <platform/bridge/channel_posix.h>
#include <platform/bridge/endpoint.h>
#include <platform/bridge/listener.h>
#include <platform/system/files.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace bridge {

using asio::local::stream_protocol;

// Accepting may fail again and again, for example without free descriptors: the pause saves processor time.
constexpr auto pauseAfterFailure = std::chrono::milliseconds(50);

struct Listener::Socket {
    std::string path;
    bool ownsPath = false;                    // the file is removed at the end
    std::unique_ptr<platform::FileLock> lock; // held while we serve the endpoint
    asio::io_context io;
    asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()}; // only stop() stops it
    stream_protocol::acceptor acceptor{io};

    std::error_code result; // of the accept in progress
    int spare = -1; // a descriptor that is given up for a client, so that it can be told that there are no others

    ~Socket() {
        if (spare >= 0) ::close(spare);
        if (ownsPath) ::unlink(path.c_str());
    }

    void takeSpare() {
        if (spare < 0) spare = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    }

    std::error_code acceptOne(stream_protocol::socket& accepted);
    bool acceptWithSpare(stream_protocol::socket& accepted);
};

// Returns would_block when the listener was stopped.
std::error_code Listener::Socket::acceptOne(stream_protocol::socket& accepted) {
    takeSpare();
    result = asio::error::would_block;
    acceptor.async_accept(accepted, [this](const std::error_code& error) { result = error; });
    while (result == asio::error::would_block && io.run_one() > 0) {}
    return result;
}

// The client is waiting in the queue, so this does not block.
bool Listener::Socket::acceptWithSpare(stream_protocol::socket& accepted) {
    if (spare < 0) return false;
    ::close(std::exchange(spare, -1));
    std::error_code error;
    acceptor.accept(accepted, error);
    return !error;
}

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw std::runtime_error("can't serve the endpoint " + path + ": " + what);
}

// The process that holds this lock serves the endpoint.
std::unique_ptr<platform::FileLock> takeLock(const std::string& path) {
    try {
        if (auto lock = platform::FileLock::take(path + ".lock")) return lock;
    } catch (const std::exception& error) {
        fail(path, error.what());
    }
    fail(path, "another service serves it");
}

// Everybody may connect: the service checks the credentials and answers a refused account with the reason. The mode is
// set before the name exists: changed by name afterwards, it could be that of another file. Other threads of the
// service state the modes of what they create, so an empty mask does not open their files.
void bindForEverybody(stream_protocol::acceptor& acceptor, const std::string& endpoint, std::error_code& error) {
    if (::fchmod(acceptor.native_handle(), 0666) != 0) return error.assign(errno, std::generic_category()), void();
    const mode_t before = ::umask(0);
    acceptor.bind(stream_protocol::endpoint(endpoint), error);
    ::umask(before);
}

// A socket file that a killed service left is removed: we hold the lock, so no other process serves it.
void listenAt(stream_protocol::acceptor& acceptor, const std::string& endpoint, std::error_code& error) {
    ::unlink(endpoint.c_str());
    acceptor.open(stream_protocol(), error);
    if (!error) bindForEverybody(acceptor, endpoint, error);
    if (!error) acceptor.listen(stream_protocol::acceptor::max_listen_connections, error);
}

} // namespace

Listener::Listener(const std::string& endpoint, const ListenOptions& options) : socket_(std::make_unique<Socket>()) {
    if (const std::string problem = Loc::fill(endpointProblem(endpoint)); !problem.empty()) fail(endpoint, problem);
    socket_->path = endpoint;
    socket_->lock = takeLock(endpoint);

    std::error_code error;
    if (options.inherited >= 0) {
        socket_->acceptor.assign(stream_protocol(), options.inherited, error);
    } else {
        socket_->ownsPath = true;
        listenAt(socket_->acceptor, endpoint, error);
    }
    if (!error) socket_->acceptor.non_blocking(true, error);
    if (error) fail(endpoint, error.message());
}

Listener::~Listener() = default;

Listener::Accepted Listener::accept() {
    stream_protocol::socket accepted(socket_->io);
    for (;;) {
        const std::error_code result = socket_->acceptOne(accepted);
        if (result == asio::error::would_block) break;
        const bool isLast = result == asio::error::no_descriptors && socket_->acceptWithSpare(accepted);
        if (!result || isLast) {
            auto stream = std::make_unique<Channel::Stream>();
            stream->handle = accepted.release();
            return {std::make_unique<Channel>(std::move(stream)), isLast};
        }
        std::this_thread::sleep_for(pauseAfterFailure);
    }
    // Stopped. The accept in progress must end before its variables are destroyed.
    std::error_code ignored;
    socket_->acceptor.close(ignored);
    socket_->work.reset();
    socket_->io.restart();
    socket_->io.run();
    return {};
}

void Listener::stop() { socket_->io.stop(); }

} // namespace bridge
