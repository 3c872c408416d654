// SPDX-License-Identifier: MIT
//
// What accounts may take of a server: that it is bounded, and that all of it is given back however a session ends.
#include <platform/bridge/server.h>

#include "../../support/no_descriptors_posix.h"
#include "raw_client.h"

#include <platform/system/secret.h>
#include <testing/scripted_service.h>

using bridge::FrameHeader;
using bridge::FrameKind;
using bridge::FrameStatus;
using bridge::Role;
using bridge::Verdict;
using bridge::server::Answer;
using std::chrono::milliseconds;

namespace {

using raw::Client;
using raw::patience;
using raw::request;
using raw::soon;
using raw::verdictFor;

// ---- a server

class Guarding : public bridge::server::Service {
public:
    bool admits(const bridge::Peer&) override {
        ++asked;
        while (lookupHangs) std::this_thread::sleep_for(milliseconds(5));
        if (lookupFails) throw std::runtime_error("no descriptor for the file of groups");
        return true;
    }
    bool hasReserve(const bridge::Peer&) override { return privileged; }
    // Command 1 returns eight mebibytes, command 2 throws.
    Answer handle(bridge::server::Session&, const bridge::server::Request& request) override {
        if (request.command == 2) throw std::runtime_error("thrown");
        return Answer::reply(std::string(std::size_t{8} << 20, 'x'));
    }
    void ended(bridge::server::Session&) override {
        if (endThrows) throw std::runtime_error("thrown at the end");
    }

    std::atomic<bool> privileged{false}, lookupHangs{false}, lookupFails{false}, endThrows{false};
    std::atomic<int> asked{0};
};

class ALimitedServer : public testing::Test {
protected:
    ALimitedServer() : server(endpoint, service, options()) {
        running = std::thread([this] { server.run(); });
    }
    ~ALimitedServer() override {
        service.lookupHangs = false;
        server.stop();
        running.join();
    }
    static bridge::server::Options options() {
        bridge::server::Options options;
        options.handshakeWait = 300;
        options.silence = 300;
        options.grace = milliseconds(500);
        options.connections = {.all = 12, .account = 100, .reserve = 2};
        options.receivers = {.all = 100, .account = 3};
        options.transfers = {.all = 32U << 20, .account = 10U << 20};
        return options;
    }

