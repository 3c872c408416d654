// SPDX-License-Identifier: MIT
//
// Frames, and the line of notifications to one receiver, over a channel of the test's own: limits to the byte, waiting,
// and what stays in memory.
#include <platform/bridge/account_budget.h>
#include <platform/bridge/bridge_session.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>
#include <platform/bridge/frame.h>
#include <platform/bridge/listener.h>
#include <platform/bridge/messages.h>
#include <platform/bridge/push_line.h>
#include <platform/bridge/server_connection.h>

#include "../../support/test.h"

#include <testing/scripted_service.h>

#include <new>

using bridge::AccountBudget;
using bridge::FrameHeader;
using bridge::FrameReader;
using bridge::FrameStatus;
using bridge::server::PushLine;
using bridge::server::PushOutcome;

namespace {

constexpr bridge::Patience patience{5000};

// The two ends of a connection.
class AChannel : public testing::Test {
protected:
    AChannel() {
        std::thread accepting([this] { near = listener.accept().channel; });
        EXPECT_EQ(bridge::Channel::connect(endpoint, bridge::after(5000), far), bridge::ConnectStatus::connected);
        accepting.join();
    }

    void write(const std::string& bytes) { far->write(bytes, {}, patience); }
    void writeFrame(std::uint32_t tag, const std::string& content) {
        bridge::writeFrame(*far, {.kind = bridge::FrameKind::request, .tag = tag}, content, patience);
    }
    static FrameStatus read(FrameReader& from, FrameHeader& head, std::string& content, std::uint32_t limit,
                            AccountBudget::Share* budget = nullptr) {
        const FrameStatus status = from.readHeader(head, bridge::after(5000), patience);
        return status == FrameStatus::done ? from.readBody(head, content, limit, patience, budget) : status;
    }

    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    bridge::Listener listener{endpoint, {}};
    std::unique_ptr<bridge::Channel> near, far;
    FrameHeader header;
    std::string body;
};

TEST_F(AChannel, CarriesBodiesUpToTheLimitAndTheBudgetToTheByte) {
    struct Row {
        std::size_t size;
        std::uint32_t limit, budget;
        FrameStatus status;
    };
    constexpr auto charged = static_cast<std::uint32_t>(bridge::chargedFrom);
    for (const Row& row :
         {Row{0, 0, 0, FrameStatus::done}, Row{10, 10, 0, FrameStatus::done}, Row{10, 9, 10, FrameStatus::tooLarge},
          Row{charged - 1, charged, 0, FrameStatus::done}, Row{charged, charged, charged, FrameStatus::done},
          Row{charged, charged, charged - 1, FrameStatus::overBudget}}) {
        FrameReader reader(*near);
        AccountBudget all({.all = row.budget});
        AccountBudget::Share budget(all, "1", false);
        std::thread writer([&] { writeFrame(1, std::string(row.size, 'x')); }); // a large one waits for its reader
        EXPECT_EQ(read(reader, header, body, row.limit, &budget), row.status) << row.limit << ' ' << row.budget;
        if (row.status == FrameStatus::overBudget) { // the last row
            EXPECT_TRUE(budget.take(row.budget)) << "nothing was kept";
            near.reset();
        }
        writer.join();
    }
}

// The frames do not fit into the reader's buffer a whole number of times, so some headers lie across its end.
TEST_F(AChannel, CarriesManyFramesOfEverySizeInOrder) {
    constexpr std::uint32_t frames = 3000;
    std::thread writer([this] {
        for (std::uint32_t tag = 1; tag <= frames; ++tag)
            writeFrame(tag, std::string(tag % 61, static_cast<char>(tag)));
    });
    FrameReader reader(*near);
    for (std::uint32_t tag = 1; tag <= frames; ++tag) {
        ASSERT_EQ(read(reader, header, body, 100), FrameStatus::done) << tag;
        ASSERT_EQ(header.tag, tag);
        ASSERT_EQ(body, std::string(tag % 61, static_cast<char>(tag)));
    }
    writer.join();
}

TEST_F(AChannel, IsNotWaitedForWithinAHeader) {
    FrameReader reader(*near);
    write("12345");
    auto status = std::async(std::launch::async, [&] { return reader.readHeader(header, bridge::never, {100}); });
    if (status.wait_for(std::chrono::seconds(10)) != std::future_status::ready) near->close();
    EXPECT_EQ(status.get(), FrameStatus::timedOut);
}

// How often the text is found in the memory of an object.
std::size_t occurrences(const void* object, std::size_t size, std::string_view text) {
    const std::string_view memory(static_cast<const char*>(object), size);
    std::size_t found = 0;
    for (std::size_t at = memory.find(text); at != std::string_view::npos; at = memory.find(text, at + 1)) ++found;
    return found;
}

TEST_F(AChannel, LeavesNothingInItsReader) {
    const std::string secret = "a secret of some length";
    const auto in = [&](const void* reader) { return occurrences(reader, sizeof(FrameReader), secret); };
    alignas(FrameReader) static char memory[sizeof(FrameReader)];
    auto* const reader = new (memory) FrameReader(*near);

    writeFrame(1, secret);
    EXPECT_EQ(read(*reader, header, body, 100), FrameStatus::done);
    EXPECT_EQ(in(memory), 0U) << "of a body that was taken out";

    // A body is left over that ends with the buffer, but for the first bytes of the next header. To take the rest of
    // it, the reader moves these bytes to the front.
    constexpr std::size_t buffer = std::size_t{16} * 1024;
    const std::string filler(buffer - 2 * bridge::frameHeaderSize - 4 - secret.size(), 'x');
    std::string stream;
    for (const auto& [tag, text] : {std::pair{2U, filler}, std::pair{3U, secret}, std::pair{4U, secret}}) {
        const FrameHeader one{.length = static_cast<std::uint32_t>(text.size()), .tag = tag};
        const auto bytes = encodeFrameHeader(one);
        stream.append(bytes.data(), bytes.size()).append(text);
    }
    write(stream);
    EXPECT_EQ(read(*reader, header, body, buffer), FrameStatus::done);
    EXPECT_EQ(body, filler);
    EXPECT_EQ(read(*reader, header, body, 100), FrameStatus::done);
    EXPECT_EQ(reader->readHeader(header, bridge::after(5000), patience), FrameStatus::done);
    EXPECT_EQ(header.tag, 4U);
    reader->~FrameReader();
    EXPECT_EQ(in(memory), 0U) << "of a body that nobody took out";
}

// What a move to the front leaves at its former place.
TEST_F(AChannel, LeavesNothingWhereItsReaderMovedBytesFrom) {
    alignas(FrameReader) static char memory[sizeof(FrameReader)];
    auto* const reader = new (memory) FrameReader(*near);
    constexpr std::size_t buffer = std::size_t{16} * 1024;
    const FrameHeader first{.length = buffer - bridge::frameHeaderSize - 8, .tag = 1};
    const auto head = encodeFrameHeader(first);
    // The rest of the buffer is the first bytes of a header, which are looked for.
    write(std::string(head.data(), head.size()) + std::string(first.length, 'x') + "mark-it!");
    ASSERT_EQ(read(*reader, header, body, buffer), FrameStatus::done);
    write(std::string(bridge::frameHeaderSize - 8, '\0'));
    EXPECT_EQ(reader->readHeader(header, bridge::after(5000), patience), FrameStatus::done);
    EXPECT_EQ(header.length, 0x6B72616DU) << "mark";
    EXPECT_EQ(occurrences(memory, sizeof memory, "mark-it!"), 0U);
    reader->~FrameReader();
}

// ---- the server's end of a connection

class AConnection : public AChannel {
protected:
    // The kinds of the frames that have arrived, up to the first answer; all must have the tag 7.
    std::vector<bridge::FrameKind> arrived() {
        std::vector<bridge::FrameKind> kinds;
        do {
            if (read(reader, header, body, 16U << 20) != FrameStatus::done) break;
            EXPECT_EQ(header.tag, 7U);
            kinds.push_back(header.kind);
        } while (header.kind != bridge::FrameKind::reply);
        return kinds;
    }
    bool answer(std::string_view content) {
        return connection.answer({.kind = bridge::FrameKind::reply, .tag = 7}, content, {}, patience);
    }

