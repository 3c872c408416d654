// SPDX-License-Identifier: MIT
//
// The service's remarks: every refusal, and every command that is not carried out, has a number and phrases that agree
// with its texts.
#include "../support/bytes.h"
#include "../support/places.h"
#include "certs_fixture.h"

#include <panelkit/bridge/commands.h>
#include <panelkit/lsp/lsp_controller.h>
#include <platform/loccore/messages.h>
#include <vocabulary/policy.h>

using bridge::FailureCode;

namespace {

const Identity root = makeAuthority("Root");

std::string inEnglish() {
    std::vector<Loc::Phrase> phrases;
    for (const bridge::Remark& remark : bridge::lastRemarks()) phrases.push_back(remark.phrase);
    return Loc::fill(phrases);
}

class TheServiceRemarks : public WithCertificates {};

// A wording that xgettext did not find would stay in English for ever.
void expectTranslated(const Loc::Phrase& phrase) {
    static const Loc::Messages russian = [] {
        Loc::Messages messages("panelctl");
        EXPECT_TRUE(messages.load(localeFolder(), "ru"));
        return messages;
    }();
    if (phrase.wording != Loc::verbatim("").wording) {
        EXPECT_NE(russian.translated(phrase.wording), phrase.wording);
    }
}

TEST_F(TheServiceRemarks, OnEveryCommandThatItRefuses) {
    int refused = 0;
    for (const std::string& payload : {std::string(), std::string(3, '\xFF'), std::string(200, '\xFF')}) {
        for (const panelkit::CommandRow& row : panelkit::commandTable) {
            if (send(row, payload)) continue;
            ++refused;
            const bridge::Failure& failure = bridge::lastFailure();
            EXPECT_EQ(failure.code, FailureCode::refused) << row.name;
            ASSERT_FALSE(bridge::lastRemarks().empty()) << row.name;
            EXPECT_EQ(failure.text(), inEnglish()) << row.name;
            EXPECT_EQ(bridge::lastRemarks().front().code, failure.detail) << row.name << ": " << failure.text();
            for (const Loc::Phrase& phrase : failure.phrases) expectTranslated(phrase);
        }
    }
    EXPECT_GT(refused, 60) << "nonsense is refused by nearly every command";
    panelkit::CommandRow unknown = panelkit::commandRow(Command::EnumProviders);
    unknown.code = 77;
    EXPECT_FALSE(send(unknown, {}));
    EXPECT_EQ(bridge::lastFailure().phrases, std::vector{Loc::makePhrase("module %d has no command %d", 6, 77)});
}

// ---- answers that are not a success

class AnAnswer : public TheServiceRemarks {
protected:
    void SetUp() override {
        initialize();
        ASSERT_EQ(importFile(pem(root.der)), vocabulary::ImportCert::imported);
    }
    // If the answer has a text, the remarks must agree with it.
    static void expectRemarks(const std::string& answered, Refused code, const std::string& english) {
        ASSERT_FALSE(bridge::lastRemarks().empty()) << english;
        for (const bridge::Remark& remark : bridge::lastRemarks()) expectTranslated(remark.phrase);
        EXPECT_EQ(bridge::lastFailure().code, FailureCode::none) << english;
        EXPECT_EQ(static_cast<Refused>(bridge::lastRemarks().front().code), code) << english;
        EXPECT_THAT(inEnglish(), testing::HasSubstr(english));
        EXPECT_TRUE(answered.empty() || answered == inEnglish()) << answered;
    }
    static std::string activating(const std::string& content) {
        std::string reply, message;
        EXPECT_TRUE(send(Command::ActivateSystem, encoded(std::string(), content), &reply));
        bool activated = true;
        CommandStreamIn(reply).read(activated);
        if (!activated) CommandStreamIn(reply, 1).read(message);
        return message;
    }
    std::string requesting(const CertRequestInfo& wish) {
        EXPECT_NE(static_cast<int>(controller->MakeCertRequest(token(), wish, content)), 0);
        return content;
    }
    std::string exporting(CertExport format, const std::string& password, bool withKey) {
        EXPECT_NE(exportAs(format, named("CN=Root"), password, false, withKey), vocabulary::ExportCert::exported);
        return content;
    }
};

TEST_F(AnAnswer, OfProvidersSaysWhyTheyAreNotLoaded) {
    expectRemarks(load("/etc/passwd"), Refused::moduleUnfit, "the module /etc/passwd does not work: ");
    expectRemarks(load("nowhere.so"), Refused::modulePath, "the module can't be loaded: its path is not absolute");

    service.terminate();
    platform::replaceFile(service.state() + "/providers.json",
                          R"({"format": 1, "providers": [{"name": "lost", "path": "/nowhere/lost.so"}]})", true);
    service.start();
    connect();
    std::vector<PKCS11::ProviderInfo> providers;
    ASSERT_TRUE(tokens.EnumProviders(providers));
    const auto lost = std::find_if(providers.begin(), providers.end(), [](const PKCS11::ProviderInfo& provider) {
        return provider.*vocabulary::provider::name == "lost";
    });
    ASSERT_NE(lost, providers.end());
    const std::string problem = (*lost).*vocabulary::provider::problem;
    expectRemarks("the provider \"lost\" is not loaded: " + problem, Refused::providerProblem, problem);
}

TEST_F(AnAnswer, ToALogInSaysWhatIsKnownOfTheTries) {
    logout();
    PinStateMessage message;
    EXPECT_FALSE(tokens.TokenLogin(token(), "wrong", false, &message));
    expectRemarks(message.text, Refused::wrongPin, "The PIN is wrong. The token ");
}

TEST_F(AnAnswer, OfTheCertificateModuleSaysWhatIsWrong) {
    EXPECT_EQ(parse("nonsense"), vocabulary::ParseResult::unknownFormat);
    expectRemarks("", Refused::unknownFormat, "it is damaged, or of a format that is not known");
    EXPECT_EQ(import(), vocabulary::ImportCert::noSuchItem);
    expectRemarks("", Refused::noSuchObject, "no such item was parsed in this session");
    EXPECT_EQ(importFile(pem(root.der)), vocabulary::ImportCert::alreadyThere);
    expectRemarks("", Refused::alreadyThere, "the token has it already");
    expectRemarks(exporting(CertExport::pem, "", true), Refused::badInput, "Only a PKCS#12 holds a private key.");
    expectRemarks(exporting(CertExport::pkcs12, "p", true), Refused::keyStays, "The token has no private key of this");
    expectRemarks(requesting({}), Refused::badInput, "The request names nobody.");
    CertRequestInfo wish;
    wish.country = "Germany";
    expectRemarks(requesting(wish), Refused::badInput, "X.509 does not take this country (two letters).");
    EXPECT_FALSE(verifies("CN=Root", static_cast<std::uint32_t>(vocabulary::VerifyPurpose::ikePeer)));
    expectRemarks("", Refused::notVerified, "\"CN=Root\" must not be used for an IKE peer");
    EXPECT_EQ(text, "\"CN=Root\" must not be used for an IKE peer. Its key usage does not allow signatures.");
    EXPECT_TRUE(verifies("CN=Root"));
    EXPECT_EQ(bridge::lastRemarks().at(0),
              (bridge::Remark{static_cast<std::uint32_t>(Refused::trusted),
                              Loc::makePhrase("\"%s\" is trusted, because it is on the service's own token \"%s\"",
                                              "CN=Root", "Office")}));
    EXPECT_EQ(bridge::lastRemarks().at(1).code, static_cast<std::uint32_t>(Refused::notCounted)) << "no CRL is there";
}

TEST_F(AnAnswer, OfThePolicyModuleSaysEachProblemWithItsLine) {
    LSPController policy;
    LSPcmd::LSPsettings_t settings;
    settings.Source = 1;
    settings.File = "/f.lsp";
    bool applied = false;
    ASSERT_TRUE(policy.cmdSetSettings(settings, applied));
    const std::string message = activating("title = T\nversion = 1\n[a]\naction = go\nport = x\n");
    EXPECT_THAT(message, testing::StartsWith("policy file /f.lsp: line 4: action: \"go\" is not one of: "));
    const std::vector<bridge::Remark> remarks = bridge::lastRemarks();
    ASSERT_EQ(remarks.size(), 3U) << "the file, and two lines";
    EXPECT_EQ(remarks[0].phrase, Loc::makePhrase("policy file %s", "/f.lsp"));
    EXPECT_EQ(remarks[1].phrase.arguments.at(0), "4");
    EXPECT_EQ(remarks[2].phrase.arguments.at(0), "5");
    EXPECT_EQ(static_cast<Refused>(remarks[2].code), Refused::policyLine);
    ASSERT_TRUE(send(Command::GetPolicyInfo, {}));
    EXPECT_EQ(bridge::lastRemarks(), remarks) << "why the last activation failed";
    restart();
    ASSERT_TRUE(send(Command::GetPolicyInfo, {}));
    EXPECT_EQ(bridge::lastRemarks(), remarks) << "also after a restart";

    EXPECT_EQ(activating("title = T\nversion = 1\n"), "");
    ASSERT_TRUE(send(Command::GetPolicyInfo, {}));
    expectRemarks("", Refused::policyLine, "line 2: there are no sections, so nothing is protected");
}

} // namespace
