// SPDX-License-Identifier: MIT
#include <platform/loccore/catalogue.h>
#include <platform/loccore/placeholders.h>
#include <platform/text/utf8_character.h>

#include "../../support/mo_writer.h"
#include "../../support/test.h"

using Loc::samePlaceholders;
using testing::Pair;
using testing::StrEq;
using testing::UnorderedElementsAre;

namespace {

// ---- placeholders and edges

TEST(Placeholders, AreTheConversionsOfAFormat) {
    EXPECT_THAT(*Loc::conversions("'%s' of %-08.3lf at %u%%, %llx"), ElementsAre("%s", "%-08.3lf", "%u", "%%", "%llx"));
    EXPECT_THAT(*Loc::conversions("none"), ElementsAre());
    for (const char* text : {"%", "100 %", "%y", "%1$s", "%*d", "%ls %", "%-%"}) {
        EXPECT_FALSE(Loc::conversions(text)) << text;
    }
}

TEST(Placeholders, MustBeTheSameInATranslation) {
    const std::string choice = "a %else% Do b";
    EXPECT_TRUE(samePlaceholders("%s: %u", "%s = %u!") && samePlaceholders(choice, "x %else% y"));
    for (const auto& [text, other] :
         // clang-format off
         std::vector<std::pair<std::string, const char*>>{
             {"%s: %u", "%u: %s"}, {"%s: %u", "%s"}, {"%s", "%s %s"}, {"%s", "%n"}, {"plain", "%s"},
             {"plain", "100 %"}, {choice, "x % else % y"}, {choice, "x y"}, {choice, "x %else% y %else% z"}}) {
        // clang-format on
        EXPECT_FALSE(samePlaceholders(text, other)) << text << ' ' << other;
    }
}

TEST(Edges, AreTheBlanksAndLineFeedsThatLeadAndEnd) {
    EXPECT_TRUE(Loc::sameEdges("\n  a b \n", "\n  x \n"));
    EXPECT_FALSE(Loc::sameEdges("a ", "x"));
    EXPECT_FALSE(Loc::sameEdges("a", " x"));
    EXPECT_FALSE(Loc::sameEdges("a\n", "x \n"));
    EXPECT_FALSE(Loc::sameEdges("a", " "));
}

TEST(Utf8, IsStrict) {
    for (const char* good :
         {"", "plain", "\xD0\x96", "\xE2\x82\xAC", "\xF4\x8F\xBF\xBF", "\xED\x9F\xBF", "\xEE\x80\x80"}) {
        EXPECT_TRUE(platform::isValidUtf8(good)) << good;
    }
    for (const char* bad : {"\x80", "\xC1\xBF", "\xD0", "\xD0x", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                            "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xE2\x82"}) {
        EXPECT_FALSE(platform::isValidUtf8(bad)) << testing::PrintToString(bad);
    }
}

// ---- the catalogue as a whole

constexpr std::array<std::string_view, 4> names{"greeting", "empty", "again", "format"};
constexpr std::array<std::string_view, 4> defaults{"Hello ", "", "Hello ", "%s is %u"};

Loc::TableEdition table(bool complete = false) { return {"demo", 42, names, defaults, complete}; }

const MoEntry header = moHeader("demo", "42", "4");

class ACatalogue : public testing::Test {
protected:
    Loc::Status check(const std::vector<MoEntry>& entries, bool complete = false) {
        bytes = moFile(entries);
        error.clear();
        return Loc::checkCatalogue(bytes, table(complete), found, error);
    }

