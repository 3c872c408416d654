// SPDX-License-Identifier: MIT
//
// An administrator's day with tokens: panelctl, panelkitd, SoftHSM2, and a second user.
#include "../support/other_user_posix.h"
#include "../support/panelctl_fixture.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

class TheAdministrator : public PanelctlAndPanelkitd {
protected:
    TheAdministrator() : PanelctlAndPanelkitd({"--users-group", "games"}) {}
};

TEST_F(TheAdministrator, GetsThroughTheDay) {
    initialize("Office");
    const auto expect = [&](int status, std::vector<std::string> arguments, const std::string& input = {}) {
        EXPECT_EQ(run(arguments, input).status, status) << arguments[1];
    };
    const std::vector<std::string> login{"token", "login", "Office", "--pin-stdin"};
    const std::vector<std::string> erase{"token", "init",  "Office",         "--label",
                                         "Home",  "--yes", "--so-pin-stdin", "--pin-stdin"};
    expect(20, login, "wrong\n");
    expect(0, login, "user-1\n");
    EXPECT_EQ(run({"token", "login", "Office"}).output, "The service is already logged in to token \"Office\".\n");
    expect(0, {"token", "change-pin", "Office", "--pin-stdin", "--new-pin-stdin"}, "user-1\nuser-2\n");
    expect(0, {"token", "seed", "Office"});
    expect(0, {"token", "logout", "Office"});
    expect(20, login, "user-1\n");
    expect(0, {"token", "change-pin", "Office", "--so", "--pin-stdin", "--new-pin-stdin"}, "so-pin-1\nso-pin-2\n");
    expect(20, erase, "so-pin-1\nuser-1\n");
    expect(0, erase, "so-pin-2\nuser-1\n");
    EXPECT_EQ(json({"token", "list"})[0]["label"], "Home");
}

TEST_F(TheAdministrator, WatchesWhatHappens) {
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--endpoint", service.endpoint(), "watch", "--json"};
    platform::ChildProcess watch(options);
    for (int i = 0; i < 1000 && watch.errorSoFar().empty(); ++i) ::usleep(5000);
    initialize("Office");
    run({"config", "set", "IKE.EXCHANGE_TIMEOUT", "90", "--commit"});
    run({"policy", "activate", "driver", "--name", "drop-all-except-dhcp"});
    for (int i = 0; i < 4000 && watch.outputSoFar().find("policy-activated") == std::string::npos; ++i) ::usleep(5000);
    for (const char* event : {"token-initialized", "configuration-committed", "policy-activated"}) {
        EXPECT_THAT(watch.outputSoFar(), HasSubstr(event));
    }
    watch.terminate();
    EXPECT_EQ(watch.wait(std::chrono::seconds(20)).status, 0);
}

TEST_F(TheAdministrator, IsSpokenToInTheLanguageOfTheEnvironment) {
    const auto note = [&](Environment environment) {
        return run({"token", "list", "--provider", "x"}, {}, std::move(environment)).error;
    };
    const auto russian = HasSubstr("нет провайдера \"x\"");
    EXPECT_THAT(note({{"LC_ALL", std::nullopt}, {"LC_MESSAGES", std::nullopt}, {"LANG", "ru_RU.UTF-8"}}), russian);
    EXPECT_THAT(note({{"LC_ALL", "ru_RU.UTF-8"}, {"LANG", "en_US.UTF-8"}}), russian);
    EXPECT_THAT(note({{"LC_ALL", "C.UTF-8"}, {"LANG", "ru_RU.UTF-8"}}), HasSubstr("there is no provider \"x\""));
}

TEST_F(TheAdministrator, LearnsThatTheOutputIsLost) {
    const auto written = [&](const std::string& redirection, const std::string& command) {
        return program({"/bin/sh", "-c",
                        builtProgram("panelctl") + " --endpoint " + service.endpoint() + " " + command + redirection});
    };
    for (const char* redirection : {" >/dev/full", " >&-"}) {
        for (const char* command : {"--help", "provider list", "provider list --json", "config list"}) {
            const platform::ChildResult result = written(redirection, command);
            EXPECT_EQ(result.status, 1) << command << redirection;
            EXPECT_THAT(result.error, HasSubstr("standard output can't be written"));
        }
    }
    EXPECT_EQ(written(" <&- 2>&-", "provider list").status, 0);
    // A reader that has left has seen enough. The trap keeps the signal from ending panelctl.
    EXPECT_EQ(program({"/bin/sh", "-c",
                       "{ trap '' PIPE; sleep 0.3; " + builtProgram("panelctl") + " --endpoint " + service.endpoint() +
                           " provider list; echo $? >&2; } | true"})
                  .error,
              "0\n");
}

