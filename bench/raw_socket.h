// SPDX-License-Identifier: MIT
//
// The reference of all measurements of transports: a raw blocking socket between two processes on one processor. A
// request of 64 bytes begins with the wanted size of the reply, as a number of 4 bytes. Every server copies the reply
// from bytes that it has.
#pragma once

#include <bench/side_by_side.h>

#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

namespace bench {

inline constexpr std::size_t requestSize = 64;
inline constexpr std::size_t replySize = 256;

[[noreturn]] inline void fail(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::_Exit(1);
}

inline std::uint32_t wantedSize(const std::string& request) {
    std::uint32_t size = 0;
    std::memcpy(&size, request.data(), sizeof size);
    return size;
}

inline std::string requestFor(std::uint32_t size) {
    std::string request(requestSize, 'q');
    std::memcpy(request.data(), &size, sizeof size);
    return request;
}

inline const std::string& storedBytes() {
    static const std::string bytes(std::size_t{64} << 20, 'r');
    return bytes;
}

// A process that ends with the object.
class Child {
public:
    template <class Work>
    explicit Child(const Work& work) : pid_(::fork()) {
        if (pid_ < 0) fail("fork");
        if (pid_ == 0) {
            work();
            std::_Exit(0);
        }
    }
    ~Child() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

private:
    pid_t pid_;
};

// Calls ::read or ::write until all bytes are through; false when the peer is gone.
template <class Call, class Byte>
bool all(Call call, int socket, Byte* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = call(socket, bytes, size);
        if (count <= 0) return false;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}
inline bool readAll(int from, std::string& to) { return all(::read, from, to.data(), to.size()); }
inline bool writeAll(int to, const std::string& from) { return all(::write, to, from.data(), from.size()); }

inline void serveRaw(int socket) {
    std::string request(requestSize, '\0'), reply;
    while (readAll(socket, request)) {
        reply.assign(storedBytes(), 0, wantedSize(request));
        if (!writeAll(socket, reply)) return;
    }
}

inline void askRaw(int socket, const std::string& request, std::string& reply) {
    reply.resize(wantedSize(request));
    if (!writeAll(socket, request) || !readAll(socket, reply)) fail("raw");
}

// A raw server and the client's socket to it.
class RawPair {
public:
    RawPair() {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) fail("socketpair");
        server_.emplace([&] { serveRaw(ends[1]); });
        ::close(ends[1]);
        socket_ = ends[0];
    }
    ~RawPair() { ::close(socket_); }
    RawPair(const RawPair&) = delete;
    RawPair& operator=(const RawPair&) = delete;

    void ask(const std::string& request, std::string& reply) const { askRaw(socket_, request, reply); }

private:
    int socket_ = -1;
    std::optional<Child> server_;
};

// Prints a row: a way to send a request and get a reply of `size` bytes, against the raw socket.
template <class Ask>
void compareReplies(const std::string& what, std::uint32_t size, int rounds, int times, const RawPair& raw,
                    const Ask& ask) {
    const std::string request = requestFor(size);
    const auto repeat = [&](const auto& send) {
        return secondsOf([&] {
            for (int i = 0; i < times; ++i) {
                std::string reply; // a new one for each, as in real callers
                send(reply);
            }
        });
    };
    compare(
        what, "raw blocking Unix socket", rounds,
        [&] { return repeat([&](std::string& reply) { ask(request, reply); }); },
        [&] { return repeat([&](std::string& reply) { raw.ask(request, reply); }); });
}

// Prints the three rows of a transport.
template <class Ask>
void compareTransport(const std::string& name, const RawPair& raw, const Ask& ask) {
    compareReplies(name + "round trip, 64 bytes to 256", replySize, 21, 2'000, raw, ask);
    compareReplies(name + "reply of 1 MiB", 1U << 20, 15, 50, raw, ask);
    compareReplies(name + "reply of 64 MiB", 64U << 20, 7, 1, raw, ask);
}

inline void shareOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    ::sched_setaffinity(0, sizeof one, &one);
}

} // namespace bench
