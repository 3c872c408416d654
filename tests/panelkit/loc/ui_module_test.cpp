// SPDX-License-Identifier: MIT
//
// The library's own module, with the built Russian catalogue and with damaged ones.
#include <panelkit/loc/registered_texts.h>
#include <panelkit/loc/text_table.h>
#include <panelkit/loc/ui_module.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lparams/variants.h>
#include <platform/loccore/catalogue.h>
#include <platform/loccore/mo_file.h>
#include <platform/loccore/module_texts.h>
#include <platform/system/files.h>

#include "../../support/mo_writer.h"
#include "../../support/places.h"
#include "../../support/test.h"

#include <cstdio>
#include <type_traits>

using panelkit::Text;
using panelkit::text;

namespace {

static_assert(std::is_base_of_v<Loc::CCModule, Loc::UIModule> && sizeof(Loc::UIModule) == sizeof(Loc::CCModule));
static_assert(std::is_copy_constructible_v<Loc::UIModule> && std::is_copy_assignable_v<Loc::UIModule>);
static_assert(std::is_nothrow_move_constructible_v<Loc::UIModule> && std::is_nothrow_move_assignable_v<Loc::UIModule>);

const std::string catalogue = platform::readFile(std::string(localeFolder()) + "/ru/LC_MESSAGES/panelkit.mo", 1 << 20);

// The catalogue with other entries: every entry goes through `change`, which says whether it stays.
template <class Change>
std::string changed(Change change) {
    std::vector<Loc::MoText> texts;
    std::string error;
    EXPECT_TRUE(Loc::readMo(catalogue, texts, error));
    std::vector<MoEntry> entries;
    for (const Loc::MoText& text : texts) {
        MoEntry entry{text.context ? std::string(*text.context) + '\4' : "", std::string(text.translation)};
        entry.original += text.original;
        change(entry);
        entries.push_back(std::move(entry));
    }
    return moFile(entries);
}

class TheRussianCatalogue : public testing::Test {
protected:
    ~TheRussianCatalogue() override { module.restoreDefaults(); }

    static int load(const std::string& bytes, std::string& error) {
        return Loc::ModuleTexts::of("panelkit").apply(bytes, false, error);
    }

    Loc::UIModule module;
};

TEST_F(TheRussianCatalogue, TranslatesEveryEntryAndEveryRegisteredText) {
    const char*& force = registerText("Force");
    std::string error;
    ASSERT_TRUE(module.load(localeFolder(), "ru", &error)) << error;
    for (const auto& row : panelkit::defaultTexts()) {
        EXPECT_EQ(text(row.text) == row.wording, row.text == Text::empty) << row.name;
    }
    EXPECT_STREQ(text(Text::systemPolicy), "Системная политика");
    EXPECT_STREQ(text(Text::emailSubject), "Тема");
    EXPECT_STREQ(text(Text::certificateSubject), "Субъект");
    EXPECT_STREQ(force, "Принудительно");
    for (const auto& registered : panelkit::registeredTexts()) {
        EXPECT_NE(registerText(registered.wording), registered.wording) << registered.wording;
    }
}

TEST_F(TheRussianCatalogue, MayTranslateOnlySomeTexts) {
    const std::string partial = changed([](MoEntry& entry) {
        if (entry.original.ends_with("Subject")) entry.translation.clear();
    });
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
    std::fwrite(partial.data(), 1, partial.size(), file.get());
    std::rewind(file.get());
    EXPECT_EQ(module.loadFile(file.get()), Loc::Loaded);
    EXPECT_STREQ(text(Text::systemPolicy), "Системная политика");
    EXPECT_STREQ(text(Text::emailSubject), "Subject");
}

// The message of a check is printed into a buffer of 2048 bytes with its zero byte.
TEST_F(TheRussianCatalogue, HasItsMessageOfACheckCutToTheBuffer) {
    for (const std::size_t added : {std::size_t{0}, std::size_t{3000}}) {
        std::string error;
        ASSERT_EQ(load(changed([&](MoEntry& entry) {
                           if (entry.original.starts_with("Param malformed")) entry.translation.insert(4, added, 'x');
                       }),
                       error),
                  Loc::Loaded)
            << error;
        const std::string message = LPARAMS::Client::PCAP().error875.message;
        EXPECT_EQ(message.size() == 2047, added > 0) << message.size();
        EXPECT_EQ(message.ends_with('x'), added > 0);
    }
}

// A text that a user types must name only one choice.
TEST_F(TheRussianCatalogue, KeepsTheChoicesOfAParameterApart) {
    ASSERT_TRUE(module.load(localeFolder(), "ru"));
    for (const panelkit::VariantTable& table : panelkit::variantTables()) {
        std::set<std::string_view> texts;
        for (const LPARAMS::Variant* row = table.rows; row->text; ++row) {
            EXPECT_TRUE(texts.insert(*row->text).second) << table.name << ' ' << *row->text;
            EXPECT_EQ(table.rows->getValue(*row->text, -2), row->value);
        }
    }
}

// Why catalogues are refused is tested with the parser; here, that nothing of them is applied.
TEST_F(TheRussianCatalogue, IsRefusedForOneFaultAndNotHalfApplied) {
    std::string error;
    const std::string faulty = changed([](MoEntry& entry) {
        if (entry.original == "activated\4Activated: ") entry.translation = "Активирована:";
    });
    EXPECT_EQ(load(faulty, error), Loc::BadTexts);
    EXPECT_THAT(error, HasSubstr("blanks"));
    for (const auto& row : panelkit::defaultTexts()) EXPECT_EQ(text(row.text), row.wording) << row.name;
}

} // namespace
