// SPDX-License-Identifier: MIT
//
// panelctl's texts in another language: the Russian catalogue as it was built, and the choice of a language.
#include <panelctl/base/language.h>
#include <panelctl/base/say.h>

#include "../support/fake_console.h"
#include "../support/places.h"
#include "../support/running_service.h"
#include "../support/test.h"

using namespace panelctl;

namespace {

class RussianTexts : public testing::Test {
protected:
    RussianTexts() {
        std::string error;
        EXPECT_TRUE(messages().load(localeFolder(), "ru", &error)) << error;
    }
    ~RussianTexts() override { messages() = Loc::Messages("panelctl"); }
};

TEST_F(RussianTexts, AreSaidWithTheirArgumentsInTheirOwnOrder) {
    EXPECT_EQ(say("\"%s\" is not a valid value for %s", "x", "--timeout"), "\"x\" - недопустимое значение --timeout");
    EXPECT_EQ(say("the CRL of \"%s\" is already on token \"%s\"", "CA", "Office"),
              "СОС издателя \"CA\" уже есть на токене \"Office\"");
    EXPECT_EQ(say("token \"%s\" already has a newer CRL of \"%s\"", "Office", "CA"),
              "на токене \"Office\" уже есть более новый СОС издателя \"CA\"");
    EXPECT_EQ(say("no translation has this text"), "no translation has this text");
}

TEST_F(RussianTexts, HaveThreeFormsForANumber) {
    const auto said = [](int count) {
        return sayPlural("%d parameter would change", "%d parameters would change", static_cast<unsigned>(count),
                         count);
    };
    EXPECT_EQ(said(21), "изменился бы 21 параметр");
    EXPECT_EQ(said(3), "изменилось бы 3 параметра");
    EXPECT_EQ(said(12), "изменилось бы 12 параметров");
    messages() = Loc::Messages("panelctl");
    EXPECT_EQ(said(1), "1 parameter would change");
    EXPECT_EQ(said(21), "21 parameters would change");
}

// A name that users type must have one meaning.
TEST_F(RussianTexts, AskForTheWordThatTheyTake) {
    EXPECT_THAT(say("Type \"yes\" to try: "), HasSubstr('"' + say("yes") + '"'));
}

TEST(TheLanguageOption, IsFoundWhereverItStandsBeforeThePlainWords) {
    const auto said = [](std::vector<std::string> arguments) { return languageOption(arguments); };
    EXPECT_EQ(said({"token", "list"}), "");
    EXPECT_EQ(said({"--lang", "ru", "token", "list"}), "ru");
    EXPECT_EQ(said({"token", "list", "--lang=ru", "--lang=en"}), "en");
    EXPECT_EQ(said({"--lang", "en", "--lang", "ru"}), "ru");
    EXPECT_EQ(said({"token", "list", "--", "--lang=ru"}), "");
    EXPECT_EQ(said({"token", "list", "--lang"}), "");
}

TEST(TheUsersLanguage, IsRussianAtARussianConsoleThatHasItsLetters) {
    FakeConsole console;
    for (const auto& [page, language, wanted] :
         {std::tuple(866U, 0x0409, "en"), {866U, 0x0419, "ru"}, {437U, 0x0419, "en"}}) {
        panelkit::ConsoleSetupProbe::forget();
        console.page = page;
        console.language = static_cast<std::uint16_t>(language);
        EXPECT_EQ(usersLanguage(), wanted) << page;
    }
    panelkit::ConsoleSetupProbe::forget();
}

TEST(ADamagedCatalogue, LeavesItsTextsInEnglishAndSaysSo) {
    const TemporaryFolder locales;
    std::filesystem::copy(localeFolder(), locales.path(), std::filesystem::copy_options::recursive);
    const std::filesystem::path file = locales.path() / "ru" / "LC_MESSAGES" / "panelctl.mo";
    std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
    const Language loaded = loadLanguage("ru", locales.path().string());
    ASSERT_EQ(loaded.problems.size(), 1U);
    EXPECT_THAT(loaded.problems[0], HasSubstr("panelctl.mo"));
    EXPECT_EQ(say("yes"), "yes");
}

} // namespace
