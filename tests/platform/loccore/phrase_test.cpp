// SPDX-License-Identifier: MIT
//
// Wordings with placeholders, and the rules for plurals.
#include <platform/loccore/phrase.h>
#include <platform/loccore/plural_rule.h>

#include "../../support/test.h"

#include <limits>

using Loc::argumentKinds;
using Loc::fill;
using Loc::PluralRule;

namespace {

// ---- wordings

template <class Argument>
concept CanBeFilledIn = Loc::Argument<Argument>;
static_assert(CanBeFilledIn<std::string> && CanBeFilledIn<char[4]> && CanBeFilledIn<std::uint8_t>);
static_assert(!CanBeFilledIn<bool> && !CanBeFilledIn<char> && !CanBeFilledIn<double>);
static_assert(std::is_convertible_v<Loc::MarkedWording<>, Loc::Wording<>>);
static_assert(!std::is_convertible_v<const char*, Loc::MarkedWording<>>, "the mark can't be forgotten");

struct WordingRow {
    std::string_view wording;
    std::string_view kinds; // "-" where it breaks the rules
};

TEST(AWording, TakesArgumentsOfTheKindsOfItsPlaces) {
    for (const auto& [wording, kinds] : {
             WordingRow{"", ""},
             {"plain, 100 %%", ""},
             {"%s of %d", "sd"},
             {"%2$d: %1$s, %1$s", "sd"},
             {"%d%d%d%d%d%d%d%d%d", "ddddddddd"},
             {"%d%d%d%d%d%d%d%d%d%d", "-"}, // one too many
             {"100 %", "-"},
             {"50% done", "-"},
             {"%u", "-"},
             {"%ld", "-"},
             {"%1s", "-"},
             {"%1$", "-"},
             {"%0$s", "-"},
             {"%10$s", "-"},
             {"%1$%", "-"},
             {"%2$s", "-"},      // the first one is missing
             {"%1$s %s", "-"},   // with and without a number
             {"%s %1$s", "-"},   //
             {"%1$s %1$d", "-"}, // two kinds
         }) {
        const auto found = argumentKinds(wording);
        std::string shown = found ? std::string(found->data(), found->size()) : "-";
        shown.erase(std::min(shown.find('\0'), shown.size()));
        EXPECT_EQ(shown, kinds) << wording;
    }
}

TEST(APhrase, KeepsItsWordingAndItsArguments) {
    const std::string name = "Office %s";
    const Loc::Phrase phrase =
        Loc::makePhrase("no \"%s\" in %d of %d: 5 %%", name, std::uint8_t{3}, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(phrase.wording, "no \"%s\" in %d of %d: 5 %%");
    EXPECT_EQ(phrase.arguments, (std::vector<std::string>{"Office %s", "3", "-9223372036854775808"}));
    EXPECT_EQ(fill(phrase), "no \"Office %s\" in 3 of -9223372036854775808: 5 %");
}

struct FilledRow {
    std::string_view wording, filled;
};

// A wording from elsewhere is filled in whatever it contains.
TEST(Filling, TakesAnyWordingWithAnyArguments) {
    const std::vector<std::string> arguments{"one", "two"};
    // clang-format off
    for (const auto& [wording, filled] : {
        FilledRow{"%s, %s", "one, two"}, {"%2$s, %1$s, %2$d", "two, one, two"}, {"%s %s %s", "one two %s"},
        {"%9$s", "%9$s"}, {"%d", "one"}, {"%", "%"}, {"%1$", "%1$"}, {"%n %-5s %*d", "%n %-5s %*d"},
        {"%%s %%", "%s %"}}) {
        // clang-format on
        EXPECT_EQ(fill(wording, arguments), filled);
    }
    EXPECT_EQ(fill("%s", {}), "%s");
}

TEST(Filling, EndsWhereItWouldTakeTooMuchMemory) {
    const std::vector<std::string> arguments{std::string(1 << 20, 'x')};
    std::string wording;
    for (int i = 0; i < 1000; ++i) wording += "%1$s";
    const std::string filled = fill(wording, arguments);
    EXPECT_LT(filled.size(), std::size_t{4} << 20);
    EXPECT_TRUE(filled.ends_with("x..."));
}

// ---- plurals

TEST(APluralRule, ChoosesTheFormOfANumber) {
    const auto russian = PluralRule::read("nplurals=3; plural=(n%10==1 && n%100!=11 ? 0 : n%10>=2 && n%10<=4 && "
                                          "(n%100<10 || n%100>=20) ? 1 : 2);");
    ASSERT_TRUE(russian);
    EXPECT_EQ(russian->forms(), 3U);
    for (const std::uint64_t number : {1U, 21U, 101U}) EXPECT_EQ(russian->formFor(number), 0U) << number;
    for (const std::uint64_t number : {2U, 3U, 4U, 22U, 104U}) EXPECT_EQ(russian->formFor(number), 1U) << number;
    for (const std::uint64_t number : {0U, 5U, 11U, 12U, 14U, 20U, 111U}) {
        EXPECT_EQ(russian->formFor(number), 2U) << number;
    }
    EXPECT_EQ(russian->formFor(std::numeric_limits<std::uint64_t>::max()), 2U); // ends with 15
    EXPECT_EQ(PluralRule().formFor(1), 0U);
    EXPECT_EQ(PluralRule().formFor(0), 1U);
}

struct RuleRow {
    const char* expression;
    std::uint64_t number;
    std::size_t form;
};

TEST(APluralRule, IsAnExpressionOfC) {
    for (const auto& [expression, number, form] : {
             RuleRow{"0", 5, 0},
             {"n>1", 2, 1},
             {"n / 7 * 3 - 1 - 1 == 1", 7, 1}, // from left to right
             {"1 + 2 * 3 == 7", 0, 1},         // * before +
             {"0 || 1 && 0", 0, 0},            // && before ||
             {"!(n == 3)", 3, 0},
             {"n < 3 ? 0 : n < 5 ? 1 : 2", 4, 1},
             {"n < 3 ? 0 : n < 5 ? 1 : 2", 5, 2},
         }) {
        const auto rule = PluralRule::read(std::string("nplurals=3; plural=") + expression);
        ASSERT_TRUE(rule) << expression;
        EXPECT_EQ(rule->formFor(number), form) << expression;
    }
}

TEST(APluralRule, IsRefusedWhenItCantBeEvaluated) {
    for (const std::string& field :
         {std::string("nplurals=INTEGER; plural=EXPRESSION;"), std::string("plural=n"), std::string("nplurals=2"),
          std::string("nplurals=0; plural=0"), std::string("nplurals=9; plural=0"),
          std::string("nplurals=2; plural=n"),     // beyond the forms
          std::string("nplurals=2; plural=2"),     //
          std::string("nplurals=2; plural=1%n"),   // no result for 0
          std::string("nplurals=2; plural=(n>1"),  //
          std::string("nplurals=2; plural=n>1)"),  //
          std::string("nplurals=2; plural=n?1"),   //
          std::string("nplurals=2; plural=n ? :"), //
          std::string("nplurals=2; plural=99999999999999999999>n"),
          "nplurals=2; plural=" + std::string(5000, '(') + "0" + std::string(5000, ')')}) {
        EXPECT_FALSE(PluralRule::read(field)) << field.substr(0, 60);
    }
}

} // namespace
