// SPDX-License-Identifier: MIT
#include <panelkit/cli/argv_and_paths.h>
#include <panelkit/cli/cli_output.h>

#include "../../support/bytes.h"
#include "../../support/fake_console.h"
#include "../../support/standard_output.h"
#include "../../support/test.h"

namespace {

class ConsoleOutput : public testing::Test {
protected:
    ConsoleOutput() { panelkit::ConsoleSetupProbe::forget(); }
    ~ConsoleOutput() override { panelkit::ConsoleSetupProbe::forget(); }

    void usePage(std::uint32_t page) {
        panelkit::ConsoleSetupProbe::forget();
        console.page = page;
    }

    FakeConsole console;
};

struct Shown {
    std::uint32_t page;
    const char* bytes;
};

// "Ключ €5 ☃" and an invalid byte, as each page shows them. Page 0 and an unknown page leave them unchanged.
const char* const message = "Ключ €5 ☃\xff";

// clang-format off
const Shown shownAs[] = {
    {437,   "3f 3f 3f 3f 20 3f '5' 20 3f 3f"},
    {850,   "3f 3f 3f 3f 20 3f '5' 20 3f 3f"},
    {866,   "8a ab ee e7 20 3f '5' 20 3f 3f"},
    {1251,  "ca eb fe f7 20 88 '5' 20 3f 3f"},
    {1252,  "3f 3f 3f 3f 20 80 '5' 20 3f 3f"},
    {20866, "eb cc c0 de 20 3f '5' 20 3f 3f"},
    {65001, "d0 9a d0 bb d1 8e d1 87 20 e2 82 ac '5' 20 e2 98 83 ef bf bd"},
    {0,     "d0 9a d0 bb d1 8e d1 87 20 e2 82 ac '5' 20 e2 98 83 ff"},
    {12345, "d0 9a d0 bb d1 8e d1 87 20 e2 82 ac '5' 20 e2 98 83 ff"},
};
// clang-format on

TEST_F(ConsoleOutput, IsPrintedInTheConsolesPage) {
    for (const auto& [page, bytes] : shownAs) {
        usePage(page);
        int count = -1;
        const std::string printed = printedBy([&] { count = cli_printf("%s [%d]\n", message, 7); });
        EXPECT_EQ(printed, hex(bytes) + " [7]\n") << page;
        EXPECT_EQ(count, static_cast<int>(printed.size())) << page;
    }
}

TEST_F(ConsoleOutput, GoesIntoAStringInTheConsolesPage) {
    for (const auto& [page, bytes] : shownAs) {
        usePage(page);
        const bool isKnown = page != 0 && page != 12345;
        std::string text = "kept";
        EXPECT_EQ(cli_sprintf(&text, "%s", message), isKnown ? hex(bytes).size() : 0) << page;
        EXPECT_EQ(text, isKnown ? hex(bytes) : "kept") << page;
    }
}

TEST_F(ConsoleOutput, TakesAMegabyte) {
    std::string text, in866;
    while (text.size() < 1'000'000) {
        text += "Пароль: %s\n";
        in866 += hex("8f a0 e0 ae ab ec") + ": %s\n";
    }
    int count = 0;
    EXPECT_EQ(printedBy([&] { count = cli_printf("%s", text.c_str()); }), in866);
    EXPECT_EQ(count, static_cast<int>(in866.size()));
    std::string string;
    EXPECT_EQ(cli_sprintf(&string, "%s", text.c_str()), in866.size());
    EXPECT_EQ(string, in866);
}

TEST_F(ConsoleOutput, OfNothingIsNothing) {
    std::string text = "kept";
    EXPECT_EQ(printedBy([] { EXPECT_EQ(cli_printf("%s", ""), 0); }), "");
    EXPECT_EQ(cli_sprintf(&text, "%s", ""), 0U);
    EXPECT_EQ(text, "kept");
}

TEST_F(ConsoleOutput, EndsAtAZeroByteWhenPrintedAndKeepsItInAString) {
    EXPECT_EQ(printedBy([] { EXPECT_EQ(cli_printf("a%cb", 0), 1); }), "a");
    std::string text;
    EXPECT_EQ(cli_sprintf(&text, "a%cb", 0), 3U);
    EXPECT_EQ(text, std::string("a\0b", 3));
}

TEST_F(ConsoleOutput, MayBeFormattedFromTheStringThatItGoesInto) {
    std::string text = "ключ";
    cli_sprintf(&text, "%s, %s", text.c_str(), text.c_str());
    EXPECT_EQ(text, hex("aa ab ee e7 ', ' aa ab ee e7"));
}

// A failing format: in the "C" locale of this process no wide letter beyond ASCII can be shown.
TEST_F(ConsoleOutput, OfAFormatThatFailsIsNothing) {
    std::string text = "kept";
    EXPECT_EQ(printedBy([] { EXPECT_EQ(cli_printf("%ls", L"\u043a"), 0); }), "");
    EXPECT_EQ(cli_sprintf(&text, "%ls", L"\u043a"), 0U);
    EXPECT_EQ(text, "kept");
}

TEST_F(ConsoleOutput, AsksForThePageOnceAndKeepsIt) {
    std::string text;
    cli_sprintf(&text, "%s", "к");
    EXPECT_EQ(console.locale, ".866");
    console.page = 1251;
    cli_sprintf(&text, "%s", "к");
    EXPECT_EQ(text, hex("aa"));
    EXPECT_EQ(console.pageQuestions, 1);
}

TEST_F(ConsoleOutput, DrawsTheBarSixtyPlacesWide) {
    struct Bar {
        double fraction;
        const char* percent;
        std::size_t filled;
    };
    // clang-format off
    const Bar bars[] = {
        {0.0,    "  0", 0}, {0.0166, "  1", 0}, {0.29, " 28", 17}, {0.5, " 50", 30}, {0.999, " 99", 59}, {1.0, "100", 60},
    };
    // clang-format on
    for (const auto& [fraction, percent, filled] : bars) {
        const std::string expected =
            "\r" + std::string(percent) + "% [" + std::string(filled, '=') + std::string(60 - filled, ' ') + "]";
        EXPECT_EQ(seenWhile([fraction = fraction] { cli_print_progress(fraction); }, expected, [] {}), expected)
            << fraction;
    }
}

TEST_F(ConsoleOutput, SpeaksRussianToRussiansAndEnglishToAllOthers) {
    struct User {
        std::uint16_t language, defaultOne;
        const char* messages;
    };
    // clang-format off
    const User users[] = {
        {0x0419, 0x0409, "rus"}, {0x0819, 0x0409, "rus"},                          // Russia, Moldova
        {0x0409, 0x0419, "eng"}, {0x0407, 0x0419, "eng"}, {0x0422, 0x0419, "eng"}, // English, German, Ukrainian
        {0x0400, 0x0419, "rus"}, {0x0400, 0x0409, "eng"}, {0x0400, 0x0400, "eng"}, // unspecified
    };
    // clang-format on
    for (const auto& [language, defaultOne, messages] : users) {
        console.language = language;
        console.defaultOne = defaultOne;
        EXPECT_STREQ(cli_get_console_lang(), messages) << language << " " << defaultOne;
    }
}

// Arguments are converted from 1251, whatever the console uses.
TEST_F(ConsoleOutput, HasNoBearingOnThePageOfArguments) {
    for (const std::uint32_t page : {0U, 866U, 1251U, 65001U}) {
        usePage(page);
        std::string out = "old";
        convert_argv_to_utf8("--label=\xca\xeb\xfe\xf7\x98", out);
        EXPECT_EQ(out, "--label=Ключ\u0098") << page;
        convert_argv_to_utf8("Ключ", out); // already UTF-8: garbled, as its header says
        EXPECT_EQ(out, "РљР»СЋС‡") << page;
        convert_argv_to_utf8("", out);
        EXPECT_EQ(out, "") << page;
    }
}

} // namespace
