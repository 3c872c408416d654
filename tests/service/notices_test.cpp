// SPDX-License-Identifier: MIT
//
// What a real service announces of policies and of certificates that expire.
#include "../support/heard_notices.h"
#include "certs_fixture.h"

#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>

#include <ctime>

using vocabulary::Notification;

namespace {

class TheNoticesOfAService : public WithCertificates {
protected:
    TheNoticesOfAService() { EXPECT_TRUE(heard->attached.reaches(1)); }
    vocabulary::PolicyNotice next(Notification kind) {
        const auto notice = heard->next(kind);
        EXPECT_TRUE(notice);
        return notice ? notice->policy : vocabulary::PolicyNotice();
    }
    void activate(const std::string& policyFile) {
        const std::string file = service.folder().file("policy.lsp");
        platform::replaceFile(file, policyFile, true);
        LSPcmd::LSPsettings_t settings;
        settings.Source = 1;
        settings.File = file;
        bool applied = false;
        ASSERT_TRUE(policy.cmdSetSettings(settings, applied));
        std::string message;
        policy.cmdActivateSystem(message, "");
    }

    std::unique_ptr<HeardNotices> heard = std::make_unique<HeardNotices>();
    LSPController policy;
};

TEST_F(TheNoticesOfAService, NameThePolicyAndWhyItFailed) {
    activate("title = Office\nversion = 1\n[a]\naction = drop\n");
    const auto activated = next(Notification::policyActivated);
    EXPECT_EQ(activated.source, "system");
    EXPECT_EQ(activated.policy, "Office");
    EXPECT_EQ(activated.reason, "");
    activate("nonsense\n");
    const auto failed = next(Notification::policyFailed);
    EXPECT_EQ(failed.source, "system");
    EXPECT_EQ(failed.policy, service.folder().file("policy.lsp"));
    EXPECT_THAT(failed.reason, testing::HasSubstr("line 1: "));
    EXPECT_GT(failed.moment.number, activated.moment.number);
    ASSERT_TRUE(policy.cmdActivateDDP("drop-all"));
    EXPECT_EQ(next(Notification::policyActivated).source, "driver");
}

TEST_F(TheNoticesOfAService, TellOfCertificatesThatExpireWhenTheSettingsAreCommitted) {
    initialize();
    const std::time_t end = std::time(nullptr) + 10 * 86'400 + 3'600;
    std::string lastSecond(15, '\0');
    (void)std::strftime(lastSecond.data(), lastSecond.size(), "%Y%m%d%H%M%S", std::gmtime(&end));
    lastSecond.back() = 'Z';
    const Identity soon = makeCertificate({.subject = {{"CN", "soon"}}, .notAfter = lastSecond}, ecKey());
    ASSERT_EQ(importFile(soon.der), vocabulary::ImportCert::imported);
    LPARAMS::Client::CERTMON watch;
    ASSERT_TRUE(watch.load());
    watch.CHECKING_TIME.value = 0;
    watch.DAYS_TO_EXPIRE.value = 9;
    ASSERT_TRUE(watch.save() && LPARAMS::Client::writeToDisk());
    watch.DAYS_TO_EXPIRE.value = 11;
    ASSERT_TRUE(watch.save() && LPARAMS::Client::writeToDisk());
    const auto notice = heard->next(Notification::certificateExpiring);
    ASSERT_TRUE(notice) << service.log();
    EXPECT_EQ(notice->certificate.certificate.subject, "CN=soon");
    EXPECT_EQ(notice->certificate.daysLeft, 10);
    EXPECT_EQ(notice->certificate.token.*vocabulary::token::label, "Office");
}

} // namespace
