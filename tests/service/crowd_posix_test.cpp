// SPDX-License-Identifier: MIT
//
// Many connections of several accounts at once: they must lock nobody out. Only root can become these accounts.
#include "../platform/bridge/raw_client.h"
#include "../support/running_service.h"

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <list>

using bridge::Verdict;

namespace {

constexpr gid_t usersGroup = 65534; // nogroup
constexpr gid_t otherGroup = 64999;
constexpr uid_t firstUser = 64000; // accounts need no name

Verdict greet(const std::string& endpoint, raw::Client& client) {
    client = raw::connected(endpoint);
    return client ? raw::verdictFor(*client) : Verdict::malformed;
}

// A process of another account, which does its work, reports a number, and waits until this object ends it.
class OtherAccount {
public:
    OtherAccount(uid_t user, gid_t group, const std::function<int()>& work) {
        if (::pipe(report_.data()) != 0) throw std::runtime_error("no pipe");
        process_ = ::fork();
        if (process_ != 0) return;
        const bool became = ::setgroups(1, &group) == 0 && ::setgid(group) == 0 && ::setuid(user) == 0;
        const int number = became ? work() : -1;
        [[maybe_unused]] const ssize_t written = ::write(report_[1], &number, sizeof number);
        ::pause();
        ::_exit(0);
    }
    ~OtherAccount() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
        for (const int end : report_) ::close(end);
    }
    OtherAccount(const OtherAccount&) = delete;
    OtherAccount& operator=(const OtherAccount&) = delete;

    int reported() const {
        int number = -1;
        return ::read(report_[0], &number, sizeof number) == sizeof number ? number : -1;
    }

private:
    std::array<int, 2> report_{};
    pid_t process_ = -1;
};

class ACrowd : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) GTEST_SKIP() << "only root can become other accounts";
        service = std::make_unique<RunningService>(
            std::vector<std::string>{"--embedded-module", "", "--users-group", "nogroup"});
        ::chmod(std::filesystem::path(service->endpoint()).parent_path().c_str(), 0755);
        const rlimit usual{1024, 1024};
        ASSERT_EQ(::prlimit(process(), RLIMIT_NOFILE, &usual, nullptr), 0);
    }
    pid_t process() const { return static_cast<pid_t>(service->process().id()); }
    std::size_t descriptors() const {
        const std::filesystem::directory_iterator all("/proc/" + std::to_string(process()) + "/fd");
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }
    // Opens so many connections and keeps them. Returns the number of those that were accepted.
    int fill(std::list<raw::Client>& into, int most) const {
        int accepted = 0;
        for (int i = 0; i < most; ++i) accepted += greet(service->endpoint(), into.emplace_back()) == Verdict::accepted;
        return accepted;
    }

    std::unique_ptr<RunningService> service;
};

TEST_F(ACrowd, LeavesRoomForRootAndFitsTheUsualDescriptors) {
    const std::size_t before = descriptors();
    std::list<OtherAccount> users;
    std::list<raw::Client> inChild;
    for (uid_t i = 0; i < 4; ++i) {
        users.emplace_back(firstUser + i, usersGroup, [&] { return fill(inChild, 70); });
    }
    int accepted = 0;
    for (const OtherAccount& user : users) accepted += user.reported();
    EXPECT_EQ(accepted, 224) << "all but what is reserved";
    std::list<raw::Client> ofRoot;
    EXPECT_EQ(fill(ofRoot, 40), 32) << service->log();
    EXPECT_TRUE(raw::soon([&] { return descriptors() == before + 256; }))
        << "one for each connection: " << descriptors();
    users.clear();
    ofRoot.clear();
    EXPECT_TRUE(raw::soon([&] { return descriptors() == before; })) << descriptors() << " of " << before;
    EXPECT_EQ(fill(ofRoot, 70), 64) << "everything was given back";
}

// They connect as fast as they can, and some do not even read why they are refused.
TEST_F(ACrowd, OfStrangersKeepsNobodyOut) {
    const auto flood = [&] {
        int denied = 0;
        for (int i = 0; i < 500; ++i) {
            raw::Client read, unread;
            denied += greet(service->endpoint(), read) == Verdict::accessDenied;
            bridge::Channel::connect(service->endpoint(), bridge::after(5000), unread);
        }
        return denied;
    };
    std::list<OtherAccount> strangers;
    for (uid_t i = 0; i < 4; ++i) strangers.emplace_back(firstUser + i, otherGroup, flood);
    OtherAccount user(firstUser + 10, usersGroup, [&] {
        int accepted = 0;
        for (int i = 0; i < 200; ++i) {
            raw::Client client;
            accepted += greet(service->endpoint(), client) == Verdict::accepted;
        }
        return accepted;
    });
    EXPECT_EQ(user.reported(), 200);
    for (const OtherAccount& stranger : strangers) EXPECT_EQ(stranger.reported(), 500) << "and each hears why";
    const std::string log = service->log();
    EXPECT_LT(std::count(log.begin(), log.end(), '\n'), 60) << "not a line for each of 4,000 connections";
}

} // namespace
