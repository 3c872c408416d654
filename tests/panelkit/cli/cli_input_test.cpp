// SPDX-License-Identifier: MIT
#include <panelkit/cli/cli_input.h>

#include "../../support/fake_console.h"
#include "../../support/test.h"

namespace {

struct Typing {
    std::string typed;
    std::size_t size;
    const char* stored; // null when refused
    const char* screen;
};

void expectTyping(const Typing& typing, std::uint32_t page) {
    FakeConsole console;
    console.page = page;
    console.typed = typing.typed;
    // Of exactly the size, so that a sanitizer sees a write past its end.
    const auto buffer = std::make_unique<char[]>(typing.size);
    const char* result = passgets(buffer.get(), typing.size);
    ASSERT_EQ(result != nullptr, typing.stored != nullptr) << typing.typed;
    if (typing.stored) {
        EXPECT_EQ(result, buffer.get());
        EXPECT_STREQ(result, typing.stored) << typing.typed;
    }
    EXPECT_EQ(console.screen, typing.screen) << typing.typed;
    EXPECT_THAT(console.modes, ElementsAre(1, 7)) << "borrowed and given back";
}

TEST(Passgets, StoresALineAndShowsStars) {
    // clang-format off
    const Typing typings[] = {
        {"pin\r",                  8, "pin",   "***\n"},
        {"pin\n",                  8, "pin",   "***\n"},
        {"\r",                     8, "",      "\n"},
        {"ab\bc\r",                8, "ac",    "**\b \b*\n"},
        {"\b\ba\r",                8, "a",     "*\n"},             // nothing to take back
        {"a\b\b\bb\r",             8, "b",     "*\b \b*\n"},
        {"abc",                    4, nullptr, "***"},             // full: refused before Enter
        {"abc\r",                  4, nullptr, "***"},
        {"ab\b\bcd\r",             4, "cd",    "**\b \b\b \b**\n"}, // removed characters free their room
        {"a\r",                    2, nullptr, "*"},
        {"\r",                     2, "",      "\n"},
        {"ab",                     8, nullptr, "**"},              // the input ends
        {"",                       8, nullptr, ""},
        {"\x8f\xa8\xad\b\x8a\r",   8, "\x8f\xa8\x8a", "***\b \b*\n"},
        {"\x01\t\x7f\r",           8, "\x01\t\x7f", "***\n"},      // whatever else is typed
    };
    // clang-format on
    for (const Typing& typing : typings) expectTyping(typing, 866);
}

TEST(Passgets, TakesACharacterOfSeveralBytesAsOneInUtf8) {
    // clang-format off
    const Typing typings[] = {
        {"Ключ\r",                16, "Ключ",  "****\n"},
        {"€\b\U0001F511x\b\b€\r", 16, "€",     "*\b \b**\b \b\b \b*\n"},
        {"Кл\r",                   6, "Кл",    "**\n"},            // the size counts bytes
        {"Кл\r",                   5, nullptr, "**"},
        {"К\b\bл\r",               8, "л",     "*\b \b*\n"},
        {"\x80\x80z\b\bz\r",       8, "z",     "**\b \b\b \b*\n"}, // the stars always match the characters
    };
    // clang-format on
    for (const Typing& typing : typings) expectTyping(typing, 65001);
}

TEST(Passgets, DoesNotReadWhereItCannotStore) {
    for (const std::size_t size : {0U, 1U, 100U}) {
        FakeConsole console;
        console.typed = "a\r";
        char buffer[1] = {'#'};
        EXPECT_EQ(passgets(size == 100 ? nullptr : buffer, size), nullptr) << size;
        EXPECT_EQ(console.typed, "a\r") << size;
        EXPECT_EQ(buffer[0], '#') << size;
        EXPECT_THAT(console.modes, ElementsAre(1, 7)) << size;
    }
}

TEST(Passgets, DoesNotReadWithoutAConsole) {
    for (bool FakeConsole::*const missing :
         {&FakeConsole::isThere, &FakeConsole::isConsole, &FakeConsole::canBeChanged}) {
        FakeConsole console;
        console.*missing = false;
        console.typed = "a\r";
        char buffer[8];
        EXPECT_EQ(passgets(buffer, sizeof(buffer)), nullptr);
        EXPECT_EQ(console.typed, "a\r");
        EXPECT_EQ(console.screen, "");
        EXPECT_THAT(console.modes, ElementsAre());
    }
}

// The size is the only limit; removed characters are wiped.
TEST(Passgets, LeavesNothingOfWhatWasTakenBack) {
    FakeConsole console;
    console.typed = "secret\b\b\b\b\r";
    char buffer[16] = {};
    ASSERT_NE(passgets(buffer, sizeof(buffer)), nullptr);
    EXPECT_EQ(std::string(buffer, sizeof(buffer)), "se" + std::string(14, '\0'));
}

TEST(KeyReading, GivesTheConsolesCodes) {
    FakeConsole console;
    console.keys = {'a', 13, 224, 72, 3};
    EXPECT_EQ(cli_getch(), 'a');
    EXPECT_EQ(cli_getch(), 13);
    EXPECT_EQ(read_one_char(), 224);
    EXPECT_EQ(read_one_char(), 72);
    EXPECT_EQ(cli_getch(), 3) << "only read_one_char minds Ctrl+C";
    EXPECT_EQ(read_one_char(), -1) << "the end of input";
    EXPECT_EQ(console.screen, "");
}

TEST(KeyReading, EndsTheProcessWithStatusZeroAtCtrlC) {
    const auto readCtrlC = [] {
        class Witness : public FakeConsole {
        public:
            void write(std::string_view bytes) override { std::fprintf(stderr, "<%zu:%d>", bytes.size(), bytes[0]); }
        } console;
        console.keys = {3};
        read_one_char();
        std::exit(7); // it returned
    };
    EXPECT_EXIT(readCtrlC(), testing::ExitedWithCode(0), "<2:13>");
}

TEST(StdinEcho, IsOneBitOfTheMode) {
    FakeConsole console;
    console.mode = 0x1F7;
    SetStdinEcho(false);
    SetStdinEcho(false);
    SetStdinEcho(true);
    EXPECT_THAT(console.modes, ElementsAre(0x1F3, 0x1F3, 0x1F7));
    console.isConsole = false;
    SetStdinEcho(false); // no output and no effect
    EXPECT_THAT(console.modes, testing::SizeIs(3));
}

} // namespace