    Client connect() const { return raw::connected(endpoint); }
    Client greeted(Role role = Role::commandSession) const { return raw::greeted(endpoint, role); }
    static FrameKind answerKind(const Client& client) { return raw::readFrame(*client).first.kind; }
    bool nothingIsTaken() {
        return soon([this] { return server.usage() == bridge::server::Server::Usage{}; });
    }

    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    Guarding service;
    bridge::server::Server server;
    std::thread running;
};

TEST_F(ALimitedServer, KeepsItsReserveForThoseWhoMayUseIt) {
    std::vector<Client> clients;
    for (int i = 0; i < 10; ++i) clients.push_back(greeted());
    EXPECT_EQ(verdictFor(*connect()), Verdict::overloaded);
    service.privileged = true;
    for (int i = 0; i < 2; ++i) clients.push_back(greeted());
    EXPECT_EQ(verdictFor(*connect()), Verdict::overloaded);
    clients.clear();
    EXPECT_TRUE(nothingIsTaken());
}

TEST_F(ALimitedServer, CountsReceiversApart) {
    std::vector<Client> receivers;
    for (int i = 0; i < 3; ++i) receivers.push_back(greeted(Role::receiver));
    EXPECT_EQ(verdictFor(*connect(), Role::receiver), Verdict::overloaded);
    EXPECT_EQ(verdictFor(*connect()), Verdict::accepted);
}

// Looking up an account may hang in a name service. Those who wait for it are bounded, and the others hear so at once.
TEST_F(ALimitedServer, AnswersWhileLookingUpAccountsHangs) {
    service.lookupHangs = true;
    std::vector<Client> waiting;
    const int most = ::geteuid() == 0 ? 12 : 10; // root may use the reserve
    for (int i = 0; i < most; ++i) waiting.push_back(connect());
    EXPECT_TRUE(soon([&] { return service.asked == most; }));
    EXPECT_EQ(verdictFor(*connect()), Verdict::overloaded);
    service.lookupHangs = false;
    waiting.clear();
    EXPECT_TRUE(nothingIsTaken());
    EXPECT_EQ(verdictFor(*connect()), Verdict::accepted);
}

TEST_F(ALimitedServer, TellsNobodyThatHeIsAStrangerBecauseALookupFailed) {
    service.lookupFails = true;
    EXPECT_EQ(verdictFor(*connect()), Verdict::overloaded);
    EXPECT_TRUE(nothingIsTaken());
}

struct End {
    const char* name;
    Role role;
    std::function<void(bridge::Channel&)> before;
};

class AShare : public ALimitedServer {
protected:
    static const std::vector<End>& ends() {
        static const std::vector<End> all{
            {"the client leaves", Role::commandSession, [](auto&) {}},
            {"half a header", Role::commandSession, [](auto& c) { c.write("half", {}, patience); }},
            {"half a request", Role::commandSession,
             [](auto& c) { request(c, 1, 4U << 20, std::string(3U << 20, 'x')); }},
            {"a request that is too large", Role::commandSession, [](auto& c) { request(c, 1, 0xFFFFFFF0, "x"); }},
            {"a request beyond the budget", Role::commandSession,
             [](auto& c) { request(c, 1, 20U << 20, std::string(20U << 20, 'x')); }},
            {"a frame that is none", Role::commandSession,
             [](auto& c) { writeFrame(c, {.kind = FrameKind{77}}, "x", patience); }},
            {"a command that throws", Role::commandSession, [](auto& c) { request(c, 2, 1, "x"); }},
            {"a reply that is not read", Role::commandSession, [](auto& c) { request(c, 1, 1, "x"); }},
            {"the receiver leaves", Role::receiver, [](auto&) {}},
            {"a receiver that sends nonsense", Role::receiver,
             [](auto& c) { writeFrame(c, {.kind = FrameKind::request}, "x", patience); }},
            {"a receiver with half an answer", Role::receiver,
             [](auto& c) { request(c, 0, 4U << 20, std::string(3U << 20, 'x'), FrameKind::pushAnswered); }},
        };
        return all;
    }
};

TEST_F(AShare, IsGivenBackHoweverTheSessionEnds) {
    for (const bool endThrows : {false, true}) {
        service.endThrows = endThrows;
        for (const End& end : ends()) {
            {
                const Client client = greeted(end.role);
                end.before(*client);
            }
            EXPECT_TRUE(nothingIsTaken()) << end.name;
        }
    }
    { const Client silent = connect(); }
    EXPECT_TRUE(nothingIsTaken()) << "no hello";
}

TEST_F(AShare, IsHeldByAReplyThatNobodyReads) {
    const Client deaf = greeted(), other = greeted();
    request(*deaf, 1, 1, "x");
    ASSERT_TRUE(soon([this] { return server.usage().transfers >= 8U << 20; }));
    request(*other, 1, 1, "x");
    EXPECT_EQ(answerKind(other), FrameKind::refused) << "two replies of 8 MiB, and 10 MiB for the account";
}

// The request is given back before its reply is charged: both together are more than the account may take.
TEST_F(AShare, IsFreeAgainAfterEachRequest) {
    const Client client = greeted();
    bridge::FrameReader reader(*client);
    FrameHeader header;
    std::string body;
    for (int i = 0; i < 3; ++i) {
        request(*client, 1, 4U << 20, std::string(4U << 20, 'x'));
        ASSERT_EQ(reader.readHeader(header, bridge::after(5000), patience), FrameStatus::done);
        EXPECT_EQ(header.kind, FrameKind::reply) << i;
        ASSERT_EQ(reader.readBody(header, body, 8U << 20, patience), FrameStatus::done);
    }
}

// ---- memory and descriptors

// A thread that has ended keeps its stack, of 8 MiB, until somebody waits for its end.
TEST_F(ALimitedServer, KeepsNoThreadsOfSessionsThatHaveEnded) {
    const auto pagesAfter = [&](int sessions) {
        for (int i = 0; i < sessions; ++i) {
            (void)greeted();
            EXPECT_TRUE(nothingIsTaken());
        }
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        return pages;
    };
    const std::size_t before = pagesAfter(10);
    EXPECT_LT(pagesAfter(100), before + (std::size_t{256} << 20) / platform::pageSize());
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST_F(ALimitedServer, UsesOneDescriptorForAConnection) {
    const Client first = greeted();
    const std::size_t before = openDescriptors();
    std::vector<Client> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(greeted());
        clients.push_back(greeted(Role::receiver));
    }
    EXPECT_EQ(openDescriptors() - before, 2 * clients.size()) << "the client's and the server's";
    clients.clear();
    EXPECT_TRUE(soon([&] { return openDescriptors() == before; })) << "also when nobody else comes";
}

TEST_F(ALimitedServer, TellsAClientForWhomNoDescriptorIsLeft) {
    const Client guest = greeted();
    {
        NoDescriptors none;
        none.freeOne(); // for the client's end
        EXPECT_EQ(verdictFor(*connect()), Verdict::overloaded);
        request(*guest, 2, 1, "x"); // those who are in are served
        EXPECT_EQ(answerKind(guest), FrameKind::refused);
    }
    EXPECT_EQ(verdictFor(*connect()), Verdict::accepted);
}

} // namespace
