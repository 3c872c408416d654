// SPDX-License-Identifier: MIT
#include <platform/bridge/server.h>

#include <platform/bridge/bridge_session.h>
#include <platform/bridge/call_limits.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>
#include <platform/bridge/frame.h>
#include <testing/scripted_service.h>

#include "../../support/bytes.h"
#include "../../support/run_speed.h"
#include "../../support/waiting.h"
#include "raw_client.h"

#include <random>

using bridge::FrameHeader;
using bridge::FrameKind;
using bridge::FrameStatus;
using bridge::IoStatus;
using bridge::server::Answer;
using bridge::server::Request;
using bridge::server::Session;
using raw::patience;
using raw::readFrame;
using std::chrono::milliseconds;

namespace {

// Command 1 echoes; 2 counts per session; 3 waits until it is released; 4 throws; 5 returns as many bytes as requested;
// 6 remarks on its reply; 7 refuses for two reasons, one of them the payload.
class TestService : public bridge::server::Service {
public:
    bool admits(const bridge::Peer&) override { return admitsAll; }

    Answer handle(Session& session, const Request& request) override {
        switch (request.command) {
        case 1: return Answer::reply(request.payload);
        case 2: {
            const int count = session.state.has_value() ? std::any_cast<int>(session.state) + 1 : 1;
            session.state = count;
            return Answer::reply(std::to_string(count));
        }
        case 3:
            gate.pass();
            ++carriedOut;
            return Answer::reply("let go");
        case 4: throw std::runtime_error("the handler threw");
        case 5: return Answer::reply(std::string(std::stoul(request.payload), 'x'));
        case 6: return Answer::reply("fine", {{30, Loc::makePhrase("but %s", request.payload)}});
        case 7:
            return Answer::refused(bridge::RefusalReason::byModule,
                                   {{31, Loc::makePhrase("no")}, {32, Loc::verbatim(request.payload)}}, 31);
        default:
            return Answer::refused(bridge::RefusalReason::unknownCommand,
                                   Loc::makePhrase("no command %d", request.command));
        }
    }
    void ended(Session&) override { ++endedSessions; }
    void hurry() override { hurried = true; }
    void turnedAway(const bridge::Peer&, bridge::Verdict verdict) override { turnedAwayFor = verdict; }

    std::atomic<bool> admitsAll{true};
    std::atomic<bool> hurried{false};
    std::atomic<int> endedSessions{0};
    std::atomic<bridge::Verdict> turnedAwayFor{bridge::Verdict::accepted};
    std::atomic<int> carriedOut{0};
    Gate gate;
};

class AServer : public testing::Test {
protected:
    explicit AServer(bridge::server::Options with = options()) : server(endpoint, service, std::move(with)) {
        running = std::thread([this] { endedInTime = server.run(); });
        CommandSender::Instance().SetEndpoint(endpoint);
    }
    ~AServer() override {
        service.gate.open();
        stop();
    }
    void stop() {
        server.stop();
        if (running.joinable()) running.join();
    }

    static bridge::server::Options options() {
        bridge::server::Options small;
        small.handshakeWait = 300;
        small.silence = 500;
        small.workingInterval = 100;
        small.connections = {.all = 256, .account = 20};
        small.transfers = {.all = 8U << 20};
        return small;
    }

    static BridgeSession* open() { return CommandSender::Instance().OpenNewSession("Test", 1); }
    static bool send(BridgeSession* session, long command, const std::string& payload = {},
                     std::string* reply = nullptr) {
        return session->__SendCommand(ModuleTokens, command, payload.data(), static_cast<unsigned>(payload.size()),
                                      reply);
    }
    // A command that takes longer than the session's wait setting.
    void showsSignsOfLife() {
        BridgeSession* session = open();
        session->setWaitSetting(300);
        std::thread later([this] {
            service.gate.awaitWaiting(1);
            std::this_thread::sleep_for(milliseconds(900));
            service.gate.open();
        });
        std::string reply;
        EXPECT_TRUE(send(session, 3, "", &reply)) << bridge::lastFailure().text();
        EXPECT_EQ(reply, "let go");
        later.join();
    }
    bool answersEcho() const {
        BridgeSession* session = open();
        std::string reply;
        const bool answered = send(session, 1, "still there?", &reply) && reply == "still there?";
        CommandSender::Instance().CloseSession(session);
        return answered;
    }

    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    TestService service;
    bridge::server::Server server;
    std::thread running;
    bool endedInTime = false;
};

TEST_F(AServer, AnswersRefusesAndKeepsStatePerSession) {
    BridgeSession* one = open();
    BridgeSession* two = open();
    std::string reply;
    EXPECT_TRUE(send(one, 2, "", &reply));
    EXPECT_TRUE(send(one, 2, "", &reply));
    EXPECT_EQ(reply, "2");
    EXPECT_TRUE(send(two, 2, "", &reply));
    EXPECT_EQ(reply, "1");
    EXPECT_FALSE(send(one, 99, "", &reply));
    EXPECT_EQ(bridge::lastFailure().text(), "no command 99");
    EXPECT_FALSE(send(one, 4));
    EXPECT_EQ(bridge::lastFailure().text(), "the handler threw");
    EXPECT_TRUE(send(one, 2, "", &reply)) << "a refusal leaves the session usable";
    CommandSender::Instance().CloseSession(one);
    CommandSender::Instance().CloseSession(two);
    stop();
    EXPECT_EQ(service.endedSessions, 2);
}

TEST_F(AServer, TellsAStrangerThatHeIsRefused) {
    service.admitsAll = false;
    EXPECT_FALSE(send(open(), 1));
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::accessDenied);
    ASSERT_EQ(bridge::lastFailure().phrases.size(), 2U);
    EXPECT_EQ(bridge::lastFailure().phrases[1].wording, "%s may not use this service");
}

