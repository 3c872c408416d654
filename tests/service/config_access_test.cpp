// SPDX-License-Identifier: MIT
//
// ADMIN.ADMIN_GROUP: who administers the service changes with the commit, and not before.
#include "../support/other_user_posix.h"
#include "with_service.h"

#include <panelkit/lparams/sections/sections.h>

#include <sys/stat.h>

using namespace LPARAMS::Client;

namespace {

class TheAdministratorsGroup : public WithService {
protected:
    TheAdministratorsGroup() : WithService({"--users-group", "games", "--admin-group", "staff"}) {}
    void SetUp() override {
        if (!OtherUser::canBecome()) GTEST_SKIP() << "only root can become somebody else";
    }
    // Whether a member of the group may use commands for administrators.
    bool mayAdminister(const std::string& group) const {
        const auto result = other.run("nobody", "--groups=" + group, {"provider", "raise", "embedded"});
        EXPECT_THAT(result.status, testing::AnyOf(0, 4)) << result.error;
        return result.status == 0;
    }

    const OtherUser other{service.endpoint()};
};

TEST_F(TheAdministratorsGroup, IsTheOneThatTheConfigurationNamesFromTheCommitOn) {
    ADMIN admin;
    ASSERT_TRUE(admin.load());
    EXPECT_EQ(admin.ADMIN_GROUP.value, "staff") << "what the command line says";
    EXPECT_TRUE(mayAdminister("staff"));
    admin.ADMIN_GROUP.value = "users";
    ASSERT_TRUE(admin.save());
    EXPECT_FALSE(mayAdminister("games,users")) << "not committed";
    ASSERT_TRUE(writeToDisk());
    EXPECT_TRUE(mayAdminister("users"));
    EXPECT_FALSE(mayAdminister("games,staff"));
    service.terminate();
    service.start();
    EXPECT_TRUE(mayAdminister("users"));
    EXPECT_FALSE(mayAdminister("games,staff"));
}

TEST(TheFolderOfTheDefaultEndpoint, IsMadeForEverybodyToEnter) {
    const TemporaryFolder runtime, state;
    platform::ChildOptions options;
    const std::string endpoint = runtime.file("panelkit/bridge.sock");
    options.arguments = {builtProgram("panelkitd"), "--endpoint", endpoint, "--state", state.file("state")};
    options.environment["XDG_RUNTIME_DIR"] = runtime.path().string();
    for (int round = 0; round < 2; ++round) {
        platform::ChildProcess daemon(options);
        EXPECT_TRUE(hasSaid(daemon, " serves " + endpoint)) << daemon.errorSoFar();
        struct stat status {};
        ASSERT_EQ(::stat(runtime.file("panelkit").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0755U);
        daemon.terminate();
        daemon.wait(std::chrono::seconds(30));
    }
    options.arguments[2] = runtime.file("elsewhere/bridge.sock"); // not the default: perhaps a typing mistake
    const auto result = platform::runChild(options, std::chrono::seconds(30));
    EXPECT_EQ(result.status, 1);
    EXPECT_FALSE(std::filesystem::exists(runtime.file("elsewhere")));
}

} // namespace
