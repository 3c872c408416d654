// SPDX-License-Identifier: MIT
//
// How costs grow with the number of records, sessions, objects, policy sections and listeners: rows "curve,count,cost"
// for bench/curves, which draws them. A cost that does not grow is a flat line.
#include <bench/office.h>
#include <bench/plain_codec.h>

#include <panelkit/bridge/command_stream.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/server.h>
#include <testing/scripted_service.h>

#include <sys/resource.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <latch>

namespace {

using bench::require;

void printPoint(const char* curve, std::size_t count, double cost) {
    std::printf("%s,%zu,%g\n", curve, count, cost);
    std::fflush(stdout);
}

double medianOf(int rounds, const std::function<double()>& measure) {
    std::vector<double> values;
    for (int i = 0; i < rounds; ++i) values.push_back(measure());
    return bench::median(std::move(values));
}

// ---- nanoseconds for each record, from 10 to 1,000,000

void measureRecords() {
    for (std::size_t count = 10; count <= 1'000'000; count *= 10) {
        const std::size_t times = std::max<std::size_t>(1, 100'000 / count);
        const double perRecord = 1e9 / static_cast<double>(count * times);
        const bench::Listing listing = bench::listingOf(count);
        std::string bytes;
        CommandStreamOut(bytes) << listing;
        const auto decode = [&] {
            return perRecord * bench::secondsOf([&] {
                       for (std::size_t i = 0; i < times; ++i) {
                           bench::Listing fresh;
                           CommandStreamIn(bytes) >> fresh;
                       }
                   });
        };
        const auto encode = [&] {
            return perRecord * bench::secondsOf([&] {
                       for (std::size_t i = 0; i < times; ++i) {
                           std::string fresh;
                           CommandStreamOut(fresh) << listing;
                       }
                   });
        };
        printPoint("decoding, ns per record", count, medianOf(9, decode));
        printPoint("encoding, ns per record", count, medianOf(9, encode));
    }
}

// ---- microseconds for each command, with 1 to 256 sessions that send at once

class Echo : public bridge::server::Service {
public:
    bool admits(const bridge::Peer&) override { return true; }
    bridge::server::Answer handle(bridge::server::Session&, const bridge::server::Request& request) override {
        return bridge::server::Answer::reply(std::string(request.payload));
    }
};

// A server on threads of this process.
class RunningServer {
public:
    RunningServer() : thread_([this] { server_.run(); }) {}
    ~RunningServer() {
        server_.stop();
        thread_.join();
    }
    RunningServer(const RunningServer&) = delete;
    RunningServer& operator=(const RunningServer&) = delete;

    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    bridge::server::Server& operator*() { return server_; }

private:
    Echo echo_;
    bridge::server::Server server_{endpoint, echo_, {}};
    std::thread thread_;
};

// Every client's work on a thread of its own, which waits for `begin` when it is ready. Returns the time from then to
// the end of the last.
double secondsOfAll(std::size_t clients, const std::function<void(std::latch& ready, std::latch& begin)>& work) {
    std::latch ready(static_cast<std::ptrdiff_t>(clients)), begin(1);
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < clients; ++i) threads.emplace_back([&] { work(ready, begin); });
    ready.wait();
    return bench::secondsOf([&] {
        begin.count_down();
        threads.clear();
    });
}

void measureSessions() {
    constexpr std::size_t commands = 20'000;
    const RunningServer server;
    CommandSender::Instance().SetEndpoint(server.endpoint);
    for (const std::size_t sessions : {1U, 4U, 16U, 64U, 256U}) {
        const double time = secondsOfAll(sessions, [&](std::latch& ready, std::latch& begin) {
            BridgeSession* const session = CommandSender::Instance().OpenNewSession("Bench", 1);
            require(session->Connect(), "a session");
            ready.count_down();
            begin.wait();
            std::string reply;
            for (std::size_t i = 0; i < commands / sessions; ++i) {
                require(session->__SendCommand(ModuleTokens, 1, "0123456789abcdef", 16, &reply), "a command");
            }
            CommandSender::Instance().CloseSession(session);
        });
        printPoint("sessions at once, us per command", sessions, time * 1e6 / commands);
    }
}

// ---- 100 notifications a second: microseconds from one to its last listener, and of processor time for each delivery

using bridge::FrameHeader;
using bridge::FrameKind;

// Answers notifications until the connection ends.
void listen(const std::string& endpoint, std::latch& ready, std::atomic<int>& arrived) {
    std::unique_ptr<bridge::Channel> channel;
    const bool connected =
        bridge::Channel::connect(endpoint, bridge::after(5'000), channel) == bridge::ConnectStatus::connected;
    require(connected, "a listener");
    bridge::FrameReader reader(*channel);
    FrameHeader header;
    std::string payload;
    const auto read = [&] {
        return reader.readHeader(header, bridge::never, {}) == bridge::FrameStatus::done &&
               reader.readBody(header, payload, bridge::defaultFrameLimit, {}) == bridge::FrameStatus::done;
    };
    const bridge::Hello hello{bridge::protocolVersion, bridge::Role::receiver, "Bench"};
    writeFrame(*channel, {.kind = FrameKind::hello}, encode(hello), {});
    require(read() && header.kind == FrameKind::welcome, "a listener's welcome");
    ready.arrive_and_wait();
    while (read()) {
        ++arrived;
        writeFrame(*channel, {.kind = FrameKind::pushAnswered, .tag = header.tag}, "", {});
    }
}

double processorSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void measureListeners(std::size_t listeners) {
    constexpr int notifications = 200, aSecond = 100;
    std::atomic<int> arrived{0};
    std::vector<std::jthread> threads; // end with the server
    RunningServer server;
    std::latch ready(static_cast<std::ptrdiff_t>(listeners) + 1);
    for (std::size_t i = 0; i < listeners; ++i) threads.emplace_back([&] { listen(server.endpoint, ready, arrived); });
    ready.arrive_and_wait();
    std::vector<double> delays;
    const double before = processorSeconds();
    auto next = bench::Clock::now();
    for (int i = 1; i <= notifications; ++i) {
        std::this_thread::sleep_until(next += std::chrono::microseconds(1'000'000 / aSecond));
        const auto pushed = bench::Clock::now();
        (*server).push({25, 7, std::string(100, 'p'), nullptr});
        while (arrived < i * static_cast<int>(listeners)) std::this_thread::sleep_for(std::chrono::microseconds(50));
        delays.push_back(std::chrono::duration<double, std::micro>(bench::Clock::now() - pushed).count());
    }
    const double used = processorSeconds() - before;
    printPoint("notifications, us to the last listener", listeners, bench::median(delays));
    printPoint("notifications, us of processor time per delivery", listeners,
               used * 1e6 / static_cast<double>(notifications * listeners));
}

// ---- microseconds for each object on a token, and for each section of a policy

void measureObjects() {
    bench::Office office;
    bench::OwnLook look(office.service().state());
    bench::Maker maker;
    for (const int objects : {10, 100, 1'000, 5'000, 20'000}) {
        while (maker.made() < objects) look.store(maker.next());
        const double perObject = 1e6 / objects;
        // The service decodes the new ones first; a listing that waits too long for that says that it is incomplete.
        for (int i = 0; i < 10 && office.look() != static_cast<std::size_t>(objects); ++i) {}
        require(office.look() == static_cast<std::size_t>(objects), "a complete listing");
        const auto listing = [&] { return perObject * bench::secondsOf([&] { office.look(); }); };
        const auto bare = [&] { return perObject * bench::secondsOf([&] { look.pass(); }); };
        printPoint("listing certificates, us for each", static_cast<std::size_t>(objects), medianOf(5, listing));
        printPoint("a bare pass over the token, us for each", static_cast<std::size_t>(objects), medianOf(5, bare));
    }
}

std::string policyOf(int sections) {
    std::string text = "title = Sections\nversion = 1\n";
    for (int i = 0; i < sections; ++i) {
        const std::string number = std::to_string(i);
        text += "[s" + number + "]\naction = pass\nnetwork = 10." + std::to_string(i / 250) + "." +
                std::to_string(i % 250) + ".0/24\n";
    }
    return text;
}

void measureSections() {
    RunningService service;
    const std::string path = service.folder().file("office.lsp");
    bench::secondsOfPanelctl(service, {"policy", "source", "set", "--source", "SOURCE_FILE", "--file", path});
    for (const int sections : {1, 10, 100, 1'000}) {
        platform::replaceFile(path, policyOf(sections), true);
        const auto activation = [&] {
            return bench::secondsOfPanelctl(service, {"policy", "activate", "system"}) * 1e3;
        };
        printPoint("activating a policy, ms", static_cast<std::size_t>(sections), medianOf(5, activation));
    }
}

} // namespace

int main() {
    // Making objects, not listing them, would take minutes on a disk.
    if (std::filesystem::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 1);
    bench::keepTheHeap();
    measureRecords();
    measureSessions();
    for (const std::size_t listeners : {1U, 10U, 30U, 100U}) measureListeners(listeners);
    measureSections();
    measureObjects();
    return 0;
}
