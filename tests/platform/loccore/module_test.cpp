// SPDX-License-Identifier: MIT
//
// A module of the test's own, as in a program with a table of texts; and messages, as in a program whose texts are in
// its source.
#include <platform/loccore/catalogue.h>
#include <platform/loccore/messages.h>
#include <platform/loccore/module.h>
#include <platform/loccore/module_texts.h>
#include <platform/system/files.h>

#include "../../support/mo_writer.h"
#include "../../support/test.h"

#include <random>

namespace {

std::array<const char*, 3> cells{"One", "Two ", ""};
constexpr std::array<const char**, 3> addresses{cells.data(), cells.data() + 1, cells.data() + 2};
constexpr CCLocLoader::Localization descriptor{.count = 3, .stamp = 7, .index = addresses.data()};

class DemoModule : public Loc::CCModule {
public:
    explicit DemoModule(bool complete = false) : CCModule("demo", descriptor, complete) {
        static constexpr std::array names{"one", "two", "empty"};
        nameEntries(names);
    }
};

const std::string german =
    moFile({moHeader("demo", "7", "3"), {"one\4One", "Eins"}, {"two\4Two ", "Zwei "}, {"beside", "daneben"}});
const std::string partial = moFile({moHeader("demo", "7", "3"), {"one\4One", "Un"}});

class AModule : public testing::Test {
protected:
    AModule() { put("de", german); }
    ~AModule() override {
        std::filesystem::remove_all(folder);
        module.restoreDefaults();
    }

    void put(const std::string& language, const std::string& catalogue) const {
        std::filesystem::create_directories(folder / language / "LC_MESSAGES");
        platform::replaceFile((folder / language / "LC_MESSAGES" / "demo.mo").string(), catalogue, false);
    }
    bool load(const char* language, std::string* error = nullptr) {
        return module.load(folder.string().c_str(), language, error);
    }

