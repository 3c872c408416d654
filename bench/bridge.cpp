// SPDX-License-Identifier: MIT
//
// The command bridge against a raw Unix socket: round trips, bulk replies, the memory of a large reply, and the
// processor time and wake-ups of a client that waits. Servers run in processes of their own, on the client's processor.
#include <bench/raw_socket.h>

#include <panelkit/bridge/commands.h>
#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/server.h>
#include <platform/stream/stream.h>
#include <platform/system/host.h>
#include <testing/scripted_service.h>

#include <sys/resource.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace {

using bench::fail;
using bench::replySize;
using bench::requestFor;

// Builds a new reply each time; sleeps a second for command 2.
class Giving : public bridge::server::Service {
public:
    Giving() { // as panelkitd does
        platform::returnFreedMemory();
        platform::StreamOut::beforeLargeGrowth = platform::adviseHugePages;
    }
    bool admits(const bridge::Peer&) override { return true; }
    bridge::server::Answer handle(bridge::server::Session&, const bridge::server::Request& request) override {
        if (request.command == 2) std::this_thread::sleep_for(std::chrono::seconds(1));
        std::string reply;
        const std::string_view stored(bench::storedBytes().data(),
                                      bench::wantedSize(request.payload) - sizeof(std::uint32_t));
        platform::StreamOut(reply).append(stored); // with its length
        return bridge::server::Answer::reply(std::move(reply));
    }
};

void serveBridge(const std::string& endpoint) {
    Giving service;
    bridge::server::Server(endpoint, service, {}).run();
}

void askBridge(BridgeSession& session, const std::string& request, std::string& reply, long command = 1) {
    if (!session.__SendCommand(ModuleTokens, command, request.data(), static_cast<unsigned>(request.size()), &reply)) {
        fail("bridge");
    }
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
    return {bench::secondsOf(usage), static_cast<double>(usage.ru_nvcsw)};
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

} // namespace

int main() {
    bench::shareOneProcessor();
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    const bench::RawPair raw;
    const bench::Child server([&] { serveBridge(endpoint); });

    CommandSender::Instance().SetEndpoint(endpoint);
    BridgeSession* session = CommandSender::Instance().OpenNewSession("Bench", 1);
    for (int i = 0; i < 500 && !session->Connect(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    measureMemory(endpoint);
    bench::compareTransport(
        "", raw, [&](const std::string& request, std::string& reply) { askBridge(*session, request, reply); });
    measureWaiting(*session);
    return 0;
}
