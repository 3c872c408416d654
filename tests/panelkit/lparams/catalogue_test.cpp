// SPDX-License-Identifier: MIT
//
// What holds for all sections and variant tables. docs/parameters.md and docs/configuration.schema.json print them for
// review; a test compares them with the library.
#include <panelkit/lparams/param_kind.h>
#include <panelkit/lparams/sections/sections.h>

#include "../../support/environment.h"
#include "../../support/test.h"

#include <clocale>

using namespace LPARAMS::Client;
using LPARAMS::Variant;

namespace {

TEST(TheCatalogue, IsMadeOfGroupsThatHoldTheirDefaults) {
    int withSharedCell = 0; // the label is the help too, and not another text that reads the same
    for (const panelkit::Section& section : panelkit::sections()) {
        const auto group = section.make();
        EXPECT_STREQ(group->name, section.name);
        EXPECT_EQ(group->snapshot, "");
        EXPECT_TRUE(group->others.empty());
        for (const Param* param : group->params) withSharedCell += &param->label == &param->help;
        for (const Param* param : group->params) {
            const panelkit::ParamKind& kind = panelkit::kindOf(*param);
            EXPECT_EQ(kind.valueOf(*param), kind.defaultOf(*param)) << section.name << ' ' << param->key;
        }
    }
    EXPECT_EQ(withSharedCell, 16);
}

// The parameters of which something holds.
template <class Holds>
std::vector<std::string> namesOf(Holds holds) {
    std::vector<std::string> names;
    for (const auto& group : panelkit::AllGroups()) {
        for (const Param* param : group->params) {
            if (holds(*group, *param)) names.push_back(std::string(group->name) + '.' + param->key);
        }
    }
    return names;
}

TEST(TheCatalogue, MarksTheTwoSecrets) {
    EXPECT_THAT(
        namesOf([](const auto& group, const Param& param) { return panelkit::isSecret(group.name, param.key); }),
        ElementsAre("CERTMON.SMTP_PASSWORD", "IKE.QCD_SECRET"));
}

TEST(TheCatalogue, CarriesTheHelpMarkerInOneHelp) {
    EXPECT_STREQ(BoolParam::HelpMarker(), " %else% ");
    EXPECT_STREQ(BoolParam::HelpMarkerReplaceBy(), " else ");
    EXPECT_THAT(namesOf([](const auto&, const Param& param) {
                    return std::string_view(param.help).find(BoolParam::HelpMarker()) != std::string_view::npos;
                }),
                ElementsAre("UPDATE.VERIFY_DOWNLOADS"));
}

TEST(TheProcessorConstraint, IsTheOnlyOneAndLooksAtTheFormat) {
    for (const auto& group : panelkit::AllGroups()) {
        EXPECT_EQ(group->constraints.size(), std::string_view(group->name) == "PCAP" ? 1U : 0U) << group->name;
    }
    PCAP pcap;
    const Constraint& constraint = *pcap.constraints.at(0);
    EXPECT_EQ(&constraint, &pcap.error875);
    EXPECT_FALSE(constraint.violated());
    pcap.THREADS_MASK.value = "0,,1";
    EXPECT_TRUE(constraint.violated());
    EXPECT_EQ(constraint.message, "Param malformed: 'threads_mask'Multiple CPUs can be provided as a comma-separated "
                                  "list with no space: 0,1. Ranges of CPUs are specified with -: 0-2.");
}

TEST(AVariantTable, NamesTheFirstRowWithAValue) {
    EXPECT_STREQ(LPARAMS::IKE1_STATUS_VARIANTS->getName(3, "?"), "Enabled");
    EXPECT_STREQ(LPARAMS::IKE1_STATUS_VARIANTS->getName(5, "?"), "?");
    EXPECT_STREQ(LPARAMS::ERRNTF_POLICY_VARIANTS->getName(-1, nullptr), "Always send (not recommended)");
    EXPECT_STREQ(LPARAMS::REDIRECT_POLICY_VARIANTS->getName(2, nullptr), "Always process Redirects");
    EXPECT_EQ(LPARAMS::REDIRECT_POLICY_VARIANTS->getName(3, nullptr), nullptr);
    const char* twice = "first";
    const char* other = "second";
    const Variant repeated[] = {
        {1, &twice, nullptr}, {1, &other, nullptr}, {2, &twice, nullptr}, {0, nullptr, nullptr}};
    EXPECT_STREQ(repeated->getName(1, nullptr), "first");
    EXPECT_EQ(repeated->getValue("FIRST", 0), 1);
    const Variant empty{7, nullptr, "ignored"};
    EXPECT_STREQ(empty.getName(7, "dflt"), "dflt");
    EXPECT_EQ(empty.getValue("ignored", -2), -2);
}

TEST(AVariantTable, TakesDisplayTextsOfAnyCaseAndNothingElse) {
    EXPECT_EQ(LPARAMS::IKE2_FRAGM_VARIANTS->getValue("auto", -2), 1);
    EXPECT_EQ(LPARAMS::IKE2_FRAGM_VARIANTS->getValue("enabled", -2), -2);
    EXPECT_EQ(LPARAMS::IKE2_FRAGM_VARIANTS->getValue("IKE2_FRAGM_AUTO", -2), -2);
    EXPECT_EQ(LPARAMS::IKE2_FRAGM_VARIANTS->getValue("aut", -2), -2);
    EXPECT_EQ(LPARAMS::IKE2_FRAGM_VARIANTS->getValue("auto ", -2), -2);
    EXPECT_EQ(LPARAMS::IKE2_FRAGM_VARIANTS->getValue(nullptr, -2), -2);
    for (const auto& table : panelkit::variantTables()) {
        for (const Variant* row = table.rows; row->text; ++row) {
            EXPECT_EQ(table.rows->getValue(*row->text, -77), row->value) << table.name;
        }
    }
}

// In both locales the two bytes are the same letter, in capitals and not. Tables are in UTF-8, where they are no
// letters.
TEST(AVariantTable, KnowsNoCaseOfTheProgramsLocale) {
    const char* text = "\xC1";
    const Variant table[] = {{1, &text, nullptr}, {0, nullptr, nullptr}};
    const std::string before = std::setlocale(LC_ALL, nullptr);
    setEnvironmentVariable("LOCPATH", TEST_LOCALES);
    bool known = false;
    for (const char* name : {"ru_RU.KOI8-R", "Russian_Russia.1251"}) {
        known |= std::setlocale(LC_ALL, name) != nullptr;
        EXPECT_EQ(table->getValue("\xE1", -2), -2);
    }
    EXPECT_TRUE(known);
    std::setlocale(LC_ALL, before.c_str());
}

} // namespace