TEST_F(AServer, IsNotHeldUpByASlowCommandOrASilentClient) {
    const auto silent = raw::connected(endpoint);
    const auto halfway = raw::greeted(endpoint);
    halfway->write("only a part of a hea", {}, patience);
    std::thread slow([] {
        std::string reply;
        EXPECT_TRUE(send(open(), 3, "", &reply));
        EXPECT_EQ(reply, "let go");
    });
    service.gate.awaitWaiting(1);
    EXPECT_TRUE(answersEcho());
    EXPECT_TRUE(raw::endsWithin(*silent, 2000)) << "a hello that never comes";
    EXPECT_TRUE(raw::endsWithin(*halfway, 2000)) << "a frame that is not finished";
    service.gate.open();
    slow.join();
}

TEST_F(AServer, ShowsSignsOfLifeWhileACommandRuns) { showsSignsOfLife(); }

TEST_F(AServer, WelcomesEveryVersionThatItSpeaksAndNoOther) {
    const auto welcomeTo = [this](const std::string& hello) {
        const auto channel = raw::connected(endpoint);
        const bridge::Welcome welcome = raw::welcomeTo(*channel, hello);
        EXPECT_TRUE(welcome.verdict == bridge::Verdict::accepted || raw::endsWithin(*channel, 2000));
        return std::pair(welcome.verdict, welcome.version);
    };
    const auto says = [](std::uint32_t version, bridge::Role role = bridge::Role::commandSession) {
        return encode(bridge::Hello{version, role, "x"});
    };
    using bridge::Verdict;
    EXPECT_EQ(welcomeTo(says(1)), std::pair(Verdict::accepted, 1U)) << "the older of the two";
    EXPECT_EQ(welcomeTo(says(2)), std::pair(Verdict::accepted, 2U));
    EXPECT_EQ(welcomeTo(says(3)), std::pair(Verdict::accepted, 2U)) << "the older of the two";
    EXPECT_EQ(welcomeTo(says(0xFFFFFFFF)), std::pair(Verdict::accepted, 2U));
    EXPECT_EQ(welcomeTo(says(0)), std::pair(Verdict::versionMismatch, 2U));
    EXPECT_EQ(welcomeTo(says(2, bridge::Role{7})), std::pair(Verdict::versionMismatch, 2U));
    EXPECT_EQ(welcomeTo("panelkit").first, Verdict::malformed);
    EXPECT_EQ(welcomeTo(std::string(4000, 'x')).first, Verdict::malformed);
    EXPECT_TRUE(answersEcho());
}