    DemoModule module;
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("panelkit_locale_" + std::to_string(std::random_device()()));
};

TEST_F(AModule, ShowsATranslationFromTheLoadOn) {
    const char* const& one = cells[0];
    EXPECT_STREQ(one, "One");
    EXPECT_TRUE(load("de"));
    EXPECT_STREQ(one, "Eins");
    EXPECT_STREQ(cells[1], "Zwei ");
    EXPECT_STREQ(cells[2], "");
    EXPECT_EQ(module.lastError(), "");
}

TEST_F(AModule, FindsALanguageByTheNameOfALocale) {
    EXPECT_TRUE(load("de_AT.UTF-8"));
    put("de_AT", partial);
    EXPECT_TRUE(load("de_AT.UTF-8"));
    EXPECT_STREQ(cells[0], "Un");
}

TEST_F(AModule, SaysWhyALoadFailedAndChangesNothing) {
    put("xx", "no catalogue");
    put("yy", moFile({moHeader("demo", "7", "3"), {"one\4One", "Eins"}, {"two\4Two ", "no blank"}}));
    for (const auto& [language, reason] : std::vector<std::pair<const char*, const char*>>{
             {"fr", "no translation into \"fr\""},
             {"", "no translation"},
             {"../de", "no translation"},
             {"xx", "not a compiled catalogue"},
             {"yy", "blanks"},
         }) {
        std::string error;
        EXPECT_FALSE(load(language, &error)) << language;
        EXPECT_THAT(error, HasSubstr(reason));
        EXPECT_EQ(module.lastError(), error);
        EXPECT_STREQ(cells[0], "One"); // also of "yy", whose first text is good
    }
    EXPECT_FALSE(load("xx", nullptr));
    EXPECT_FALSE(module.load(nullptr, nullptr, nullptr));
}

TEST_F(AModule, LoadsFromAnOpenFileFromItsPositionOn) {
    const auto open = [this](const std::string& bytes, long skipped) {
        const std::string path = (folder / "catalogue").string();
        platform::replaceFile(path, bytes, false);
        std::FILE* file = std::fopen(path.c_str(), "rb");
        EXPECT_EQ(std::fseek(file, skipped, SEEK_SET), 0);
        return file;
    };
    std::FILE* file = open("skipped" + german, 7);
    EXPECT_EQ(module.loadFile(file), Loc::Loaded);
    EXPECT_STREQ(cells[0], "Eins");
    EXPECT_EQ(std::fclose(file), 0);
    file = open(moFile({moHeader("other", "7", "3")}), 0);
    EXPECT_EQ(module.loadFile(file), Loc::OtherModule);
    EXPECT_THAT(module.lastError(), HasSubstr("\"other\""));
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_EQ(module.loadFile(nullptr), Loc::Unreadable);
}

TEST_F(AModule, KeepsWhatALaterCatalogueDoesNotTranslate) {
    put("fr", partial);
    EXPECT_TRUE(load("de"));
    const char* eins = cells[0];
    EXPECT_TRUE(load("fr"));
    EXPECT_STREQ(cells[0], "Un");
    EXPECT_STREQ(cells[1], "Zwei ");
    EXPECT_STREQ(eins, "Eins"); // texts of an earlier load stay valid
}

TEST_F(AModule, TranslatesCellsBesideTheTableBeforeAndAfterALoad) {
    Loc::ModuleTexts& texts = Loc::ModuleTexts::of("demo");
    const char*& before = texts.add("beside");
    const char*& other = texts.add("elsewhere");
    EXPECT_STREQ(before, "beside");
    EXPECT_TRUE(load("de"));
    const char*& after = texts.add("beside");
    EXPECT_NE(&before, &after);
    EXPECT_STREQ(before, "daneben");
    EXPECT_STREQ(after, "daneben");
    EXPECT_STREQ(other, "elsewhere");
    module.restoreDefaults();
    EXPECT_STREQ(before, "beside");
    EXPECT_STREQ(after, "beside");
    EXPECT_STREQ(texts.add("beside"), "beside");
    EXPECT_STREQ(cells[0], "One");
}

TEST_F(AModule, LeavesItsTextsBehind) {
    {
        DemoModule gone;
        EXPECT_TRUE(gone.load(folder.string().c_str(), "de"));
    }
    EXPECT_STREQ(cells[0], "Eins");
}

TEST_F(AModule, IsCopiedAndMoved) {
    DemoModule copy(module);
    EXPECT_TRUE(copy.load(folder.string().c_str(), "de"));
    DemoModule moved(std::move(copy));
    DemoModule demanding(true);
    put("fr", partial);
    EXPECT_FALSE(demanding.load(folder.string().c_str(), "fr"));
    demanding = moved;
    EXPECT_TRUE(demanding.load(folder.string().c_str(), "fr"));
}

// ---- wordings in the source

const MoEntry plainHeader{"", "Content-Type: text/plain; charset=UTF-8\nPlural-Forms: nplurals=2; plural=n>1;\n"};
const std::string dayAndDays("%d day\0%d days", 14);
const std::string jourAndJours("%d jour\0%d jours", 16);

TEST_F(AModule, OfMessagesTranslatesWordingsOfThatLanguage) {
    put("fr", moFile({plainHeader, {"no %s", "pas de %s"}, {dayAndDays, jourAndJours}}));
    Loc::Messages messages("demo");
    EXPECT_EQ(messages.translated("no %s"), "no %s");
    EXPECT_EQ(messages.translated("%d day", "%d days", 0), "%d days");
    EXPECT_EQ(messages.translated("%d day", "%d days", 1), "%d day");
    std::string error;
    ASSERT_TRUE(messages.load(folder.string().c_str(), "fr_FR.UTF-8", &error)) << error;
    EXPECT_EQ(messages.translated("no %s"), "pas de %s");
    EXPECT_EQ(messages.translated("something else"), "something else");
    EXPECT_EQ(messages.translated("%d day", "%d days", 0), "%d jour");
    EXPECT_EQ(messages.translated("%d day", "%d days", 2), "%d jours");
    EXPECT_EQ(messages.translated("%d hour", "%d hours", 1), "%d hour");
    EXPECT_EQ(messages.translated("no %s", "none of %s", 2), "none of %s"); // has no plural in the catalogue
}

TEST_F(AModule, OfMessagesKeepsWhatItHasWhenALoadFails) {
    put("fr", moFile({plainHeader, {"no %s", "pas de %s"}}));
    put("xx", moFile({plainHeader, {"no", "aucun"}, {"no %s", "pas de"}}));
    Loc::Messages messages("demo");
    ASSERT_TRUE(messages.load(folder.string().c_str(), "fr"));
    std::string error;
    EXPECT_FALSE(messages.load(folder.string().c_str(), "xx", &error));
    EXPECT_THAT(error, HasSubstr("demo.mo: the translation of \"no %s\" has other % placeholders"));
    EXPECT_EQ(messages.translated("no %s"), "pas de %s");
    EXPECT_EQ(messages.translated("no"), "no");
    EXPECT_FALSE(messages.load(folder.string().c_str(), "../fr", &error));
    EXPECT_FALSE(messages.load(nullptr, nullptr, nullptr));
    const Loc::Messages copy = messages;
    messages = Loc::Messages("demo");
    EXPECT_EQ(messages.translated("no %s"), "no %s");
    EXPECT_EQ(copy.translated("no %s"), "pas de %s");
}

} // namespace
