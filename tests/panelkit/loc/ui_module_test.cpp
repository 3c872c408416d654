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
#include <platform/loccore/placeholders.h>
#include <platform/system/files.h>

#include "../../support/mo_writer.h"
#include "../../support/places.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <type_traits>

using panelkit::Text;
using panelkit::text;
using testing::HasSubstr;

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

void flipSomething(std::string& bytes, std::mt19937& random) {
    char& byte = bytes[random() % bytes.size()];
    byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1 + random() % 255));
}

class TheRussianCatalogue : public testing::Test {
protected:
    ~TheRussianCatalogue() override { module.restoreDefaults(); }

    static int load(const std::string& bytes, std::string& error) {
        return Loc::ModuleTexts::of("panelkit").apply(bytes, false, error);
    }
    void expectRefused(const std::string& bytes, const std::string& reason) {
        std::string error;
        EXPECT_NE(load(bytes, error), Loc::Loaded) << reason;
        EXPECT_THAT(error, HasSubstr(reason));
        expectEnglish();
    }
    static void expectEnglish() {
        for (const auto& row : panelkit::defaultTexts()) ASSERT_EQ(text(row.text), row.wording) << row.name;
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

TEST_F(TheRussianCatalogue, IsRefusedWithTheReasonAndNothingHalfApplied) {
    const auto header = [](const char* from, const char* to) {
        return changed([=](MoEntry& entry) {
            if (entry.original.empty()) entry.translation.replace(entry.translation.find(from), std::strlen(from), to);
        });
    };
    const auto translation = [](const char* original, const char* to) {
        return changed([=](MoEntry& entry) {
            if (entry.original == original) entry.translation = to;
        });
    };
    expectRefused(header("X-Table-Stamp: 1713951063", "X-Table-Stamp: 1713951064"), "stamp");
    expectRefused(header("X-Table-Texts: 260", "X-Table-Texts: 259"), "259");
    expectRefused(header("X-Module: panelkit", "X-Module: panelctl"), "panelctl");
    expectRefused(translation("oneProtocolMustBeEnabled\4At least one of the protocols '%s' or '%s' must be enabled",
                              "Нужен протокол '%s' или '%d'"),
                  "placeholders");
    expectRefused(translation("activated\4Activated: ", "Активирована:"), "blanks");
    expectRefused(translation("verifyDownloadsHelp\4Always check hash from update.ini (fails if it does not contain "
                              "hash) %else% Do verification only if update.ini contain hash",
                              "Всегда % else % иногда"),
                  "placeholders");
    expectRefused(changed([](MoEntry& entry) {
                      if (entry.original.starts_with("file\4")) entry = {"empty\4", "не пусто"};
                  }),
                  "fills the empty text");
}

TEST_F(TheRussianCatalogue, IsRefusedWhereverItIsCut) {
    std::mt19937 random(3);
    std::vector<std::size_t> lengths{0, 1, 27, 28, catalogue.size() - 1};
    for (int i = 0; i < 200; ++i) lengths.push_back(random() % catalogue.size());
    for (const std::size_t length : lengths) {
        std::string error;
        EXPECT_EQ(load(catalogue.substr(0, length), error), Loc::Damaged) << length;
        EXPECT_NE(error, "");
    }
    expectEnglish();
}

TEST_F(TheRussianCatalogue, IsAppliedWholeOrNotAtAllAfterAThousandRandomMutations) {
    std::mt19937 random(6);
    int refused = 0;
    for (int round = 0; round < 1000; ++round) {
        std::string bytes = catalogue;
        flipSomething(bytes, random);
        std::string error;
        if (load(bytes, error) == Loc::Loaded) {
            for (const auto& row : panelkit::defaultTexts()) {
                ASSERT_TRUE(Loc::samePlaceholders(row.wording, text(row.text))) << row.name;
            }
            module.restoreDefaults();
        } else {
            ++refused;
            EXPECT_NE(error, "");
            expectEnglish();
        }
    }
    EXPECT_GT(refused, 200);
}

} // namespace
