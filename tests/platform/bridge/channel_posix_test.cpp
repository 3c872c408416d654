// SPDX-License-Identifier: MIT
//
// Sockets: a queue of connections that is full, and the accounts at their ends. POSIX only.
#include <platform/bridge/channel.h>
#include <platform/bridge/connection.h>
#include <platform/bridge/endpoint.h>
#include <platform/bridge/listener.h>

#include "../../support/test.h"

#include <testing/scripted_service.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <numeric>

namespace {

// A socket that listens and accepts nothing unless it is told to, with its queue full.
class AFullQueue : public testing::Test {
protected:
    AFullQueue() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, endpoint.c_str(), sizeof address.sun_path - 1);
        const auto* const where = reinterpret_cast<const sockaddr*>(&address);
        EXPECT_EQ(::bind(listening, where, sizeof address), 0);
        EXPECT_EQ(::listen(listening, 0), 0);
        for (;;) {
            waiting.push_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            if (::connect(waiting.back(), where, sizeof address) != 0) break;
        }
    }
    ~AFullQueue() override {
        for (const int client : waiting) ::close(client);
        ::close(listening);
    }
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::vector<int> waiting;
    std::unique_ptr<bridge::Channel> channel;
};

TEST_F(AFullQueue, IsNoAbsenceOfTheService) {
    EXPECT_EQ(bridge::Channel::connect(endpoint, bridge::after(100), channel), bridge::ConnectStatus::timedOut);
}

TEST_F(AFullQueue, IsWaitedForUntilThereIsRoom) {
    std::thread later([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        for (std::size_t i = 0; i < waiting.size(); ++i) ::close(::accept(listening, nullptr, nullptr));
    });
    EXPECT_EQ(bridge::Channel::connect(endpoint, bridge::after(10'000), channel), bridge::ConnectStatus::connected);
    later.join();
}

// With the primary group first, which the system reports apart from the others. As root, with more than most accounts
// have.
TEST(APeer, HasAllItsGroups) {
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    bridge::Listener listener(endpoint, {});
    std::unique_ptr<bridge::Channel> near, far;
    std::vector<gid_t> others(static_cast<std::size_t>(::getgroups(0, nullptr)));
    ASSERT_GE(::getgroups(static_cast<int>(others.size()), others.data()), 0);
    std::thread([&] {
        std::vector<gid_t> many(100);
        std::iota(many.begin(), many.end(), 70'000U);
        if (::syscall(SYS_setgroups, many.size(), many.data()) == 0) others = many; // for this thread alone
        EXPECT_EQ(bridge::Channel::connect(endpoint, bridge::after(5000), far), bridge::ConnectStatus::connected);
    }).join();
    near = listener.accept().channel;
    std::vector<std::string> expected{std::to_string(::getegid())};
    for (const gid_t group : others) expected.push_back(std::to_string(group));
    EXPECT_EQ(near->peer().groups, expected);
    EXPECT_EQ(near->peer().user, std::to_string(::geteuid()));
    EXPECT_TRUE(near->peer().memberOf(expected[0]));
}

TEST(AServicesAccount, IsTrustedOnlyIfItIsKnown) {
    EXPECT_FALSE(bridge::trustsService({}));
    EXPECT_FALSE(bridge::trustsService({.user = "65534"}));
    EXPECT_TRUE(bridge::trustsService({.user = "65534", .superuser = true}));
    EXPECT_TRUE(bridge::trustsService(bridge::self()));
}

// The service of a thread that has taken another account: the system reports who listens.
TEST(AServicesAccount, IsJudgedBeforeAnythingIsSent) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become another account";
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    ASSERT_EQ(::chmod(std::filesystem::path(endpoint).parent_path().c_str(), 0777), 0);
    std::unique_ptr<bridge::Listener> listener;
    std::thread([&] {
        ::syscall(SYS_setresuid, -1, 65534, -1);
        listener = std::make_unique<bridge::Listener>(endpoint, bridge::ListenOptions{});
    }).join();
    std::unique_ptr<bridge::ServiceConnection> connection;
    const bridge::Failure failure =
        bridge::connectTo(endpoint, bridge::Role::commandSession, "x", {1000, bridge::after(1000)}, connection);
    EXPECT_EQ(failure.code, bridge::FailureCode::strangeService);
    EXPECT_EQ(connection, nullptr);
    char byte = 0;
    std::size_t got = 0;
    EXPECT_EQ(listener->accept().channel->readSome(&byte, 1, got, bridge::after(1000)), bridge::IoStatus::closed);
}

// Everybody may connect, whatever the mask; the service goes on with its own.
TEST(ASocket, IsOpenToEverybodyAndGoneWithItsListener) {
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    const mode_t mask = ::umask(027);
    {
        const bridge::Listener listener(endpoint, {});
        struct stat status {};
        ASSERT_EQ(::stat(endpoint.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0666U);
    }
    EXPECT_EQ(::umask(mask), mode_t{027});
    EXPECT_FALSE(std::filesystem::exists(endpoint));
}

TEST(AnEndpoint, IsAnAbsolutePathThatFitsIntoTheSystemsField) {
    const auto isUsable = [](const std::string& path) { return bridge::endpointProblem(path).wording.empty(); };
    EXPECT_TRUE(isUsable("/" + std::string(106, 'x')));
    for (const std::string& path :
         {"/" + std::string(107, 'x'), std::string("/a\0b", 4), std::string("a/b"), std::string()}) {
        EXPECT_FALSE(isUsable(path)) << path;
    }
}

} // namespace