TEST_F(AServer, RemarksToThoseWhoUnderstandIt) {
    const auto framesOf = [](bridge::Channel& channel, std::uint32_t command) {
        writeFrame(channel, {.kind = FrameKind::request, .command = command, .tag = 9}, "why", patience);
        bridge::FrameReader reader(channel);
        std::vector<std::pair<FrameHeader, std::string>> frames;
        do {
            frames.emplace_back();
            EXPECT_EQ(reader.readHeader(frames.back().first, bridge::after(5000), patience), FrameStatus::done);
            reader.readBody(frames.back().first, frames.back().second, 1U << 20, patience);
            EXPECT_EQ(frames.back().first.tag, 9U);
        } while (frames.back().first.kind == FrameKind::remarks);
        return frames;
    };
    const auto old = raw::greeted(endpoint), current = raw::greeted(endpoint, bridge::Role::commandSession, 2);
    const auto reply = framesOf(*current, 6);
    ASSERT_EQ(reply.size(), 2U);
    EXPECT_EQ(bridge::decodeRemarks(reply[0].second).value(),
              (std::vector<bridge::Remark>{{30, Loc::makePhrase("but %s", "why")}}));
    EXPECT_EQ(reply[1].second, "fine");
    const auto refusal = framesOf(*current, 7);
    ASSERT_EQ(refusal.size(), 2U);
    EXPECT_EQ(bridge::decodeRemarks(refusal[0].second).value().size(), 2U);
    for (const auto& frames : {framesOf(*old, 7), {refusal[1]}}) {
        ASSERT_EQ(frames.size(), 1U) << "no remarks in the first version";
        const bridge::Refusal told = bridge::decodeRefusal(frames[0].second).value();
        EXPECT_EQ(told.text, "no: why") << "in English for everybody";
        EXPECT_EQ(told.detail, 31U);
    }
    EXPECT_EQ(framesOf(*old, 6).size(), 1U);
    EXPECT_EQ(framesOf(*current, 1).size(), 1U) << "nothing to remark";
}

// Data of a client is repeated in remarks; it must not be more than the client accepts.
TEST_F(AServer, RemarksNoMoreThanFits) {
    std::string reply;
    BridgeSession* session = open();
    EXPECT_TRUE(send(session, 6, std::string(7U << 20, 'x'), &reply)) << bridge::lastFailure().text();
    EXPECT_EQ(bridge::lastRemarks().at(0).phrase.arguments.at(0).size(), bridge::longestArgument);
    EXPECT_FALSE(send(session, 7, std::string(7U << 20, 'x'), &reply));
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::refused);
    EXPECT_EQ(bridge::lastFailure().text().size(), std::string("no: ").size() + bridge::longestArgument);
}

TEST_F(AServer, RefusesWhatIsTooLargeToTakeOrToGive) {
    const auto channel = raw::greeted(endpoint);
    raw::request(*channel, 1, 0xFFFFFFF0, "some of the body");
    const auto [header, body] = readFrame(*channel);
    EXPECT_EQ(header.kind, FrameKind::refused);
    EXPECT_EQ(bridge::decodeRefusal(body).value().reason, bridge::RefusalReason::tooLarge);

    std::string reply;
    BridgeSession* session = open();
    EXPECT_FALSE(send(session, 5, std::to_string((64U << 20) + 1), &reply));
    EXPECT_EQ(bridge::lastFailure().text(), "the reply is too large");
    EXPECT_TRUE(send(session, 5, "1000000", &reply));
    EXPECT_EQ(reply.size(), 1000000U);
}

TEST_F(AServer, SurvivesRandomFramesAndAbruptDisconnects) {
    std::mt19937 random(7);
    const auto randomFrame = [&] {
        FrameHeader header{static_cast<std::uint32_t>(random() % 40), static_cast<FrameKind>(random() % 12),
                           static_cast<std::uint32_t>(random() % 30), static_cast<std::uint32_t>(random() % 6), 1};
        if (random() % 16 == 0) header.length = static_cast<std::uint32_t>(random());
        if (header.command == 3) header.command = 1; // would wait
        const auto bytes = encodeFrameHeader(header);
        std::string frame(bytes.data(), bytes.size());
        for (std::uint32_t i = 0; i < header.length % 64; ++i) frame += static_cast<char>(random());
        return frame;
    };
    int sent = 0;
    constexpr int connections = slowRun ? 300 : 1000;
    for (int connection = 0; connection < connections; ++connection) {
        const bool greeted = random() % 2 == 0;
        auto channel = greeted ? raw::greeted(endpoint) : raw::connected(endpoint);
        for (int i = 0; i < 10; ++i, ++sent) {
            const std::string frame = randomFrame();
            const std::size_t cut = random() % 8 == 0 ? random() % frame.size() : frame.size();
            channel->write(std::string_view(frame).substr(0, cut), {}, {50});
        }
    }
    EXPECT_EQ(sent, 10 * connections);
    for (int attempt = 0; attempt < 100 && !answersEcho(); ++attempt) std::this_thread::sleep_for(milliseconds(20));
    EXPECT_TRUE(answersEcho());
}

