// SPDX-License-Identifier: MIT
//
// panelctl cert and psk at a terminal: the questions, the output while the service works, and the error for a user who
// may not read a file. POSIX only.
#include "../support/other_user_posix.h"
#include "../support/pseudo_terminal_posix.h"
#include "cert_fixture.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class AtATerminal : public CertVerbs {
protected:
    void start(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {builtProgram("panelctl"), "--endpoint", service.endpoint()});
        terminal.run(arguments, {.environment = {{"LC_ALL", "C.UTF-8"}, {"NO_COLOR", "1"}, {"TERM", "xterm"}}});
    }
    void waitFor(const std::string& text) {
        waitUntil(text.c_str(), [&] { return terminal.screen().find(text) != std::string::npos; });
    }
    // Answers a question while line editing is off, as for secrets.
    void typeSecret(const std::string& question, const std::string& secret) {
        waitFor(question);
        terminal.waitForReader();
        terminal.type(secret + "\r");
    }
    int exitCode() {
        const int status = terminal.waitForStatus();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    TemporaryFolder folder;
    PseudoTerminal terminal;
};

TEST_F(AtATerminal, ACertificateIsDeletedWhenItsLabelIsTyped) {
    service.on(Command::DeleteCertificate, Reaction::reply(""));
    start({"cert", "delete", "west"});
    waitFor("Type \"gate key\" to continue: ");
    EXPECT_THAT(terminal.screen(), HasSubstr("will be deleted from token \"Office\"; its private key stays there."));
    EXPECT_EQ(sent(Command::DeleteCertificate), "");
    terminal.type("gate key\n");
    EXPECT_EQ(exitCode(), 0) << terminal.screen();
    EXPECT_EQ(sent(Command::DeleteCertificate), encoded(office, gate));
}

TEST_F(AtATerminal, TheQuestionSaysThatTheKeyIsDeletedToo) {
    service.on(Command::DeleteCertAndKey, Reaction::reply(""));
    start({"cert", "delete", "west", "--with-key"});
    waitFor("Type \"gate key\" to continue: ");
    EXPECT_THAT(terminal.screen(), HasSubstr("and its private key will be deleted from token \"Office\"."));
    terminal.type("gate key\n");
    EXPECT_EQ(exitCode(), 0) << terminal.screen();
    EXPECT_EQ(sent(Command::DeleteCertAndKey), encoded(office, gate));
}

TEST_F(AtATerminal, AnythingElseThatIsTypedDeletesNothing) {
    start({"cert", "delete", "west"});
    waitFor("to continue: ");
    terminal.type("yes\n");
    EXPECT_EQ(exitCode(), 26);
    EXPECT_THAT(terminal.screen(), HasSubstr("the name was not typed; nothing was deleted"));
    EXPECT_EQ(sent(Command::DeleteCertificate), "");
}

TEST_F(AtATerminal, AFilesPasswordIsAskedForOnlyWhenItNeedsOne) {
    std::ofstream(folder.file("a.p12")) << "bundle";
    std::atomic<int> parses = 0;
    service.on(Command::ParseCertFile, [&](const panelkit::testing::Received&) {
        if (++parses == 1) return Reaction::reply(encoded(vocabulary::ParseResult::passwordWrong));
        return Reaction::reply(encoded(std::uint32_t{0}, std::vector<TokenInfo>{},
                                       std::vector<CertImportOption>{{gate, 1, {}}}, std::vector<CRLInfo>{}));
    });
    start({"cert", "import", folder.file("a.p12"), "--list"});
    typeSecret("password of " + folder.file("a.p12") + ": ", "s3cret");
    EXPECT_EQ(exitCode(), 0) << terminal.screen();
    EXPECT_EQ(sent(Command::ParseCertFile), encoded(std::string("bundle"), std::string("s3cret")));
    EXPECT_THAT(terminal.screen(), Not(HasSubstr("s3cret")));
}

TEST_F(AtATerminal, AnEmptyAnswerErasesNoTokenWithoutALabel) {
    TokenInfo nameless = office;
    (nameless.*vocabulary::token::label).clear();
    service.answer<Command::EnumProviderTokens>(std::vector{nameless});
    start({"token", "init", "A1", "--label", "New"});
    waitFor("Type its label to continue: ");
    terminal.type("\n");
    EXPECT_EQ(exitCode(), 26) << terminal.screen();
}

TEST_F(AtATerminal, ANewPinIsTypedTwice) {
    start({"token", "change-pin", "A1"});
    typeSecret("PIN of token", "old");
    typeSecret("new PIN of token", "one");
    typeSecret("Repeat it: ", "two");
    EXPECT_EQ(exitCode(), 12) << terminal.screen();
}

