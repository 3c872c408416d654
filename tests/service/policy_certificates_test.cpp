// SPDX-License-Identifier: MIT
//
// The diagnosis of a policy whose certificates and keys are on a real token, or missing.
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_controller.h>

#include "../support/user_folder.h"
#include "certs_fixture.h"
#include "steered_token.h"

#include <vocabulary/policy.h>

using vocabulary::CertImport;
using vocabulary::ImportCert;
namespace infoField = vocabulary::policyInfo;
namespace state = vocabulary::policyCertificate;

namespace {

class APolicyWithCredentials : public WithCertificates {
protected:
    using WithCertificates::WithCertificates;
    void activate(const std::string& section) {
        const std::string file = service.folder().file("policy.lsp");
        platform::replaceFile(file, "title = T\nversion = 1\n[a]\naction = protect\ngateway = g\n" + section, true);
        LSPcmd::LSPsettings_t settings;
        settings.Source = 1;
        settings.File = file;
        bool applied = false;
        ASSERT_TRUE(policy.cmdSetSettings(settings, applied)) << bridge::lastFailure().text();
        std::string message;
        ASSERT_TRUE(policy.cmdActivateSystem(message, "")) << message;
    }
    // The short text after its first line.
    std::string diagnosis() {
        std::string shown;
        EXPECT_TRUE(policy.cmdGetPolicyInfo(info, required, &shown, &word, false)) << bridge::lastFailure().text();
        const std::size_t end = shown.find('\n');
        return end == std::string::npos ? "" : shown.substr(end + 1);
    }
    void store(const std::string& name, CertificateSpec spec) {
        spec.subject = {{"CN", name}};
        const Identity made = makeCertificate(spec, ecKey(), &authority);
        ASSERT_EQ(importFile(pkcs12(made, {}, "secret"), "secret", CertImport::withPrivateKey), ImportCert::imported);
    }

    const Identity authority = makeAuthority("Example CA");
    UserFolder userFolder;
    LSPController policy;
    LSPinfo_t info;
    LSPrequest_t required;
    LSPrequest_t::InfoType word{};
};

TEST_F(APolicyWithCredentials, IsFineWithAGoodCertificateAndItsKey) {
    activate("subject = CN=anna\n");
    EXPECT_EQ(diagnosis(), "Diagnosis: Personal certificate is missing");
    EXPECT_EQ(info.certificateState, state::noToken);
    initialize();
    EXPECT_EQ(diagnosis(), "Diagnosis: Personal certificate is missing");
    EXPECT_EQ(info.certificateState, state::missing);

    store("anna", {});
    EXPECT_EQ(diagnosis(), "") << "without activating it again";
    EXPECT_EQ(word, LSPrequest_t::inForce);
    EXPECT_EQ(info.certificateState, state::fine);
    EXPECT_EQ(info.*infoField::certificate, "CN=anna");

    logout();
    EXPECT_EQ(diagnosis(), "Diagnosis: Personal certificate is missing");
    EXPECT_EQ(info.certificateState, state::noPrivateKey) << "nobody sees it without log-in";
}

TEST_F(APolicyWithCredentials, TellsThatTheCertificateIsRevoked) {
    initialize();
    ASSERT_EQ(importFile(pem(authority.der)), ImportCert::imported);
    store("anna", {.subject = {}, .serial = "77"});
    activate("subject = CN=anna\n");
    EXPECT_EQ(diagnosis(), "");
    ASSERT_EQ(importCrl(makeCrl({.revoked = {77}}, authority)), vocabulary::ImportCrl::imported);
    // By default the configuration turns revocation off.
    EXPECT_THAT(diagnosis(), HasSubstr("the personal certificate \"CN=anna\" is revoked; this does not count"));
    EXPECT_EQ(info.certificateState, state::fine);

    LPARAMS::Client::IKE ike;
    ASSERT_TRUE(ike.load()) << bridge::lastFailure().text();
    ike.CRL_PROCESSING.value = 2;
    ASSERT_TRUE(ike.save()) << bridge::lastFailure().text();
    ASSERT_TRUE(LPARAMS::Client::writeToDisk()) << bridge::lastFailure().text();
    EXPECT_EQ(diagnosis(), "Diagnosis: the personal certificate \"CN=anna\" is revoked");
    EXPECT_EQ(info.certificateState, state::revoked);
}

TEST_F(APolicyWithCredentials, TellsThatThePresharedKeyIsMissing) {
    initialize();
    activate("authentication = preshared-key\nkey = partner\n");
    EXPECT_EQ(diagnosis(), "Diagnosis: Preshared key is missing: partner");
    ASSERT_TRUE(controller->CreatePresharedKey(token(), "partner", "a long secret")) << bridge::lastFailure().text();
    EXPECT_EQ(diagnosis(), "");
}

using APolicyWithASteeredToken = Steered<APolicyWithCredentials>;

TEST_F(APolicyWithASteeredToken, DoesNotMissWhatCantBeRead) {
    load();
    login();
    store("anna", {});
    activate("subject = CN=anna\n");
    EXPECT_EQ(diagnosis(), "");
    for (const char* function : {"C_FindObjectsInit", "C_GetTokenInfo", "C_GetSlotList"}) {
        control.fail(function, 0x30); // the device's error
        EXPECT_EQ(diagnosis(), "") << "as it was seen last";
    }
    control.clearFaults();
    ASSERT_TRUE(controller->CreatePresharedKey(token(), "partner", "a long secret")) << bridge::lastFailure().text();
    activate("authentication = preshared-key\nkey = partner\n");
    EXPECT_EQ(diagnosis(), "");
    control.fail("C_GetTokenInfo", 0x30);
    control.fail("C_FindObjectsInit", 0x30);
    EXPECT_EQ(diagnosis(), "") << "as it was seen last";
    activate("subject = CN=berta\n");
    EXPECT_EQ(diagnosis(), "Diagnosis: the personal certificate \"CN=berta\" is on no token that can be read");
    control.clearFaults();
    EXPECT_EQ(diagnosis(), "Diagnosis: Personal certificate is missing");
    activate("subject = CN=anna\n");
    ASSERT_TRUE(controller->DeleteCertificate(token(), named("CN=anna")));
    EXPECT_EQ(diagnosis(), "Diagnosis: Personal certificate is missing");
}

class APolicyBesideAModuleInTrouble : public Steered<APolicyWithCredentials> {
protected:
    APolicyBesideAModuleInTrouble() : Steered({}) {}
};

TEST_F(APolicyBesideAModuleInTrouble, SeesTheOtherTokensAsTheyAreNow) {
    initialize("Own");
    load();
    control.fail("C_GetSlotList", 0x30);
    activate("subject = CN=anna\n");
    EXPECT_THAT(diagnosis(), HasSubstr("can be read"));
    const Identity made = makeCertificate({.subject = {{"CN", "anna"}}}, ecKey(), &authority);
    ASSERT_EQ(parse(pkcs12(made, {}, "secret"), "secret"), ParseResult::parsed);
    const auto withKey = static_cast<CertImportMode>(CertImport::withPrivateKey);
    ASSERT_EQ(static_cast<ImportCert>(controller->ImportCertificate(token("Own"), 0, withKey, false, nullptr)),
              ImportCert::imported);
    EXPECT_EQ(diagnosis(), "");
}

} // namespace