    bridge::server::Connection connection{std::move(near), false};
    FrameReader reader{*far};
    const std::string much = std::string(std::size_t{8} << 20, 'x');
};

TEST_F(AConnection, ShowsThatACommandWorksOnceInEachIntervalUntilItIsAnswered) {
    using bridge::FrameKind;
    constexpr std::chrono::milliseconds now(0), later(std::chrono::hours(1));
    connection.showWorking(now); // nothing is under way
    EXPECT_TRUE(connection.beginCommand(7));
    connection.showWorking(later);
    connection.showWorking(now);
    connection.showWorking(later);
    EXPECT_TRUE(answer(""));
    connection.showWorking(now);
    EXPECT_EQ(arrived(), (std::vector{FrameKind::working, FrameKind::reply}));
    EXPECT_TRUE(connection.beginCommand(7));
    EXPECT_TRUE(answer(""));
    EXPECT_EQ(arrived(), std::vector{FrameKind::reply});
}

#ifndef _WIN32 // there a pipe is closed as a whole, with what is in it; the server's tests show how sessions end there
TEST_F(AConnection, IsClosedAtOnceWhenItHasNoRoomForASignOfLife) {
    connection.channel->write(much, {}, {50});
    connection.beginCommand(7);
    auto shown = std::async(std::launch::async, [&] { connection.showWorking(std::chrono::milliseconds(0)); });
    EXPECT_EQ(shown.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    far->close();
    shown.get();
    EXPECT_EQ(connection.channel->write("x", {}, {100}), bridge::IoStatus::closed);
}

TEST_F(AConnection, EndsACommandWithItsWholeAnswerBeforeItStops) {
    EXPECT_TRUE(connection.beginCommand(7));
    connection.stop();
    auto answered = std::async(std::launch::async, [&] { return answer(much); });
    EXPECT_EQ(reader.readHeader(header, bridge::after(5000), patience), FrameStatus::done);
    connection.stop();
    EXPECT_EQ(reader.readBody(header, body, 16U << 20, patience), FrameStatus::done);
    EXPECT_EQ(body, much);
    EXPECT_FALSE(answered.get()) << "the session is over";
    EXPECT_FALSE(connection.beginCommand(7));
    connection.stop();
    EXPECT_EQ(reader.readHeader(header, bridge::after(5000), patience), FrameStatus::closed);
}
#endif

// ---- budgets

TEST(ABudget, IsSharedByAccountsAndKeepsAReserve) {
    AccountBudget budget({.all = 10, .account = 4, .reserve = 3});
    AccountBudget::Share one(budget, "1", false), alsoOne(budget, "1", false), two(budget, "2", false);
    AccountBudget::Share root(budget, "0", true);
    EXPECT_TRUE(one.take(3));
    EXPECT_FALSE(alsoOne.take(2)) << "five of an account";
    EXPECT_TRUE(alsoOne.take(1));
    EXPECT_FALSE(two.take(4)) << "eight of ten, of which three are reserved";
    EXPECT_TRUE(two.take(3));
    EXPECT_FALSE(root.take(5)) << "an administrator is an account too";
    EXPECT_TRUE(root.take(3));
    EXPECT_FALSE(root.take(~std::uint64_t{0})) << "no sum overflows";
    EXPECT_EQ(budget.used(), 10U);
}

TEST(ABudget, TakesEverythingBackAndForgetsTheAccount) {
    AccountBudget budget({.all = 10, .account = 10});
    {
        AccountBudget::Share share(budget, "1", false);
        EXPECT_TRUE(share.take(7));
        share.giveBack(3);
        EXPECT_EQ(share.taken(), 4U);
        EXPECT_FALSE(share.take(7)) << "and nothing is taken";
        EXPECT_EQ(budget.used(), 4U);
    }
    EXPECT_EQ(budget.used(), 0U);
    EXPECT_EQ(budget.accounts(), 0U);
}

// ---- the commands of a session

TEST(ASession, NumbersItsCommandsAndConnectsWithoutATimeLimitToo) {
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    bridge::Listener listener(endpoint, {});
    std::vector<std::uint32_t> tags;
    std::thread service([&] {
        const auto channel = listener.accept().channel;
        FrameReader reader(*channel);
        FrameHeader header;
        std::string body;
        for (int i = 0; i < 3; ++i) { // the hello and two commands
            if (reader.readHeader(header, bridge::after(5000), patience) != FrameStatus::done) return;
            reader.readBody(header, body, 1000, patience);
            if (i > 0) tags.push_back(header.tag);
            header.kind = i == 0 ? bridge::FrameKind::welcome : bridge::FrameKind::reply;
            bridge::writeFrame(*channel, header, i == 0 ? encode(bridge::Welcome{2, {}, 1000, "", ""}) : "r", patience);
        }
    });
    CommandSender::Instance().SetEndpoint(endpoint);
    BridgeSession* const session = CommandSender::Instance().OpenNewSession("Test", 1);
    session->setWaitSetting(0);
    const std::string most(1001, 'x'); // a byte more than the service takes
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(session->__SendCommand(ModuleTokens, 1, most.data(), 1000, nullptr));
    EXPECT_FALSE(session->__SendCommand(ModuleTokens, 1, most.data(), 1001, nullptr));
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::tooLarge);
    service.join();
    ASSERT_EQ(tags.size(), 2U);
    EXPECT_NE(tags[0], tags[1]);
    CommandSender::Instance().CloseSession(session);
}

TEST(ASession, FoundNoServiceOnlyUntilItIsClosed) {
    CommandSender::Instance().SetEndpoint(panelkit::testing::uniqueEndpoint());
    BridgeSession* const session = CommandSender::Instance().OpenNewSession("Test", 1);
    EXPECT_FALSE(session->Connect());
    EXPECT_TRUE(session->failedForWantOfService());
    CommandSender::Instance().CloseSession(session);
    EXPECT_FALSE(session->failedForWantOfService());
}

// ---- the line to a receiver

class ALine : public AChannel {
protected:
    static constexpr bridge::server::PushLimits limits{.waiting = 3, .waitingBytes = 100};