TEST_F(AtATerminal, AKeysValueIsTypedTwice) {
    start({"psk", "create", "site", "--token", "A1"});
    typeSecret("value of key \"site\": ", "one");
    typeSecret("Repeat it: ", "two");
    EXPECT_EQ(exitCode(), 12);
    EXPECT_EQ(sent(Command::CreatePresharedKey), "");
}

TEST_F(AtATerminal, DotsAreDrawnForPeopleAndNotForPrograms) {
    service.on(Command::CertsReloadAll, Reaction::reply("").after(std::chrono::milliseconds(1300)));
    service.on(Command::TokensReloadAll, Reaction::reply("").after(std::chrono::milliseconds(2500)));
    start({"cert", "reload"});
    EXPECT_EQ(exitCode(), 0);
    EXPECT_THAT(terminal.screen(), StartsWith(".\r\n"));
    EXPECT_THAT(run({"cert", "reload"}).error, Not(HasSubstr(".\n")));
    for (const char* option : {"--lang=en", "--json"}) {
        PseudoTerminal other;
        other.run({builtProgram("panelctl"), "--endpoint", service.endpoint(), option, "token", "reload"}, {});
        EXPECT_EQ(other.waitForStatus(), 0);
        const bool drawn = other.screen().find("..\r\nAll providers have been reloaded") != std::string::npos;
        EXPECT_EQ(drawn, std::string_view(option) != "--json") << other.screen();
    }
}

// A hook that sleeps for a second would draw a dot for every short command.
TEST_F(AtATerminal, NothingIsDrawnForWhatIsDoneWithinASecond) {
    service.on(Command::CertsReloadAll, Reaction::reply("").after(std::chrono::milliseconds(200)));
    start({"cert", "reload"});
    EXPECT_EQ(exitCode(), 0);
    EXPECT_THAT("\n" + terminal.screen(), Not(HasSubstr("\n.\r\n")));
}

TEST_F(AtATerminal, BinaryDataIsNotPrinted) {
    start({"cert", "export", "0A1B", "--format", "der"});
    EXPECT_EQ(exitCode(), 2);
    EXPECT_THAT(terminal.screen(), HasSubstr("use --output"));
    EXPECT_EQ(sent(Command::ExportCertificate), "");
}

// ---- files

TEST_F(AtATerminal, AFileWithoutPermissionIsNamed) {
    if (!OtherUser::canBecome()) GTEST_SKIP() << "only root can become somebody else";
    const std::string file = folder.file("secret.pem");
    std::ofstream(file) << "x";
    ::chmod(file.c_str(), 0600);
    const OtherUser other(service.endpoint());
    const auto result = other.run("nobody", "--clear-groups", {"cert", "import", file});
    EXPECT_EQ(result.status, 12) << result.error;
    EXPECT_THAT(result.error, HasSubstr(file + ": Permission denied"));
}

TEST_F(AtATerminal, NeitherDevicesNorPipesAreImported) {
    const std::string pipe = folder.file("pipe");
    ::mkfifo(pipe.c_str(), 0600);
    expectError(run({"cert", "import", "/dev/zero"}), 12, "is not a regular file");
    expectError(run({"cert", "import", pipe}), 12, "is not a regular file");
}

TEST_F(AtATerminal, AnExportedFileIsItsOwnersAlone) {
    service.answer<Command::ExportCertificate>(ExportCertResult{}, std::string("pem"));
    const std::string file = folder.file("gate.pem");
    EXPECT_EQ(run({"cert", "export", "0A1B", "--output", file}).status, 0);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(run({"cert", "export", "0A1B", "--output", "/dev/full"}).status, 12);
    std::filesystem::create_symlink(folder.file("elsewhere"), folder.file("link"));
    EXPECT_EQ(run({"cert", "export", "0A1B", "--output", folder.file("link")}).status, 12);
    EXPECT_FALSE(std::filesystem::exists(folder.file("elsewhere"))) << "a link that leads nowhere is a file too";
}

TEST_F(AtATerminal, ColoursAreShownUnlessTheyAreNotWanted) {
    for (const char* wanted : {"1", "0"}) {
        PseudoTerminal screen;
        std::map<std::string, std::string> environment{{"LC_ALL", "C.UTF-8"}, {"TERM", "xterm"}};
        if (*wanted == '0') environment["NO_COLOR"] = "1";
        screen.run({builtProgram("panelctl"), "--endpoint", service.endpoint(), "cert", "list"},
                   {.environment = environment});
        EXPECT_EQ(WEXITSTATUS(screen.waitForStatus()), 0);
        EXPECT_EQ(screen.screen().find("\033[") != std::string::npos, *wanted == '1') << screen.screen();
    }
}

} // namespace
