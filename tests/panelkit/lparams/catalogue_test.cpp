// SPDX-License-Identifier: MIT
//
// The whole catalogue of sections and variant tables, in the library, against a reviewed text.
#include <panelkit/lparams/param_kind.h>
#include <panelkit/lparams/sections/sections.h>
#include <platform/system/files.h>

#include "../../support/places.h"

#include <gmock/gmock.h>

#include <string>

using namespace LPARAMS::Client;
using LPARAMS::Variant;

namespace {

std::string inQuotes(std::string_view text) {
    std::string line = "\"";
    for (const char c : text) line += c == '\n' ? "\\n" : std::string(1, c);
    return line + '"';
}

std::string tableName(const Variant* rows) {
    for (const auto& table : panelkit::variantTables()) {
        if (table.rows == rows) return table.name;
    }
    return "?";
}

// A kind is identified by its C++ type, not by its type code.
std::string kindOf(const Param& param) {
    if (dynamic_cast<const BoolParam*>(&param)) return "BoolParam";
    if (dynamic_cast<const PortParam*>(&param)) return "PortParam";
    if (dynamic_cast<const UIntParam*>(&param)) return "UIntParam";
    if (dynamic_cast<const EnumParam*>(&param)) return "EnumParam";
    if (dynamic_cast<const AddrParam*>(&param)) return "AddrParam";
    if (dynamic_cast<const CPUsParam*>(&param)) return "CPUsParam";
    if (dynamic_cast<const StStParam*>(&param)) return "StStParam";
    if (dynamic_cast<const QcdSParam*>(&param)) return "QcdSParam";
    if (dynamic_cast<const TimeParam*>(&param)) return "TimeParam";
    if (dynamic_cast<const ParamVector<LSP_GATE>*>(&param)) return "ParamVector<LSP_GATE>";
    return "?";
}

std::string number(const auto& param) {
    return std::to_string(param.defValue) + " | " + std::to_string(param.minValue) + ".." +
           std::to_string(param.maxValue);
}

std::string defaultOf(const Param& param) {
    if (const auto* flag = dynamic_cast<const BoolParam*>(&param)) return flag->defValue ? "true" : "false";
    if (const auto* port = dynamic_cast<const PortParam*>(&param)) return number(*port);
    if (const auto* count = dynamic_cast<const UIntParam*>(&param)) return number(*count);
    if (const auto* text = dynamic_cast<const StStParam*>(&param)) return inQuotes(text->defValue);
    if (const auto* secret = dynamic_cast<const QcdSParam*>(&param)) return inQuotes(secret->defValue);
    if (const auto* time = dynamic_cast<const TimeParam*>(&param)) return std::to_string(time->defValue);
    if (const auto* choice = dynamic_cast<const EnumParam*>(&param)) {
        return std::to_string(choice->defValue) + " | " + tableName(choice->variants);
    }
    return dynamic_cast<const ParamVector<LSP_GATE>&>(param).items.empty() ? "no elements" : "elements";
}

std::string printGroup(const ParamGroup& group) {
    std::string text = '[' + std::string(group.name) + "]\n";
    for (const Param* param : group.params) {
        text += std::string(param->key) + " | " + kindOf(*param) + " | " + inQuotes(param->label) + " | " +
                (&param->label == &param->help ? "same" : inQuotes(param->help)) + " | " + defaultOf(*param) + '\n';
    }
    return text + '\n';
}

std::string printTable(const panelkit::VariantTable& table) {
    std::string text = '[' + std::string(table.name) + "]\n";
    for (const Variant* row = table.rows; row->text; ++row) {
        text += std::to_string(row->value) + ' ' + inQuotes(*row->text) + ' ' + (row->name ? row->name : "-") + '\n';
    }
    return text + '\n';
}

std::string printAll() {
    std::string text;
    for (const auto& group : panelkit::AllGroups()) {
        if (std::string_view(group->name) == "PCAP") text += printGroup(LSP_GATE());
        text += printGroup(*group);
    }
    for (const auto& table : panelkit::variantTables()) text += printTable(table);
    text.pop_back();
    return text;
}

TEST(TheCatalogue, EqualsTheReviewedText) {
    std::string reviewed = platform::readFile(sourceFile("tests/panelkit/lparams/catalogue.txt"), 1 << 20);
    reviewed.erase(0, reviewed.find("\n\n") + 2); // its introduction
    EXPECT_EQ(printAll(), reviewed);
}

TEST(TheCatalogue, IsMadeOfGroupsThatHoldTheirDefaults) {
    for (const panelkit::Section& section : panelkit::sections()) {
        const auto group = section.make();
        EXPECT_STREQ(group->name, section.name);
        EXPECT_EQ(group->snapshot, "");
        EXPECT_TRUE(group->others.empty());
        for (const Param* param : group->params) {
            const panelkit::ParamKind& kind = panelkit::kindOf(*param);
            EXPECT_EQ(kind.valueOf(*param), kind.defaultOf(*param)) << section.name << ' ' << param->key;
        }
    }
}

TEST(TheCatalogue, GivesEveryKindItsTypeCode) {
    CERTMON certmon;
    IKE ike;
    PCAP pcap;
    USER user;
    EXPECT_EQ(certmon.ENABLE.type(), 0);
    EXPECT_EQ(certmon.SMTP_SERVER_PORT.type(), 1);
    EXPECT_EQ(certmon.DAYS_TO_EXPIRE.type(), 2);
    EXPECT_EQ(certmon.SMTP_SERVER_ADDR.type(), 3);
    EXPECT_EQ(ike.NATT_POLICY.type(), 4);
    EXPECT_EQ(certmon.SMTP_USER.type(), 6);
    EXPECT_EQ(pcap.THREADS_MASK.type(), 6);
    EXPECT_EQ(user.LSP_GATES.type(), 8);
    EXPECT_EQ(certmon.CHECKING_TIME.type(), 9);
    EXPECT_EQ(ike.QCD_SECRET.type(), 10);
}

TEST(TheCatalogue, MarksTheTwoSecrets) {
    std::vector<std::string> secrets;
    for (const auto& group : panelkit::AllGroups()) {
        for (const Param* param : group->params) {
            if (panelkit::isSecret(group->name, param->key))
                secrets.push_back(std::string(group->name) + '.' + param->key);
        }
    }
    EXPECT_THAT(secrets, testing::ElementsAre("CERTMON.SMTP_PASSWORD", "IKE.QCD_SECRET"));
}

TEST(TheCatalogue, CarriesTheHelpMarkerInOneHelp) {
    EXPECT_STREQ(BoolParam::HelpMarker(), " %else% ");
    EXPECT_STREQ(BoolParam::HelpMarkerReplaceBy(), " else ");
    std::vector<std::string> carriers;
    for (const auto& group : panelkit::AllGroups()) {
        for (const Param* param : group->params) {
            const std::string_view help = param->help;
            if (help.find(BoolParam::HelpMarker()) != std::string_view::npos) carriers.emplace_back(param->key);
        }
    }
    EXPECT_THAT(carriers, testing::ElementsAre("VERIFY_DOWNLOADS"));
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

} // namespace