    ~ALine() override {
        line.end();
        if (sender.joinable()) sender.join();
    }
    void run() {
        sender = std::thread([this] { line.run(); });
    }
    bool add(std::int32_t id, std::size_t bytes, std::uint32_t module = 25) {
        return line.add(std::make_shared<const bridge::server::Push>(
            bridge::server::Push{module, id, std::string(bytes, 'x'), [this](PushOutcome outcome, const std::string&) {
                                     const std::scoped_lock lock(mutex);
                                     outcomes.push_back(outcome);
                                 }}));
    }
    // The ids of that many notifications, in the order in which they arrive; their tags are collected.
    std::vector<std::uint32_t> arrived(int count) {
        std::vector<std::uint32_t> ids;
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(read(reader, header, body, 1000), FrameStatus::done);
            ids.push_back(header.command);
            tags.push_back(header.tag);
        }
        return ids;
    }
    void answerAll() {
        for (const std::uint32_t tag : tags) line.answered(tag, PushOutcome::handled, {});
        tags.clear();
    }

    PushLine line{*near, limits};
    FrameReader reader{*far};
    std::vector<std::uint32_t> tags;
    std::mutex mutex;
    std::vector<PushOutcome> outcomes;
    std::thread sender;
};

TEST_F(ALine, HoldsAsManyNotificationsAndBytesAsItsLimitsSay) {
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(add(i, 0));
    EXPECT_FALSE(add(3, 0)) << "a fourth";
    run();
    EXPECT_EQ(arrived(3).size(), 3U);
    EXPECT_TRUE(add(4, 100));
    EXPECT_EQ(arrived(1).size(), 1U);
    EXPECT_FALSE(add(5, 101));
}

