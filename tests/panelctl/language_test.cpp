// SPDX-License-Identifier: MIT
//
// panelctl's texts in another language: the table, the Russian catalogue as it was built, and the choice of a language.
#include <panelctl/display_width.h>
#include <panelctl/language.h>
#include <panelctl/text_module.h>
#include <panelctl/text_table.h>

#include <platform/codepage/convi.h>
#include <platform/loccore/placeholders.h>

#include "../support/fake_console.h"
#include "../support/places.h"
#include "../support/running_service.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>

using namespace panelctl;
using testing::HasSubstr;

namespace {

class RussianTexts : public testing::Test {
protected:
    RussianTexts() {
        std::string error;
        EXPECT_TRUE(module.load(localeFolder(), "ru", &error)) << error;
    }
    ~RussianTexts() override { module.restoreDefaults(); }

    TextModule module;
};

// Whether a wording has words, and not just places to fill and the program's name.
bool hasWords(std::string wording) {
    for (const char* other : {"panelctl", "%s", "%1$s", "%2$s", "%3$s", "%4$s"}) {
        for (std::size_t at = wording.find(other); at != std::string::npos; at = wording.find(other)) {
            wording.erase(at, std::strlen(other));
        }
    }
    return std::any_of(wording.begin(), wording.end(), [](unsigned char c) { return std::isalpha(c) != 0; });
}

TEST(ATextRow, IsCalledWhatItsEnumeratorIsCalled) {
    const std::vector<TextRow> rows = textRows();
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(Say::count_));
    EXPECT_EQ(rows.front().name, "about");
    EXPECT_EQ(rows[static_cast<std::size_t>(Say::secretTwice)].name, "secretTwice");
    EXPECT_STREQ(rows[static_cast<std::size_t>(Say::wordYes)].wording, "yes");
}

TEST_F(RussianTexts, AreThereForEveryEntry) {
    const std::vector<TextRow> rows = textRows();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::string_view shown = text(static_cast<Say>(i));
        EXPECT_EQ(shown != rows[i].wording, hasWords(rows[i].wording)) << rows[i].name << " is not translated";
    }
    EXPECT_EQ(phrase(Say::valueUnfit, {"--timeout", "x"}), "\"x\" - недопустимое значение --timeout");
}

// The console of a Russian Windows has no angle quotes and no dashes; they would be shown as question marks.
TEST_F(RussianTexts, CanBeShownAtARussianConsole) {
    const convi toConsole(65001, 866);
    for (std::size_t i = 0; i < static_cast<std::size_t>(Say::count_); ++i) {
        const std::string shown = text(static_cast<Say>(i));
        std::string bytes(toConsole.get_outsize(shown.data(), shown.size()), '\0');
        toConsole.convert_safe(shown.data(), shown.size(), bytes.data(), bytes.size());
        EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '?'), std::count(shown.begin(), shown.end(), '?')) << shown;
    }
}

// One name means one thing to whoever types it.
TEST_F(RussianTexts, AskForTheWordThatTheyTake) {
    EXPECT_THAT(text(Say::finalTryPrompt), HasSubstr(std::string(1, '"') + text(Say::wordYes) + '"'));
}

TEST(TheLanguageOption, IsFoundWhereverItStandsBeforeThePlainWords) {
    const auto said = [](std::vector<std::string> arguments) { return languageOption(arguments); };
    EXPECT_EQ(said({"token", "list"}), "");
    EXPECT_EQ(said({"--lang", "ru", "token", "list"}), "ru");
    EXPECT_EQ(said({"token", "list", "--lang=ru", "--lang=en"}), "en");
    EXPECT_EQ(said({"token", "list", "--", "--lang=ru"}), "");
    EXPECT_EQ(said({"token", "list", "--lang"}), "");
}

// The console's page is found out once in a process, so this is the one test here that may let it be asked for.
TEST(TheUsersLanguage, IsRussianAtARussianConsole) {
    FakeConsole console; // page 866
    EXPECT_EQ(usersLanguage(), "en");
    console.language = 0x0419;
    EXPECT_EQ(usersLanguage(), "ru");
}

TEST(ADamagedCatalogue, LeavesItsTextsInEnglishAndSaysSo) {
    const TemporaryFolder locales;
    std::filesystem::copy(localeFolder(), locales.path(), std::filesystem::copy_options::recursive);
    const std::filesystem::path file = locales.path() / "ru" / "LC_MESSAGES" / "panelctl.mo";
    std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
    const Language loaded = loadLanguage("ru", locales.path().string());
    ASSERT_EQ(loaded.problems.size(), 1U);
    EXPECT_THAT(loaded.problems[0], HasSubstr("panelctl.mo"));
    EXPECT_STREQ(text(Say::wordYes), "yes");
}

} // namespace
