// SPDX-License-Identifier: MIT
#include <panelkit/loc/registered_texts.h>
#include <panelkit/loc/text_table.h>
#include <platform/text/ascii.h>

#include "../../support/test.h"

#include <type_traits>

using panelkit::Text;

namespace {

// The enumerator's name: what follows the last "::".
template <Text text>
std::string_view enumerator() {
    std::string_view name = __PRETTY_FUNCTION__;
    name.remove_prefix(name.find("Text::") + 6);
    return name.substr(0, name.find_first_of("];"));
}

template <std::size_t... positions>
std::vector<std::string_view> enumerators(std::index_sequence<positions...>) {
    return {enumerator<static_cast<Text>(positions)>()...};
}

TEST(TheTableOfDefaultTexts, CallsEveryEntryWhatItsEnumeratorIsCalled) {
    std::vector<std::string_view> names;
    for (const auto& row : panelkit::defaultTexts()) names.emplace_back(row.name);
    EXPECT_EQ(names, enumerators(std::make_index_sequence<panelkit::defaultTextCount>()));
}

TEST(TheTableOfDefaultTexts, Has260WritableCellsThatHoldTheirDefaults) {
    const auto rows = panelkit::defaultTexts();
    ASSERT_EQ(rows.size(), 260U);
    ASSERT_EQ(panelkit::textCells.size(), 260U);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(static_cast<std::size_t>(rows[i].text), i);
        EXPECT_STREQ(panelkit::text(rows[i].text), rows[i].wording) << i;
        EXPECT_EQ(&panelkit::text(rows[i].text), &panelkit::textCells[i]) << i;
    }
}

TEST(TheTableOfDefaultTexts, BeginsWithThreeAndGoesOnInAlphabeticalOrder) {
    const auto rows = panelkit::defaultTexts();
    EXPECT_STREQ(rows[0].wording, "Activated: ");
    EXPECT_STREQ(rows[1].wording, "Active DPD Idle Time (0..7200 sec)");
    EXPECT_STREQ(rows[2].wording, "Active DPD Idle Time (sec)");
    const auto lower = [](std::string text) {
        std::transform(text.begin(), text.end(), text.begin(), platform::asciiLower);
        return text;
    };
    for (std::size_t i = 4; i < rows.size(); ++i) {
        EXPECT_LE(lower(rows[i - 1].wording), lower(rows[i].wording)) << i;
    }
}

TEST(TheTableOfDefaultTexts, HoldsNoTextThatIsRegistered) {
    std::set<std::string> wordings;
    for (const auto& row : panelkit::defaultTexts()) wordings.insert(row.wording);
    for (const auto& registered : panelkit::registeredTexts()) EXPECT_TRUE(wordings.insert(registered.wording).second);
    EXPECT_EQ(panelkit::registeredTexts().size(), 31U);
}

TEST(TheTableOfDefaultTexts, IsDescribedForTheLocalizationCore) {
    EXPECT_EQ(panelkit::localization.count, 260U);
    EXPECT_EQ(panelkit::localization.bitsPerUnit, 8U);
    EXPECT_EQ(panelkit::localization.stamp, 0x6628D157U);
    EXPECT_EQ(panelkit::localization.reserved, 0U);
    for (std::size_t i = 0; i < 260; ++i) EXPECT_EQ(panelkit::localization.index[i], &panelkit::textCells[i]);
    static_assert(offsetof(CCLocLoader::Localization, bitsPerUnit) == 4);
    static_assert(offsetof(CCLocLoader::Localization, stamp) == 8);
    static_assert(offsetof(CCLocLoader::Localization, index) == 16);
    static_assert(offsetof(CCLocLoader::Localization, reserved) == 24);
}

} // namespace