    std::string bytes;
    Loc::Translations found;
    std::string error;
};

TEST_F(ACatalogue, TranslatesEntriesByNameAndOtherTextsByWording) {
    EXPECT_EQ(check({header, {"again\4Hello ", "Wieder "}, {"greeting\4Hello ", "Hallo "}, {"beside", "daneben"}}),
              Loc::Loaded);
    EXPECT_THAT(found.entries, ElementsAre(Pair(0, StrEq("Hallo ")), Pair(2, StrEq("Wieder "))));
    EXPECT_THAT(found.registered, ElementsAre(Pair("beside", StrEq("daneben"))));
}

TEST_F(ACatalogue, LeavesOutWhatIsNotTranslated) {
    EXPECT_EQ(check({header, {"greeting\4Hello ", ""}, {"empty\4", ""}}), Loc::Loaded);
    EXPECT_TRUE(found.entries.empty());
}

TEST_F(ACatalogue, IsRefusedForAnotherModuleOrEdition) {
    struct Row {
        std::vector<MoEntry> entries;
        Loc::Status status;
        const char *named, *expected;
    };
    for (const Row& row : {Row{{moHeader("other", "42", "4")}, Loc::OtherModule, "\"other\"", "\"demo\""},
                           Row{{moHeader("demo", "43", "4")}, Loc::OtherEdition, "\"43\"", "\"42\""},
                           Row{{moHeader("demo", "42", "5")}, Loc::OtherEdition, "\"5\"", "\"4\""},
                           Row{{header, {"gone\4Hello ", "Hallo "}}, Loc::OtherEdition, "\"gone\"", ""},
                           Row{{header, {"greeting\4Hi ", "Hallo "}}, Loc::OtherEdition, "\"Hi \"", ""}}) {
        EXPECT_EQ(check(row.entries), row.status);
        EXPECT_THAT(error, AllOf(HasSubstr(row.named), HasSubstr(row.expected)));
    }
}

TEST_F(ACatalogue, IsRefusedForTextsThatCantStandForTheirOriginal) {
    const std::vector<std::pair<MoEntry, const char*>> faults{
        {{"empty\4", "something"}, "fills the empty text"},
        {{"format\4%s is %u", "%u is %s"}, "placeholders"},
        {{"greeting\4Hello ", "Hallo"}, "blanks"},
        {{"greeting\4Hello ", "Hal\xFFlo "}, "UTF-8"},
        {{"greeting\4Hello ", "\x1B[1mHallo "}, "plain text"},
        {{"greeting\4Hello ", "\xC2\x9B 1mHallo "}, "plain text"},
        {{"greeting\4Hello ", std::string("Hallo\0 ", 7)}, "plain text"},
        {{"beside '%s'", "daneben"}, "placeholders"},
    };
    for (const auto& [entry, reason] : faults) {
        EXPECT_EQ(check({header, entry}), Loc::BadTexts);
        EXPECT_THAT(error, HasSubstr(reason));
        EXPECT_THAT(error, HasSubstr(entry.original.substr(0, entry.original.find('\4'))));
    }
}

TEST_F(ACatalogue, PutsNothingThatHarmsATerminalIntoItsErrors) {
    EXPECT_EQ(check({header, {"\x1B[2J\xFF\4Hello ", "Hallo "}}), Loc::OtherEdition);
    EXPECT_THAT(error, HasSubstr("\"?[2J?\""));
    EXPECT_EQ(check({moHeader(std::string(1000, 'x'), "42", "4")}), Loc::OtherModule);
    EXPECT_LT(error.size(), 150U);
}

TEST_F(ACatalogue, IsRefusedWhenItSaysAnEntryTwice) {
    EXPECT_EQ(check({header, {"again\4Hello ", "a "}, {"again\4Hello ", "b "}}), Loc::Damaged);
    EXPECT_THAT(error, HasSubstr("\"again\" twice"));
}

TEST_F(ACatalogue, IsRefusedWithoutAHeaderOrInAnotherCharacterSet) {
    EXPECT_EQ(check({{"a", "b"}}), Loc::Damaged);
    EXPECT_THAT(error, HasSubstr("header"));
    EXPECT_EQ(check({{"", "Content-Type: text/plain; charset=KOI8-R\nX-Module: demo\n"}}), Loc::Damaged);
    EXPECT_THAT(error, HasSubstr("UTF-8"));
}

TEST_F(ACatalogue, MustBeCompleteOnlyWhereThatIsDemanded) {
    const std::vector<MoEntry> entries{header, {"greeting\4Hello ", "a "}, {"again\4Hello ", "b "}};
    EXPECT_EQ(check(entries, false), Loc::Loaded);
    EXPECT_EQ(check(entries, true), Loc::BadTexts);
    EXPECT_THAT(error, HasSubstr("1 entries untranslated"));
    EXPECT_EQ(check({entries[0], entries[1], entries[2], {"format\4%s is %u", "%s: %u"}}, true), Loc::Loaded);
}

// ---- wordings in the source

const MoEntry plain{"", "Content-Type: text/plain; charset=UTF-8\nPlural-Forms: nplurals=3; plural=n%3;\n"};

std::string joined(std::initializer_list<std::string> forms) {
    std::string texts;
    for (const std::string& form : forms) texts += form + '\0';
    texts.pop_back();
    return texts;
}

const std::string days = joined({"%d day", "%d days"});

class Wordings : public testing::Test {
protected:
    Loc::Status check(const std::vector<MoEntry>& entries) {
        bytes = moFile(entries);
        return Loc::checkWordings(bytes, found, error);
    }

