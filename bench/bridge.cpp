// SPDX-License-Identifier: MIT
//
// The command bridge against a raw Unix socket: round trips, bulk replies, the memory of a large reply, and the
// processor time and wake-ups of a client that waits. Servers run in processes of their own, on the client's processor.
#include <bench/side_by_side.h>

#include <panelkit/bridge/commands.h>
#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/server.h>
#include <testing/scripted_service.h>

#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

namespace {

constexpr std::size_t requestSize = 64;
constexpr std::size_t replySize = 256;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench_bridge: %s\n", what);
    std::_Exit(1);
}

std::uint32_t wantedSize(const std::string& request) {
    std::uint32_t size = 0;
    std::memcpy(&size, request.data(), sizeof size);
    return size;
}

std::string requestFor(std::uint32_t size) {
    std::string request(requestSize, 'q');
    std::memcpy(request.data(), &size, sizeof size);
    return request;
}

// ---- the servers: each answers with as many bytes as the request asks for; ours sleeps a second for command 2

class Giving : public bridge::server::Service {
public:
    bool admits(const bridge::Peer&) override { return true; }
    bridge::server::Answer handle(bridge::server::Session&, const bridge::server::Request& request) override {
        if (request.command == 2) std::this_thread::sleep_for(std::chrono::seconds(1));
        return bridge::server::Answer::reply(std::string(wantedSize(request.payload), 'r'));
    }
};

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

void serveBridge(const std::string& endpoint) {
    Giving service;
    bridge::server::Server(endpoint, service, {}).run();
}

bool readAll(int from, char* to, std::size_t size) {
    while (size > 0) {
        const ssize_t got = ::read(from, to, size);
        if (got <= 0) return false;
        to += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool writeAll(int to, const char* from, std::size_t size) {
    while (size > 0) {
        const ssize_t put = ::write(to, from, size);
        if (put <= 0) return false;
        from += put;
        size -= static_cast<std::size_t>(put);
    }
    return true;
}

void serveRaw(int socket) {
    std::string request(requestSize, '\0'), reply;
    while (readAll(socket, request.data(), request.size())) {
        reply.assign(wantedSize(request), 'r');
        if (!writeAll(socket, reply.data(), reply.size())) return;
    }
}

// ---- the clients

void askRaw(int socket, const std::string& request, std::string& reply) {
    reply.resize(wantedSize(request));
    if (!writeAll(socket, request.data(), request.size()) || !readAll(socket, reply.data(), reply.size())) fail("raw");
}

void askBridge(BridgeSession& session, const std::string& request, std::string& reply, long command = 1) {
    if (!session.__SendCommand(ModuleTokens, command, request.data(), static_cast<unsigned>(request.size()), &reply)) {
        fail("bridge");
    }
}

void compareReplies(BridgeSession& session, int socket, const std::string& what, std::uint32_t size, int rounds,
                    int times) {
    const std::string request = requestFor(size);
    const auto repeat = [&](const auto& ask) {
        return bench::secondsOf([&] {
            for (int i = 0; i < times; ++i) {
                std::string reply; // a new one for each, as in real callers
                ask(reply);
            }
        });
    };
    bench::compare(
        what, "raw blocking Unix socket", rounds,
        [&] { return repeat([&](std::string& reply) { askBridge(session, request, reply); }); },
        [&] { return repeat([&](std::string& reply) { askRaw(socket, request, reply); }); });
}

// ---- memory

double peakKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0) return std::stod(line.substr(6));
    }
    fail("VmHWM");
}

// Runs in a process of its own, so that nothing else has raised the peak.
void measureMemory(const std::string& endpoint) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        constexpr std::uint32_t size = 64U << 20;
        CommandSender::Instance().SetEndpoint(endpoint);
        BridgeSession* session = CommandSender::Instance().OpenNewSession("Bench", 1);
        std::string reply;
        askBridge(*session, requestFor(replySize), reply);
        const double before = peakKilobytes();
        askBridge(*session, requestFor(size), reply);
        bench::printRow("memory of a 64 MiB reply", "the reply itself",
                        {(peakKilobytes() - before) * 1024.0 / static_cast<double>(size)});
        std::_Exit(0);
    }
    ::waitpid(pid, nullptr, 0);
}

// ---- waiting

struct Usage {
    double seconds;
    double wakeUps;
};

Usage usageNow() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime), static_cast<double>(usage.ru_nvcsw)};
}

template <class Wait>
Usage usageOf(const Wait& wait) {
    const Usage before = usageNow();
    wait();
    const Usage after = usageNow();
    return {after.seconds - before.seconds, after.wakeUps - before.wakeUps};
}

// A command that takes a second, with an idle hook that returns at once, as the silent controllers' do.
void measureWaiting(BridgeSession& session) {
    std::vector<double> processor, wakeUps;
    for (int round = 0; round < 5; ++round) {
        const Usage ours = usageOf([&] {
            VpnTokensController yields;
            SendCommandProgress progress(&session, ModuleTokens, 2, &yields);
            progress.payload = requestFor(replySize);
            if (!progress.Execute()) fail("Execute");
        });
        processor.push_back(ours.seconds / 0.001);
        wakeUps.push_back(ours.wakeUps / 60.0);
    }
    bench::printRow("processor time, 1 s under an idle hook", "0.1 % of a processor", processor);
    bench::printRow("wake-ups, 1 s under an idle hook", "60 a second", wakeUps);
}

void shareOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    ::sched_setaffinity(0, sizeof one, &one);
}

} // namespace

int main() {
    shareOneProcessor();
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) fail("socketpair");
    const Child rawServer([&] { serveRaw(ends[1]); });
    ::close(ends[1]);
    const Child bridgeServer([&] { serveBridge(endpoint); });

    CommandSender::Instance().SetEndpoint(endpoint);
    BridgeSession* session = CommandSender::Instance().OpenNewSession("Bench", 1);
    for (int i = 0; i < 500 && !session->Connect(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    measureMemory(endpoint);
    compareReplies(*session, ends[0], "round trip, 64 bytes to 256", replySize, 21, 2'000);
    compareReplies(*session, ends[0], "reply of 1 MiB", 1U << 20, 15, 50);
    compareReplies(*session, ends[0], "reply of 64 MiB", 64U << 20, 7, 1);
    measureWaiting(*session);
    return 0;
}