TEST_F(AServer, ServesManySessionsAtOnce) {
    std::vector<std::thread> clients;
    std::atomic<int> good{0};
    for (int i = 0; i < 8; ++i) {
        clients.emplace_back([&good, i] {
            BridgeSession* session = open();
            for (int round = 0; round < 100; ++round) {
                const std::string payload = std::to_string(i * 1000 + round);
                std::string reply;
                good += send(session, 1, payload, &reply) && reply == payload ? 1 : 0;
            }
            CommandSender::Instance().CloseSession(session);
        });
    }
    for (std::thread& client : clients) client.join();
    EXPECT_EQ(good, 800);
}

TEST_F(AServer, FinishesWhatIsUnderWayWhenItStops) {
    std::string reply;
    std::thread slow([&reply] { EXPECT_TRUE(send(open(), 3, "", &reply)) << bridge::lastFailure().text(); });
    BridgeSession* idle = open();
    ASSERT_TRUE(idle->Connect());
    service.gate.awaitWaiting(1);
    server.stop();
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_FALSE(send(idle, 1)) << "no new command is begun";
    service.gate.open();
    slow.join();
    EXPECT_EQ(reply, "let go");
    stop();
    EXPECT_TRUE(endedInTime);
}

TEST_F(AServer, CarriesOutTheCommandOfAClientThatHasLeftAndThenEndsItsSession) {
    BridgeSession* session = open();
    std::atomic<bool> givenUp{false};
    std::thread user([&] {
        service.gate.awaitWaiting(1);
        givenUp = true;
    });
    {
        const bridge::CallLimits limits(std::chrono::seconds(10), &givenUp);
        EXPECT_FALSE(send(session, 3));
    }
    user.join();
    EXPECT_NE(session->broken(), 0U);
    EXPECT_EQ(service.endedSessions, 0) << "it still has its place";
    service.gate.open();
    while (service.endedSessions == 0) std::this_thread::yield();
    EXPECT_EQ(service.carriedOut, 1);
}

class AnImpatientServer : public AServer {
protected:
    AnImpatientServer()
        : AServer([] {
              bridge::server::Options impatient = options();
              impatient.grace = milliseconds(100);
              impatient.answerWait = 300;
              return impatient;
          }()) {}
};

TEST_F(AnImpatientServer, SaysThatACommandDidNotEndInTime) {
    std::thread stuck([] { EXPECT_FALSE(send(open(), 3)) << "its connection is cut off"; });
    service.gate.awaitWaiting(1);
    stop();
    EXPECT_FALSE(endedInTime);
    EXPECT_TRUE(service.hurried);
    service.gate.open();
    stuck.join();
    while (service.endedSessions == 0) std::this_thread::sleep_for(milliseconds(5));
    server.run(); // joins the threads that have ended
}

TEST_F(AnImpatientServer, CutsOffAClientThatReadsTooSlowly) {
    const auto slow = raw::greeted(endpoint);
    constexpr std::size_t much = 8U << 20;
    writeFrame(*slow, {.kind = FrameKind::request, .module = 6, .command = 5, .tag = 1}, std::to_string(much),
               patience);
    std::array<char, 4096> bytes{};
    std::size_t read = 0, got = 0;
    while (read < much && slow->readSome(bytes.data(), bytes.size(), got, bridge::after(5000)) == IoStatus::done) {
        read += got;
        std::this_thread::sleep_for(milliseconds(read < much / 2 ? 5 : 0)); // now and then, so there is no silence
    }
    EXPECT_LT(read, much);
}

// ---- a client that does not read its answer

class AServerWithADeafClient : public AServer {
protected:
    // More than the system buffers for a connection.
    void askForMuch() {
        const std::string much = std::to_string(8U << 20);
        const FrameHeader header{0, FrameKind::request, 6, 5, 1};
        writeFrame(*deaf, header, much, patience);
        FrameReader reader(*deaf);
        FrameHeader reply;
        ASSERT_EQ(reader.readHeader(reply, bridge::after(5000), patience), FrameStatus::done) << "it is being written";
    }
    using FrameReader = bridge::FrameReader;
    std::unique_ptr<bridge::Channel> deaf = raw::greeted(endpoint);
};

TEST_F(AServerWithADeafClient, ShowsOthersSignsOfLife) {
    askForMuch();
    showsSignsOfLife();
}

TEST_F(AServerWithADeafClient, GivesItUpAfterAWhile) {
    askForMuch();
    while (service.endedSessions == 0) std::this_thread::sleep_for(milliseconds(5));
    std::size_t read = 0, got = 0;
    std::array<char, 65536> bytes{};
    while (deaf->readSome(bytes.data(), bytes.size(), got, bridge::after(2000)) == IoStatus::done) read += got;
    EXPECT_LT(read, 8U << 20) << "the answer was cut off";
}

