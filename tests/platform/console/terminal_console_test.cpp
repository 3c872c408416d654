// SPDX-License-Identifier: MIT
//
// The console functions on a real terminal: each test runs console_probe at one end and holds the other.
#include "../../support/pseudo_terminal_posix.h"
#include "../../support/test.h"

#include <sys/wait.h>

#include <csignal>

namespace {

const std::string started = "started\n";

class TerminalConsole : public testing::Test {
protected:
    TerminalConsole() { surroundings.environment = {{"LOCPATH", TEST_LOCALES}, {"LC_ALL", "ru_RU.UTF-8"}}; }
    ~TerminalConsole() override { std::filesystem::remove(file); }

    void start(const std::vector<std::string>& verb) {
        std::vector<std::string> command = {CONSOLE_PROBE, file};
        command.insert(command.end(), verb.begin(), verb.end());
        terminal.run(command, surroundings);
    }

    // Runs a verb that reads, types, and waits for its successful end. Returns the report.
    std::string typed(const std::vector<std::string>& verb, std::string_view keys) {
        start(verb);
        terminal.waitForReader();
        terminal.type(keys);
        expectGoodEnd();
        return report();
    }

    void expectGoodEnd() {
        const int status = terminal.waitForStatus();
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        EXPECT_TRUE(terminal.modes() == before);
    }

    std::string report() const {
        std::stringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    std::string file = testing::TempDir() + "console_report_" + std::to_string(::getpid());
    PseudoTerminal terminal;
    PseudoTerminal::Surroundings surroundings;
    termios before = terminal.modes();
};

struct TypedRow {
    const char* name;
    const char* locale;
    const char* room;
    const char* keys;
    const char *secret, *screen;
    char eraseKey = 0x7F;
    bool driverKnowsUtf8 = false; // which counts if the locale has no character set
};

class ASecret : public TerminalConsole, public testing::WithParamInterface<TypedRow> {};

TEST_P(ASecret, IsReadWithoutEcho) {
    surroundings.environment["LC_ALL"] = GetParam().locale;
    before.c_cc[VERASE] = static_cast<cc_t>(GetParam().eraseKey);
    if (GetParam().driverKnowsUtf8) before.c_iflag |= IUTF8;
    terminal.setModes(before);
    EXPECT_EQ(typed({"passgets", GetParam().room}, GetParam().keys), started + "7\n" + GetParam().secret + "\n7\n");
    EXPECT_EQ(terminal.screen(), GetParam().screen);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Typed, ASecret, testing::Values(
    TypedRow{"plain",        "ru_RU.UTF-8",  "16", "\x7f" "ab\x7f" "c\r",   "'61 63 '",             "**\b \b*\r\n"},
    TypedRow{"own_erase",    "ru_RU.UTF-8",  "16", "ab#\x7f\bc\r",         "'63 '",                "**\b \b\b \b*\r\n", '#'},
    TypedRow{"too_long",     "ru_RU.UTF-8",  "4",  "abc",                   "null",                 "***"},
    TypedRow{"at_the_end",   "ru_RU.UTF-8",  "16", "ab\x04",                "null",                 "**"},
    TypedRow{"utf8",         "ru_RU.UTF-8",  "16", "Пин\x7fк\r",            "'d0 9f d0 b8 d0 ba '", "***\b \b*\r\n"},
    TypedRow{"koi8",         "ru_RU.KOI8-R", "16", "\xf0\xc9\x7f\xc4\r",    "'f0 c4 '",             "**\b \b*\r\n"},
    TypedRow{"c_and_utf8",   "C",            "16", "П\x7fк\r",              "'d0 ba '",             "*\b \b*\r\n", 0x7F, true},
    TypedRow{"c_and_bytes",  "C",            "16", "П\r",                   "'d0 9f '",             "**\r\n"}),
    [](const auto& row) { return row.param.name; });
// clang-format on

TEST_F(TerminalConsole, DoesNotReadIntoNoRoom) {
    start({"passgets", "1"});
    expectGoodEnd();
    EXPECT_EQ(report(), started + "7\nnull\n7\n");
}

TEST_F(TerminalConsole, ReadsWhatWasTypedAhead) {
    terminal.type("ab\n");
    start({"passgets", "16"});
    expectGoodEnd();
    EXPECT_EQ(report(), started + "7\n'61 62 '\n7\n");
}

TEST_F(TerminalConsole, EndsASecretWhenTheTerminalIsGone) {
    surroundings.ignored = {SIGHUP};
    start({"passgets", "16"});
    terminal.waitForReader();
    terminal.hangUp();
    EXPECT_EQ(terminal.waitForStatus(), 0);
    EXPECT_EQ(report(), started + "7\nnull\nno console\n");
}

TEST_F(TerminalConsole, ReadsNoSecretFromAFile) {
    surroundings.input = "/dev/null";
    start({"passgets", "16"});
    expectGoodEnd();
    EXPECT_EQ(report(), started + "no console\nnull\nno console\n");
}

TEST_F(TerminalConsole, WritesNoStarsIntoAFile) {
    surroundings.output = file + ".out";
    EXPECT_EQ(typed({"passgets", "16"}, "ab\r"), started + "7\n'61 62 '\n7\n");
    EXPECT_EQ(std::filesystem::file_size(surroundings.output), 0U);
    EXPECT_EQ(terminal.screen(), "");
    std::filesystem::remove(surroundings.output);
}

// Whatever signal ends the program, the terminal is restored, and the program's status shows that signal.
class EndingSignal : public TerminalConsole, public testing::WithParamInterface<int> {};

TEST_P(EndingSignal, FindsTheTerminalPutBack) {
    for (const char* verb : {"passgets", "keys"}) {
        PseudoTerminal other;
        const termios asItWas = other.modes();
        other.run({CONSOLE_PROBE, file, verb, "16"}, surroundings);
        other.waitForReader();
        other.signal(GetParam());
        const int status = other.waitForStatus();
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == GetParam()) << status;
        EXPECT_TRUE(other.modes() == asItWas) << verb;
    }
}

TEST_P(EndingSignal, RunsTheProgramsOwnHandlerAndLeavesItInPlace) {
    start({"passgets", "16", std::to_string(GetParam())});
    terminal.waitForReader();
    terminal.type("ab");
    terminal.signal(GetParam());
    expectGoodEnd();
    EXPECT_EQ(report(), started + "7\nnull\n7\nhandled 1\nhandler in place\n");
}

TEST_P(EndingSignal, StaysIgnoredWhereTheProgramIgnoresIt) {
    surroundings.ignored = {GetParam()};
    start({"passgets", "16"});
    terminal.waitForReader();
    terminal.signal(GetParam());
    terminal.type("ab\r");
    expectGoodEnd();
    EXPECT_EQ(report(), started + "7\n'61 62 '\n7\n");
}

INSTANTIATE_TEST_SUITE_P(Signals, EndingSignal, testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT));