TEST_F(ALine, HasTheBytesAgainOnceANotificationIsSent) {
    run();
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(add(i, 90)) << i;
        arrived(1);
        answerAll();
    }
}

TEST_F(ALine, HoldsUpOnlyTheIdThatIsInProgress) {
    EXPECT_TRUE(add(1, 1));
    EXPECT_TRUE(add(1, 2));
    EXPECT_TRUE(add(2, 3));
    run();
    EXPECT_EQ(arrived(2), (std::vector<std::uint32_t>{1, 2})) << "the second of id 1 waits";
    EXPECT_TRUE(add(1, 4, 26)) << "the same id of another module";
    EXPECT_EQ(arrived(1), std::vector<std::uint32_t>{1});
    EXPECT_EQ(header.module, 26U);
    line.answered(77, PushOutcome::handled, {}); // a tag that the receiver made up
    answerAll();
    EXPECT_EQ(arrived(1), std::vector<std::uint32_t>{1});
    EXPECT_EQ(body.size(), 2U);
    auto drained = std::async(std::launch::async, [this] { line.drain(std::chrono::seconds(10)); });
    EXPECT_EQ(drained.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout) << "one is in progress";
    answerAll();
}

TEST_F(AChannel, IsClosedWhenItsReceiverTakesNothing) {
    PushLine slow{*near, {.waitingBytes = 16U << 20, .writeWait = std::chrono::milliseconds(50)}};
    std::promise<PushOutcome> told;
    slow.add(std::make_shared<const bridge::server::Push>(
        bridge::server::Push{25, 1, std::string(std::size_t{10} << 20, 'x'),
                             [&](PushOutcome outcome, const auto&) { told.set_value(outcome); }}));
    std::thread sender([&] { slow.run(); });
    char byte = 0;
    std::size_t got = 0;
    EXPECT_EQ(near->readSome(&byte, 1, got, bridge::after(10'000)), bridge::IoStatus::closed);
    slow.end();
    sender.join();
    auto outcome = told.get_future();
    ASSERT_EQ(outcome.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(outcome.get(), PushOutcome::lost);
}

TEST_F(ALine, TellsAtItsEndThatAllWereLost) {
    EXPECT_TRUE(add(1, 1));
    EXPECT_TRUE(add(1, 1));
    run();
    arrived(1);
    line.end();
    EXPECT_EQ(outcomes, (std::vector{PushOutcome::lost, PushOutcome::lost})) << "the one in progress and the other";
}

} // namespace