TEST_F(TheAdministrator, IsToldWhichArgumentIsWrong) {
    EXPECT_THAT(run({"token", "login"}).error, HasSubstr("there is no initialised token"));
    EXPECT_THAT(run({"--timeout", "-1", "token", "list"}).error,
                HasSubstr("--timeout: \"-1\" is not a number between 0 and 86400"));
    EXPECT_THAT(run({"watch", "--count", "nan"}).error, HasSubstr("\"nan\" is not a number between 1 and 4294967295"));
    EXPECT_THAT(run({"provider", "load", "nowhere/x.so"}).error,
                HasSubstr("/nowhere/x.so can't be examined: No such file"));
    EXPECT_THAT(run({"config", "plan", "/"}).error, HasSubstr("/: Is a directory"));
}

// Another program, with the same module and folder, sees the changes.
TEST_F(TheAdministrator, LeavesTokensThatOpenScSeesToo) {
    initialize("Office");
    const auto seen = pkcs11Tool(service, {"-L"});
    EXPECT_EQ(seen.status, 0) << seen.error;
    EXPECT_THAT(seen.output, HasSubstr("Office"));
}

class AnotherUser : public TheAdministrator {
protected:
    AnotherUser() {
        if (OtherUser::canBecome()) other = std::make_unique<OtherUser>(service.endpoint());
    }
    void SetUp() override {
        if (!other) GTEST_SKIP() << "only root can become somebody else";
    }
    platform::ChildResult runAs(const std::string& user, const std::string& groups, std::vector<std::string> arguments,
                                const std::string& input = {}) const {
        return other->run(user, groups, std::move(arguments), input);
    }

    std::unique_ptr<OtherUser> other;
};

TEST_F(AnotherUser, OutsideTheGroupsIsRefusedWithAClearError) {
    const auto result = runAs("nobody", "--clear-groups", {"token", "list"});
    EXPECT_EQ(result.status, 4) << result.error;
    EXPECT_THAT(result.error, HasSubstr("access denied: nobody may not use this service"));
}

TEST_F(AnotherUser, InTheUsersGroupMayLogInButNotInitialise) {
    initialize("Office");
    const std::string groups = "--groups=games";
    EXPECT_EQ(runAs("nobody", groups, {"token", "list"}).status, 0);
    EXPECT_EQ(runAs("nobody", groups, {"token", "login", "Office", "--pin-stdin"}, "user-1\n").status, 0);
    EXPECT_EQ(runAs("nobody", groups, {"token", "logout", "Office"}).status, 0);
    const auto result = runAs("nobody", groups, {"token", "init", "--label", "Mine", "--so-pin-stdin", "--pin-stdin"},
                              "so-pin-1\nuser-1\n");
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.error, HasSubstr("this is for administrators of the service, and nobody is not one of them"));
    EXPECT_THAT(service.log(), HasSubstr("audit: nobody TokenInitialize: denied"));
}

// The service runs under the account "nobody", which must not receive PINs.
TEST_F(AnotherUser, WhoRunsAServiceIsNotTrusted) {
    const TemporaryFolder open;
    ::chmod(open.path().c_str(), 0777);
    platform::ChildProcess fake(other->serviceIn(open.path().string(), "nobody"));
    hasSaid(fake, " serves ");
    const auto result = panelctl(open.file("socket"), {"token", "list"});
    EXPECT_EQ(result.status, 8) << result.error << fake.errorSoFar();
    EXPECT_THAT(result.error, HasSubstr("run by an account that is not trusted: nobody"));
    EXPECT_EQ(runAs("nobody", "--clear-groups", {"--endpoint", open.file("socket"), "token", "list"}).status, 0)
        << "whoever runs it may use it";
}

} // namespace