TEST_F(AServerWithADeafClient, StopsInTime) {
    askForMuch();
    stop();
    EXPECT_TRUE(endedInTime);
}

// ---- exceptions and missing resources end only one session

TEST_F(AServer, OutlivesWhatThrowsInAReceiversSession) {
    const auto receiver = raw::greeted(endpoint, bridge::Role::receiver);
    server.push({6, 1, "payload", [](auto, const auto&) { throw std::runtime_error("no memory"); }});
    const FrameHeader push = readFrame(*receiver).first;
    writeFrame(*receiver, {.kind = FrameKind::pushAnswered, .tag = push.tag}, {}, patience);
    EXPECT_TRUE(raw::endsWithin(*receiver, 5000));
    EXPECT_TRUE(answersEcho());
}

TEST_F(AServer, StopsAtOnceWhenAClientHasSentHalfARequest) {
    const auto halfway = raw::greeted(endpoint);
    raw::request(*halfway, 1, 100, "not all");
    ASSERT_TRUE(answersEcho());
    stop();
    EXPECT_TRUE(endedInTime);
}

TEST_F(AServer, TellsWhomItTurnedAway) {
    service.admitsAll = false;
    const auto client = raw::connected(endpoint); // a client that leaves at once is not checked
    while (service.turnedAwayFor == bridge::Verdict::accepted) std::this_thread::sleep_for(milliseconds(5));
    EXPECT_EQ(service.turnedAwayFor, bridge::Verdict::accessDenied);
}

TEST_F(AServer, HasItsEndpointAlone) {
    EXPECT_THROW(bridge::server::Server(endpoint, service, {}), std::runtime_error);
    try {
        bridge::server::Server second(endpoint, service, {});
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("another service serves it"));
    }
    EXPECT_TRUE(answersEcho());
}

// ---- the bytes of frames; docs/wire-format.md shows the same bytes

TEST(AFrame, HasItsHandWrittenHeader) {
    const auto bytes = bridge::encodeFrameHeader({0x1C, FrameKind::request, 6, 3, 1});
    EXPECT_EQ(std::string(bytes.data(), bytes.size()),
              hex("1c 00 00 00  03 00 00 00  06 00 00 00  03 00 00 00  01 00 00 00"));
    EXPECT_EQ(encode(bridge::Hello{1, bridge::Role::commandSession, "Tokens"}),
              hex("'panelkit'  01 00 00 00  01 00 00 00  06 00 00 00 'Tokens'"));
    EXPECT_EQ(encode(bridge::Welcome{1, bridge::Verdict::accepted, 64U << 20, "panelkitd 0.1.0", ""}),
              hex("'panelkit'  01 00 00 00  00 00 00 00  00 00 00 04  0f 00 00 00 'panelkitd 0.1.0'  00 00 00 00"));
    EXPECT_EQ(encode(bridge::Refusal{bridge::RefusalReason::unknownCommand, 9, "no"}),
              hex("02 00 00 00  09 00 00 00  02 00 00 00 'no'"));
}

TEST(AFrame, IsNotDecodedFromLessThanAllOfIt) {
    const auto noPrefixDecodes = [](const std::string& whole, const auto& decode) {
        EXPECT_TRUE(decode(whole));
        for (std::size_t length = 0; length < whole.size(); ++length) {
            EXPECT_FALSE(decode(std::string_view(whole).substr(0, length))) << length;
        }
    };
    noPrefixDecodes(encode(bridge::Hello{1, bridge::Role::receiver, "n"}), bridge::decodeHello);
    noPrefixDecodes(encode(bridge::Welcome{1, bridge::Verdict::accepted, 5, "s", "t"}), bridge::decodeWelcome);
    const bridge::Welcome refusing{2, bridge::Verdict::accessDenied, 5, "s", "t", {{7, Loc::makePhrase("w")}}};
    EXPECT_EQ(encode(refusing), encode(bridge::Welcome{2, bridge::Verdict::accessDenied, 5, "s", "t"}) +
                                    hex("01 00 00 00  07 00 00 00  01 00 00 00 'w'  00 00 00 00"));
    EXPECT_EQ(bridge::decodeWelcome(encode(refusing) + "more").value().why, refusing.why);
    EXPECT_EQ(bridge::decodeWelcome(encode(refusing).substr(0, encode(refusing).size() - 1)).value().text, "t")
        << "what a later version adds may be anything";
    noPrefixDecodes(encode(bridge::Refusal{bridge::RefusalReason::byModule, 0, "t"}), bridge::decodeRefusal);
}

} // namespace