TEST_F(TerminalConsole, IsInterruptedByCtrlC) {
    start({"passgets", "16"});
    terminal.waitForReader();
    terminal.type("ab\x03");
    const int status = terminal.waitForStatus();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    EXPECT_TRUE(terminal.modes() == before);
}

TEST_F(TerminalConsole, IsPutBackWhileTheProgramIsStopped) {
    start({"passgets", "16"});
    std::string shown;
    for (const char* key : {"a", "b"}) {
        terminal.waitForReader();
        terminal.type(key);
        shown += "*";
        waitUntil("a star", [&] { return terminal.screen() == shown; }); // a stop discards unread input
        terminal.type("\x1a");
        const int status = terminal.waitForStatus();
        EXPECT_TRUE(WIFSTOPPED(status) && WSTOPSIG(status) == SIGTSTP) << status;
        EXPECT_TRUE(terminal.modes() == before);
        terminal.signal(SIGCONT);
    }
    terminal.waitForReader();
    terminal.type("c\r");
    expectGoodEnd();
    EXPECT_EQ(report(), started + "7\n'61 62 63 '\n7\n");
    EXPECT_EQ(terminal.screen(), "***\r\n");
}

// SIGSTOP can't be caught; the shell then restores the terminal, and the secret must not be shown after that either.
TEST_F(TerminalConsole, ReadsOnWithoutEchoAfterAStopThatCannotBeCaught) {
    start({"passgets", "16"});
    terminal.waitForReader();
    terminal.signal(SIGSTOP);
    EXPECT_TRUE(WIFSTOPPED(terminal.waitForStatus()));
    terminal.setModes(before);
    terminal.signal(SIGCONT);
    terminal.waitForReader();
    terminal.type("ab\r");
    expectGoodEnd();
    EXPECT_EQ(report(), started + "7\n'61 62 '\n7\n");
    EXPECT_EQ(terminal.screen(), "**\r\n");
}

