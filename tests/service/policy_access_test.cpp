// SPDX-License-Identifier: MIT
//
// Access to policies: the service's user, a user of its group, and another user. Needs root, to switch users.
#include "../support/as_user_posix.h"
#include "policy_fixture.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using bridge::FailureCode;
using LSPcmd::LSPsettings_t;
using panelkit::Command;

namespace {

gid_t userGroup(const char* name) { return ::getpwnam(name)->pw_gid; }

class APolicyOfSomebody : public WithPolicyService {
protected:
    APolicyOfSomebody() : WithPolicyService({"--embedded-module", "", "--users-group", "games"}) {
        ::chmod(std::filesystem::path(service.endpoint()).parent_path().c_str(), 0755);
        closePooledSessions();
    }
    void SetUp() override {
        if (::geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    }
    static void expectDenied(Command command, const std::string& payload) {
        std::string reply;
        EXPECT_FALSE(send(command, payload, &reply)) << panelkit::commandRow(command).name;
        EXPECT_EQ(bridge::lastFailure().code, FailureCode::accessDenied) << bridge::lastFailure().text();
    }
    // Activates a user's policy that is not from a file.
    static void activateOwn(const std::string& title) {
        LSPsettings_t settings;
        settings.Source = 1;
        std::string reply;
        ASSERT_TRUE(send(Command::SetUserSettings, encoded(std::string(), settings), &reply));
        ASSERT_TRUE(send(Command::ActivateUser, encoded(std::string(), std::string(), policyFile(title)), &reply));
        EXPECT_EQ(reply, encoded(true, std::string()));
    }
    static std::string named(const char* name) { return encoded(std::string(name)); }
};

TEST_F(APolicyOfSomebody, IsTheOnlyOneThatAUserMayChange) {
    const std::string none;
    {
        const As nobody("nobody");
        expectDenied(Command::ActivateCurrent, encoded(none)); // it is the driver's policy
        expectDenied(Command::GetUserSettings, named("root"));
        expectDenied(Command::OfferUserSettings, named("daemon"));
        expectDenied(Command::SetUserSettings, encoded(std::string("root"), LSPsettings_t()));
        expectDenied(Command::ActivateUser,
                     encoded(std::string("no such account"), none, none)); // nor learn which accounts exist
        activateOwn("Nobody's");
        EXPECT_THAT(report().text, HasSubstr("User policy (nobody): 'Nobody's' activated at "));
        EXPECT_EQ(view(), policyFile("Nobody's"));
        std::string reply;
        EXPECT_TRUE(send(Command::ActivateCurrent, encoded(none), &reply)) << "their own";
        EXPECT_TRUE(send(Command::GetUserSettings, named("nobody"), &reply)) << "by name too";
    }
    expectLogged("audit: nobody ActivateUser of nobody: done");
}

TEST_F(APolicyOfSomebody, IsNotShownToOthers) {
    {
        const As nobody("nobody");
        activateOwn("Nobody's");
    }
    {
        const As daemon("daemon");
        expectDenied(Command::ViewCurrent, "");
        EXPECT_EQ(bridge::lastFailure().text(),
                  "the policy in force is that of nobody; only nobody and administrators of the service may see it");
        expectDenied(Command::GetTunnels, "");
        expectDenied(Command::ActivateCurrent, encoded(std::string()));
        std::string loggedIn;
        EXPECT_TRUE(controller.cmdIsOtherUserLoggedIn("", loggedIn));
        EXPECT_EQ(loggedIn, "nobody");
    }
    connect();
    EXPECT_EQ(view(), policyFile("Nobody's")) << "the administrator may look";
}

// Neither the file of somebody else's policy nor its key, server, sections and problems.
TEST_F(APolicyOfSomebody, IsDescribedToOthersWithoutItsDetails) {
    const std::string secretPath = "/home/nobody/secret-path.lsp";
    const std::string sections = "[secret-section]\naction = protect\ngateway = g\nauthentication = preshared-key\n"
                                 "key = secret-key\n[twice]\naction = drop\n[secret-again]\naction = drop\n";
    const auto activate = [&](const std::string& content) {
        LSPsettings_t settings;
        settings.Source = 1;
        settings.File = secretPath;
        settings.server.Server = "secret-server.example";
        std::string reply;
        ASSERT_TRUE(send(Command::SetUserSettings, encoded(std::string(), settings), &reply));
        ASSERT_TRUE(send(Command::ActivateUser, encoded(std::string(), std::string("secret-name"), content), &reply));
    };
    const auto everything = [&] {
        const Report all = report(true);
        std::string remarks;
        for (const auto& remark : bridge::lastRemarks()) remarks += Loc::fill(remark.phrase);
        return encoded(all.required, all.info) + all.text + remarks;
    };
    for (const std::string& content : {policyFile("Nobody's", sections), std::string("secret mistake\n")}) {
        {
            const As nobody("nobody");
            activate(content);
            EXPECT_THAT(everything(), HasSubstr("secret-path.lsp")) << "it is their own";
        }
        {
            const As daemon("daemon");
            EXPECT_THAT(everything(), Not(HasSubstr("secret")));
            EXPECT_THAT(report(true).text, HasSubstr("(nobody)"));
            EXPECT_THAT(report(true).text, HasSubstr("(not shown)"));
        }
        connect();
        EXPECT_THAT(everything(), HasSubstr("secret-path.lsp")) << "an administrator";
    }
    {
        const As daemon("daemon");
        EXPECT_EQ(report().info.message.find("#warn: "), std::string::npos) << "it failed";
        EXPECT_THAT(report().text, HasSubstr("the policy of another user has a diagnosis"));
    }
}

// The name of the file is chosen by the user, so root must not read more for them than they could themselves.
TEST_F(APolicyOfSomebody, IsReadWithTheRightsOfItsUserWhenRootActivatesIt) {
    ::chmod(std::filesystem::path(file()).parent_path().c_str(), 0755);
    platform::replaceFile(file(), policyFile("For nobody"), true);
    LSPsettings_t settings;
    settings.Source = 1;
    settings.File = file();
    bool applied = false;
    ASSERT_TRUE(controller.cmdSetUserSettings("nobody", settings, applied)) << bridge::lastFailure().text();
    EXPECT_THAT(activateUser("nobody"), HasSubstr("can't read user lsp file: " + file())) << "root's, mode 0600";

    ASSERT_EQ(::chown(file().c_str(), 0, userGroup("nobody")), 0);
    ASSERT_EQ(::chmod(file().c_str(), 0640), 0);
    EXPECT_EQ(activateUser("nobody"), "") << "their group may read it";
    EXPECT_EQ(view(), policyFile("For nobody"));
    ASSERT_EQ(::chown(file().c_str(), userNumber("nobody"), 0), 0);
    ASSERT_EQ(::chmod(file().c_str(), 0400), 0);
    EXPECT_EQ(activateUser("nobody"), "") << "their own file";
    EXPECT_EQ(::geteuid(), 0U);
    EXPECT_EQ(activateUser("nobody"), "") << "the rights of this process are unchanged";
    EXPECT_THAT(activateUser("no such account"), HasSubstr("failed: "));
}

TEST_F(APolicyOfSomebody, IsSetByAnAdministratorForThem) {
    LSPsettings_t settings;
    settings.Source = 1;
    settings.File = "/etc/policy.lsp";
    bool applied = false;
    connect();
    ASSERT_TRUE(controller.cmdSetUserSettings("nobody", settings, applied)) << bridge::lastFailure().text();
    {
        const As nobody("nobody");
        LSPsettings_t own;
        EXPECT_TRUE(controller.cmdGetUserSettings("nobody", &own));
        EXPECT_EQ(own, settings);
    }
    {
        const As daemon("daemon");
        LSPsettings_t own;
        EXPECT_TRUE(controller.cmdGetUserSettings("daemon", &own));
        EXPECT_EQ(own, LSPsettings_t());
    }
}

// The service never reads a path from a request, whatever its own rights are.
TEST_F(APolicyOfSomebody, NeverComesFromAFileThatTheServiceReads) {
    platform::replaceFile(file(), policyFile("Root's own"), true);
    const As nobody("nobody");
    LSPsettings_t settings;
    settings.Source = 1;
    settings.File = file();
    std::string reply;
    ASSERT_TRUE(send(Command::SetUserSettings, encoded(std::string(), settings), &reply));
    ASSERT_TRUE(send(Command::ActivateUser, encoded(std::string(), std::string(), std::string()), &reply));
    EXPECT_EQ(reply[0], 0);
    EXPECT_EQ(report().info.request.type, LSPdriver);
}

} // namespace
