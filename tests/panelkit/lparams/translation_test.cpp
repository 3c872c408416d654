// SPDX-License-Identifier: MIT
//
// A translation that is loaded at run time is shown by groups that were built before, and by later ones.
#include <panelkit/loc/ui_module.h>
#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/sections/sections.h>

#include "../../support/places.h"
#include "../../support/test.h"

using namespace LPARAMS::Client;
using panelkit::parseParam;
using panelkit::printParam;

namespace {

class ATranslation : public testing::Test {
protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(russian.load(localeFolder(), "ru_RU.UTF-8", &error)) << error;
    }
    ~ATranslation() override { russian.restoreDefaults(); }

    IKE early; // built before the load
    ADMIN admin;
    Loc::UIModule russian;
};

TEST_F(ATranslation, ShowsInLabelsAndHelps) {
    EXPECT_STREQ(early.EXCHANGE_TIMEOUT.label, "Время завершения обмена (с)");
    EXPECT_STREQ(early.EXCHANGE_TIMEOUT.help, "Время завершения обмена (5..600 с)");
    EXPECT_STREQ(early.IKE_CLIENT.label, "Работать только как клиент"); // a registered text
    EXPECT_STREQ(admin.ADMIN_GROUP.label, "Имя группы администраторов");
    const ADMIN late;
    EXPECT_STREQ(late.ADMIN_GROUP.label, "Имя группы администраторов");
    EXPECT_NE(&late.ADMIN_GROUP.label, &admin.ADMIN_GROUP.label);
    EXPECT_THAT(PCAP().error875.message, testing::HasSubstr("\"threads_mask\""));
}

TEST_F(ATranslation, IsTheLanguageInWhichChoicesArePrintedAndRead) {
    EXPECT_EQ(printParam(early.NATT_POLICY), "Автоопределение");
    EXPECT_FALSE(parseParam(early, early.NATT_POLICY, "Начинать с порта NAT-T"));
    EXPECT_EQ(early.NATT_POLICY.value, 65);
    EXPECT_EQ(LPARAMS::IKE2_FRAGM_VARIANTS->getValue("Auto", -2), -2);
    EXPECT_EQ(LPARAMS::IKE2_FRAGM_VARIANTS->getValue("Автоматически", -2), 1);
    const auto error = parseParam(early, early.MIXED_TRANSPORT_MODE, "AUTO");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->legal, R"("ВЫКЛ", "ВСЕГДА", "АВТО")");
    EXPECT_EQ(parseParam(early, early.MIXED_TRANSPORT_MODE, "АВТ")->nearest, "АВТО");
    EXPECT_FALSE(parseParam(early, early.MIXED_TRANSPORT_MODE, "=2"));
    EXPECT_EQ(printParam(early.MIXED_TRANSPORT_MODE, panelkit::TextForm::stored), "2 MIXED_TRANSPORT_AUTO");
}

TEST_F(ATranslation, SaysWhatIsLegal) {
    EXPECT_EQ(panelkit::legalValues(admin.ADMIN_GROUP), "любой текст");
    const auto timeout = parseParam(early, early.EXCHANGE_TIMEOUT, "601");
    ASSERT_TRUE(timeout);
    EXPECT_EQ(describe(*timeout),
              "IKE.EXCHANGE_TIMEOUT: значение \"601\" недопустимо; допустимо: 5..300; ближайшее: 300");
    const panelkit::AllGroups groups;
    for (const auto& group : groups) {
        for (const Param* param : group->params) {
            const std::string legal = panelkit::legalValues(*param);
            const bool isData = legal == "on, off" || legal.find_first_of("\"0123456789") == 0; // choices and bounds
            EXPECT_TRUE(isData || legal.find_first_of("\xD0\xD1") != std::string::npos) << legal;
        }
    }
}

} // namespace
