// SPDX-License-Identifier: MIT
//
// Whatever bytes a peer sends, in either role, we read frames to their end and no further. The first byte chooses who
// reads: the reader of frames, which returns no body that the header did not announce or the limit did not allow; a
// server, which serves others afterwards; or a front end.
#include <fuzz/fake_service.h>
#include <fuzz/peer_posix.h>

#include <panelkit/bridge/commands.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/server.h>
#include <platform/system/guarded.h>
#include <testing/scripted_service.h>

#include <sys/un.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <thread>

namespace {

constexpr std::uint32_t limit = 4096;

void readAll(std::string_view bytes) {
    const fuzz::Peer peer(bytes);
    const auto channel = peer.channel();
    bridge::FrameReader reader(*channel);
    bridge::FrameHeader header;
    bridge::AccountBudget budget({.all = 2 * limit});
    bridge::AccountBudget::Share share(budget, "0", false);
    std::string body;
    while (reader.readHeader(header, bridge::after(1000), {1000}) == bridge::FrameStatus::done) {
        const bool whole = reader.readBody(header, body, limit, {1000}, &share) == bridge::FrameStatus::done;
        if (whole && (body.size() != header.length || body.size() > limit)) std::abort();
        if (body.size() > limit) std::abort();
        share.giveBack(share.taken());
        if (!whole) break;
    }
}

// ---- a server

class Echo : public bridge::server::Service {
public:
    bool admits(const bridge::Peer&) override { return true; }
    bridge::server::Answer handle(bridge::server::Session&, const bridge::server::Request& request) override {
        if (request.command == 0) return bridge::server::Answer::reply(request.payload);
        return bridge::server::Answer::refused(bridge::RefusalReason::byModule, Loc::makePhrase("no"));
    }
};

struct RunningServer {
    RunningServer() {
        bridge::server::Options options;
        options.frameLimit = limit;
        options.transfers = {.all = 2 * limit};
        server = std::make_unique<bridge::server::Server>(endpoint, echo, options);
        thread = std::thread([this] { server->run(); });
    }
    ~RunningServer() {
        server->stop();
        thread.join();
    }
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    Echo echo;
    std::unique_ptr<bridge::server::Server> server;
    std::thread thread;
};

void sendToServer(const std::string& endpoint, std::string_view bytes) {
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    endpoint.copy(place.sun_path, sizeof place.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (::connect(socket, reinterpret_cast<sockaddr*>(&place), sizeof place) != 0) std::abort();
    ::send(socket, bytes.data(), std::min<std::size_t>(bytes.size(), 32768), MSG_NOSIGNAL);
    ::shutdown(socket, SHUT_WR);
    for (std::array<char, 4096> answer{}; ::read(socket, answer.data(), answer.size()) > 0;) {}
    ::close(socket);
}

void serve(std::string_view bytes) {
    static const RunningServer running;
    static unsigned count = 0;
    sendToServer(running.endpoint, bytes);
    if (++count % 16 != 0) return;
    CommandSender::Instance().SetEndpoint(running.endpoint);
    BridgeSession* honest = CommandSender::Instance().OpenNewSession("honest", 1);
    std::string reply;
    if (!honest->__SendCommand(ModuleTokens, 0, "ping", 4, &reply) || reply != "ping") std::abort();
    CommandSender::Instance().CloseSession(honest);
}

// ---- a front end

// Takes the frames from the front up to the end of one answer: "working" and remarks are not its end.
std::string_view nextAnswer(std::string_view& frames) {
    const std::string_view all = frames;
    while (frames.size() >= bridge::frameHeaderSize) {
        const bridge::FrameHeader header = bridge::decodeFrameHeader(frames.data());
        frames.remove_prefix(
            std::min<std::size_t>(frames.size(), bridge::frameHeaderSize + std::size_t{header.length}));
        const bool goesOn = header.kind == bridge::FrameKind::working || header.kind == bridge::FrameKind::remarks;
        if (!goesOn) return all.substr(0, all.size() - frames.size());
    }
    frames = {};
    return all;
}

// Answers the hello and each request, and ends the connection when there is nothing left.
void answerWith(const std::string& all, bridge::Channel& channel) {
    std::string_view frames = all;
    bridge::FrameReader reader(channel);
    bridge::FrameHeader asked;
    std::string body;
    while (!frames.empty() && fuzz::readFrame(reader, asked, body)) channel.write(nextAnswer(frames), {}, {1000});
}

void askService(std::string_view bytes) {
    static platform::Guarded<std::string> answers;
    static fuzz::FakeService service(
        [](bridge::Channel& channel) { answerWith(std::string(*answers.lock()), channel); });
    *answers.lock() = bytes;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    BridgeSession* session = CommandSender::Instance().OpenNewSession("asking", 1);
    session->setWaitSetting(10000);
    std::string reply;
    for (int i = 0; i < 3; ++i) {
        const bool answered = session->__SendCommand(ModuleTokens, 0, "ping", 4, &reply);
        const bridge::Failure failure = bridge::lastFailure();
        if (answered != (failure.code == bridge::FailureCode::none)) std::abort();
        if (!answered && failure.text().empty()) std::abort();
        for (const bridge::Remark& remark : bridge::lastRemarks()) Loc::fill(remark.phrase);
    }
    CommandSender::Instance().CloseSession(session);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string bytes(data + 1, data + size);
    switch (data[0] % 3) {
    case 0: readAll(bytes); break;
    case 1: serve(bytes); break;
    default: askService(bytes); break;
    }
    return 0;
}