    std::string bytes;
    Loc::Wordings found;
    std::string error;
};

TEST_F(Wordings, AreTranslatedByThemselvesAndByNumber) {
    EXPECT_EQ(check({plain,
                     {"no %s", "kein %s"},
                     {"%s of %d", "%2$d: %1$s"},
                     {days, joined({"%d d", "%d dd", "%d ddd"})},
                     {"later", ""},
                     {"context\4no %s", "%d"}}),
              Loc::Loaded)
        << error;
    EXPECT_THAT(found.forms,
                UnorderedElementsAre(Pair("no %s", ElementsAre("kein %s")), Pair("%s of %d", ElementsAre("%2$d: %1$s")),
                                     Pair("%d day", ElementsAre("%d d", "%d dd", "%d ddd"))));
    EXPECT_EQ(found.rule.formFor(5), 2U);
}

TEST_F(Wordings, AreRefusedWhenOneTakesOtherArguments) {
    const std::vector<std::pair<MoEntry, const char*>> faults{
        {{"no %s", "kein"}, "placeholders"},
        {{"no %s", "kein %d"}, "placeholders"},
        {{"no %s", "%s, %s"}, "placeholders"},
        {{"no %s", "kein %2$s"}, "placeholders"},
        {{"no %s", "%s %"}, "placeholders"},
        {{"no %u", "kein %u"}, "placeholders"}, // not a valid wording
        {{"go on: ", "weiter:"}, "blanks"},
        {{"no %s", "\x1B%s"}, "plain text"},
        {{days, joined({"%d d", "%d dd"})}, "number of forms"},
        {{days, joined({"%d d", "%d dd", "ddd"})}, "placeholders"},
        {{joined({"a day", "%d days"}), joined({"%d d", "%d dd", "%d ddd"})}, "placeholders"},
        {{"no %s", joined({"kein %s", "keine %s", "keine %s"})}, "number of forms"},
    };
    for (const auto& [entry, reason] : faults) {
        EXPECT_EQ(check({plain, entry}), Loc::BadTexts) << reason;
        EXPECT_THAT(error, HasSubstr(reason));
        EXPECT_THAT(error, HasSubstr(entry.original.substr(0, entry.original.find('\0'))));
    }
    EXPECT_EQ(check({plain, {"a", "b"}, {"a", "c"}}), Loc::Damaged);
    EXPECT_THAT(error, HasSubstr("\"a\" twice"));
    EXPECT_EQ(check({{"", "Content-Type: text/plain; charset=UTF-8\nPlural-Forms: nplurals=2; plural=x;\n"}}),
              Loc::Damaged);
    EXPECT_THAT(error, HasSubstr("plural=x"));
}

} // namespace