TEST_F(TerminalConsole, ReadsKeysAsTheyAre) {
    start({"keys", "9"});
    std::string expected = started;
    // Enter, erase, Ctrl+C, Ctrl+Z, Ctrl+D, Ctrl+S; and a letter, an arrow's first two codes
    const std::pair<const char*, const char*> keys[] = {
        {"\r", "13\n"},  {"\x7f", "8\n"},  {"\x03", "3\n"},     {"\x1a", "26\n"},
        {"\x04", "4\n"}, {"\x13", "19\n"}, {"П", "208\n159\n"}, {"\x1b[A", "27\n"},
    };
    for (const auto& [key, codes] : keys) {
        terminal.waitForReader();
        terminal.type(key);
        expected += codes;
        waitUntil("reading a key", [&] { return report().size() >= expected.size(); });
    }
    expectGoodEnd();
    EXPECT_EQ(report(), expected);
    EXPECT_EQ(terminal.screen(), "");
}

TEST_F(TerminalConsole, HasNoKeysInAFile) {
    surroundings.input = "/dev/null";
    start({"keys", "2"});
    expectGoodEnd();
    EXPECT_EQ(report(), started + "-1\n-1\n");
}

TEST_F(TerminalConsole, EndsTheProgramAtCtrlCFromReadOneChar) {
    EXPECT_EQ(typed({"key"}, "\x03"), started); // it does not return, and the status is success
    EXPECT_EQ(terminal.screen(), "\r\r\n");
}

TEST_F(TerminalConsole, SwitchesItsEcho) {
    start({"echo"});
    expectGoodEnd();
    EXPECT_EQ(report(), started + "3\n7\n");
}

TEST_F(TerminalConsole, ShowsTextInThePageOfTheLocale) {
    struct Locale {
        const char* name;
        std::string report, screen;
    };
    const Locale locales[] = {
        {"ru_RU.UTF-8", "9\n8\nd0 9a d0 bb d1 8e d1 87 \n", "Ключ\r\n"},
        {"ru_RU.KOI8-R", "5\n4\neb cc c0 de \n", "\xeb\xcc\xc0\xde\r\n"},
        {"ru_RU.IBM866", "5\n4\n8a ab ee e7 \n", "\x8a\xab\xee\xe7\r\n"},
        {"C", "9\n0\n75 6e 74 6f 75 63 68 65 64 \n", "Ключ\r\n"},     // names no character set: unchanged
        {"xx_XX", "9\n0\n75 6e 74 6f 75 63 68 65 64 \n", "Ключ\r\n"}, // is not installed: the same
    };
    for (const auto& [name, expected, screen] : locales) {
        PseudoTerminal other;
        surroundings.environment["LC_ALL"] = name;
        other.run({CONSOLE_PROBE, file, "print", "d0 9a d0 bb d1 8e d1 87"}, surroundings);
        EXPECT_EQ(other.waitForStatus(), 0);
        EXPECT_EQ(report(), started + expected) << name;
        EXPECT_EQ(other.screen(), screen) << name;
    }
}

TEST_F(TerminalConsole, SpeaksTheLanguageOfTheFirstVariableThatIsSet) {
    struct Variables {
        const char *all, *messages, *lang, *language;
    };
    // clang-format off
    const Variables cases[] = {
        {"ru_RU.UTF-8", "C",     "C",     "rus"}, {"C", "ru_RU.UTF-8", "ru_RU.UTF-8", "eng"},
        {"",            "ru_RU", "C",     "rus"}, {"",  "de_DE",       "ru_RU.UTF-8", "eng"},
        {"",            "",      "ru",    "rus"}, {"",  "",            "uk_UA",       "eng"}, {"", "", "", "eng"},
    };
    // clang-format on
    for (const auto& [all, messages, lang, language] : cases) {
        PseudoTerminal other;
        surroundings.environment = {{"LC_ALL", all}, {"LC_MESSAGES", messages}, {"LANG", lang}};
        other.run({CONSOLE_PROBE, file, "console"}, surroundings);
        EXPECT_EQ(other.waitForStatus(), 0);
        EXPECT_THAT(report(), testing::StartsWith(started + language)) << all << "," << messages << "," << lang;
    }
}

} // namespace
