// SPDX-License-Identifier: MIT
//
// Certificates, CRLs and preshared keys, as an administrator uses them: library, service and SoftHSM2.
#include "certs_fixture.h"

#include <panelkit/lparams/sections/sections.h>
#include <service/certs/openssl_handles.h>

using vocabulary::CertSelector;
using vocabulary::CertState;
namespace certFlag = vocabulary::certFlag;
namespace verifyFlag = vocabulary::verifyFlag;

namespace {

const Identity root = makeAuthority("Root");
const Identity middle = makeAuthority("Middle", &root);
const Identity user = makeUser("user", middle);

std::vector<std::string> subjects(const std::vector<CertInfo>& certificates) {
    std::vector<std::string> list;
    for (const CertInfo& certificate : certificates) list.push_back(certificate.subject);
    std::sort(list.begin(), list.end());
    return list;
}

TEST_F(TheToken, TakesACertificateWithKeyAndChainFromAPkcs12) {
    ASSERT_EQ(parse(pkcs12(user, {middle.der, root.der}, "secret"), "secret"), ParseResult::parsed);
    ASSERT_EQ(targets.size(), 1U);
    ASSERT_EQ(options.size(), 3U);
    EXPECT_EQ(options[0].certificate.subject, "CN=user");
    EXPECT_TRUE(options[0].certificate.hasPrivateKey);
    EXPECT_EQ(options[0].modes, 7U) << "alone, with key, with chain";
    EXPECT_THAT(options[0].keyTokens, IsEmpty());
    EXPECT_EQ(import(CertImport::withChain), ImportCert::imported);
    EXPECT_EQ(import(CertImport::withChain), ImportCert::alreadyThere);

    EXPECT_THAT(subjects(list()), ElementsAre("CN=Middle", "CN=Root", "CN=user"));
    EXPECT_THAT(subjects(list(CertSelector::withPrivateKey)), ElementsAre("CN=user"));
    EXPECT_THAT(subjects(list(CertSelector::authorities)), ElementsAre("CN=Middle", "CN=Root"));
    EXPECT_THAT(list(CertSelector::others), IsEmpty());
    const CertInfo info = named("CN=user");
    EXPECT_EQ(info.issuer, "CN=Middle");
    EXPECT_EQ(info.keyType, vocabulary::keyType::ec);
    EXPECT_EQ(info.keyBits, 256U);
    EXPECT_EQ(info.keyUsage, vocabulary::keyUsage::digitalSignature);
    EXPECT_EQ(info.notBefore, 1735689600U);
    EXPECT_EQ(info.flags, certFlag::canDelete) << "and its key stays on the token";
    EXPECT_TRUE(named("CN=Root").flags & certFlag::selfIssued);

    logout();
    EXPECT_FALSE(named("CN=user").hasPrivateKey) << "private keys are seen after log-in only";
}

TEST_F(TheToken, ShowsACertificateInFull) {
    ASSERT_EQ(importFile(pkcs12(user, {middle.der}, "secret"), "secret", CertImport::withPrivateKey),
              ImportCert::imported);
    CertInfo info = named("CN=user");
    const std::string fingerprint = info.fingerprint;
    info = {.fingerprint = fingerprint};
    CertExtentions details;
    ASSERT_TRUE(controller->GetCertDetails(token(), info, details, text)) << bridge::lastFailure().text();
    EXPECT_EQ(info, named("CN=user")) << "the fresh record";
    EXPECT_EQ(details.label, "friendly");
    EXPECT_EQ(details.keyId.size(), 40U);
    EXPECT_EQ(details.version, "3");
    EXPECT_EQ(details.signatureAlgorithm, "ecdsa-with-SHA256");
    EXPECT_EQ(details.publicKeyParameters, "P-256");
    EXPECT_EQ(details.keyUsage, "Digital Signature");
    EXPECT_EQ(details.subjectAlternativeNames, "DNS:user.example");
    ASSERT_EQ(details.extensions.size(), 2U);
    EXPECT_EQ(details.extensions.front().second, "critical, Digital Signature");
    EXPECT_THAT(text, HasSubstr("Subject: CN = user"));
}

TEST_F(TheToken, BuildsChainsAndVerifies) {
    ASSERT_EQ(importFile(pem(user.der)), ImportCert::imported);
    std::vector<PKCS11::TokenInfo> places;
    std::vector<CertInfo> chain;
    ASSERT_TRUE(controller->GetCertChain(token(), named("CN=user"), places, chain));
    EXPECT_EQ(chain.size(), 1U);
    EXPECT_FALSE(verifies("CN=user"));
    EXPECT_EQ(text, "\"CN=user\" was issued by \"CN=Middle\", whose certificate is on no token.");

    ASSERT_EQ(importFile(pem(middle.der)), ImportCert::imported);
    ASSERT_EQ(importFile(pem(root.der)), ImportCert::imported);
    ASSERT_TRUE(controller->GetCertChain(token(), named("CN=user"), places, chain));
    ASSERT_EQ(chain.size(), 3U);
    EXPECT_EQ(chain[2].subject, "CN=Root");
    EXPECT_EQ(places.size(), 3U);
    EXPECT_TRUE(verifies("CN=user")) << text;
    EXPECT_THAT(text, HasSubstr("\"CN=user\", issued by \"CN=Middle\", issued by \"CN=Root\". \"CN=Root\" is trusted, "
                                "because it is on the service's own token \"Office\"."));
    EXPECT_EQ(named("CN=Root").flags & certFlag::trusted, certFlag::trusted);
    EXPECT_EQ(named("CN=Middle").flags & certFlag::trusted, 0U) << "it is not the end of a chain";
    EXPECT_THAT(text, HasSubstr("no CRL of its issuer is on a token"));
    EXPECT_FALSE(verifies("CN=user", verifyFlag::crlRequired));
    EXPECT_TRUE(verifies("CN=user", static_cast<std::uint32_t>(vocabulary::VerifyPurpose::ikePeer)));
    EXPECT_FALSE(verifies("CN=user", static_cast<std::uint32_t>(vocabulary::VerifyPurpose::authority)));
    EXPECT_EQ(text, "\"CN=user\" must not be used for an authority.");
    EXPECT_TRUE(verifies("CN=Middle", static_cast<std::uint32_t>(vocabulary::VerifyPurpose::authority)));
    EXPECT_FALSE(verifies("CN=user", 0x77));
    EXPECT_EQ(refusal(), Refused::badInput);
}

TEST_F(TheToken, SaysWhatIsExpiredAndWhatIsMadeForSomethingElse) {
    ASSERT_EQ(importFile(pem(root.der)), ImportCert::imported);
    const auto of = [](const std::string& name, const std::string& from, const std::string& to,
                       const std::string& usage) {
        return makeCertificate(
            {.subject = {{"CN", name}}, .notBefore = from, .notAfter = to, .extensions = {{"extendedKeyUsage", usage}}},
            ecKey(), &root);
    };
    ASSERT_EQ(importFile(of("old", "20100101000000Z", "20200202000000Z", "serverAuth").der), ImportCert::imported);
    ASSERT_EQ(importFile(of("new", "20500101000000Z", "20600101000000Z", "serverAuth").der), ImportCert::imported);
    ASSERT_EQ(importFile(of("web", "20250101000000Z", "20400101000000Z", "serverAuth").der), ImportCert::imported);
    ASSERT_EQ(importFile(of("ike", "20250101000000Z", "20400101000000Z", "ipsecIKE").der), ImportCert::imported);
    EXPECT_EQ(stateOf("CN=old"), CertState::expired);
    EXPECT_FALSE(verifies("CN=old"));
    EXPECT_EQ(text, "\"CN=old\" has expired on 2020-02-02.");
    EXPECT_EQ(stateOf("CN=new"), CertState::notYetValid);
    EXPECT_FALSE(verifies("CN=new"));
    EXPECT_EQ(text, "\"CN=new\" is not valid before 2050-01-01.");

    const auto purpose = [](vocabulary::VerifyPurpose what) { return static_cast<std::uint32_t>(what); };
    EXPECT_TRUE(verifies("CN=web", purpose(vocabulary::VerifyPurpose::tlsServer))) << text;
    EXPECT_FALSE(verifies("CN=web", purpose(vocabulary::VerifyPurpose::tlsClient)));
    EXPECT_THAT(text, HasSubstr("The extended key usage \"clientAuth\" is missing; the certificate has serverAuth."));
    EXPECT_FALSE(verifies("CN=web", purpose(vocabulary::VerifyPurpose::ikePeer)));
    EXPECT_EQ(text, "\"CN=web\" must not be used for an IKE peer. The extended key usage \"ipsecIKE\" is missing; the "
                    "certificate has serverAuth.");
    EXPECT_TRUE(verifies("CN=ike", purpose(vocabulary::VerifyPurpose::ikePeer))) << text;
}

TEST_F(TheToken, KeepsTheNewestCrlAndRevokesByIt) {
    ASSERT_EQ(importFile(pem(root.der)), ImportCert::imported);
    const Identity gate = makeCertificate({.subject = {{"CN", "gate"}}, .serial = "42"}, ecKey(), &root);
    ASSERT_EQ(importFile(pem(gate.der)), ImportCert::imported);

    const Identity stranger = makeAuthority("Root");
    EXPECT_EQ(importCrl(makeCrl({.revoked = {42}}, stranger)), ImportCrl::signatureWrong);
    const std::string first = makeCrl({.number = 7}, root);
    EXPECT_EQ(importCrl(pem(first, "X509 CRL")), ImportCrl::imported);
    EXPECT_EQ(importCrl(first), ImportCrl::alreadyThere);
    EXPECT_EQ(importCrl(makeCrl({.thisUpdate = "20250101000000Z"}, root)), ImportCrl::olderThanPresent);
    EXPECT_TRUE(verifies("CN=gate", verifyFlag::crlRequired)) << text;

    EXPECT_EQ(importCrl(makeCrl({.revoked = {41, 42}, .number = 0x1F, .thisUpdate = "20250701000000Z"}, root)),
              ImportCrl::imported);
    const auto lists = listCrls();
    ASSERT_EQ(lists.size(), 1U) << "the newer takes the place of the older";
    EXPECT_EQ(lists[0].issuer, "CN=Root");
    EXPECT_EQ(lists[0].number, "1F");
    EXPECT_EQ(lists[0].revokedCount, 2U);
    EXPECT_EQ(stateOf("CN=gate"), CertState::revoked);
    EXPECT_FALSE(verifies("CN=gate"));
    EXPECT_EQ(text, "\"CN=gate\" is revoked.");
    EXPECT_TRUE(verifies("CN=gate", verifyFlag::noRevocation)) << text;
    EXPECT_THAT(text, HasSubstr("Warning: \"CN=gate\" is revoked since 2025-07-01; this was not counted, because the "
                                "command leaves revocation out."));
    // By default the configuration turns it off for IKE.
    EXPECT_TRUE(verifies("CN=gate", static_cast<std::uint32_t>(vocabulary::VerifyPurpose::ikePeer))) << text;
    EXPECT_THAT(text, HasSubstr("this was not counted, because IKE.CRL_PROCESSING turns revocation off."));
    CertInfo info = named("CN=gate");
    CertExtentions details;
    ASSERT_TRUE(controller->GetCertDetails(token(), info, details, text));
    EXPECT_EQ(details.revokedAt, 1751328000U);

    EXPECT_TRUE(controller->DeleteCRL(token(), lists[0]));
    EXPECT_FALSE(controller->DeleteCRL(token(), lists[0]));
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    EXPECT_EQ(stateOf("CN=gate"), CertState::valid);
}

TEST_F(TheToken, HandlesRevocationForIkeAsConfiguredUnlessTheRequestSaysHow) {
    const Identity gate = makeCertificate({.subject = {{"CN", "gate"}}}, ecKey(), &root);
    for (const Identity& one : {root, gate}) ASSERT_EQ(importFile(one.der), ImportCert::imported);
    const auto forIke = static_cast<std::uint32_t>(vocabulary::VerifyPurpose::ikePeer);
    for (const int strictness : {0, 1, 2}) { // there is no list: only the strict treatment asks for one
        LPARAMS::Client::IKE ike;
        ike.CRL_PROCESSING.value = strictness;
        ASSERT_TRUE(ike.save() && LPARAMS::Client::writeToDisk());
        EXPECT_EQ(verifies("CN=gate", forIke), strictness != 1) << strictness;
        EXPECT_TRUE(verifies("CN=gate", forIke | verifyFlag::noRevocation)) << strictness;
        EXPECT_FALSE(verifies("CN=gate", forIke | verifyFlag::crlRequired)) << strictness;
    }
}

TEST_F(TheToken, TakesNoDamagedKey) {
    std::string key = panelkitd::derOf(user.key.get(), i2d_PrivateKey);
    key[20] = static_cast<char>(key[20] ^ 1); // within the private number; the public half is as it was
    EXPECT_EQ(importFile(pem(user.der) + pem(key, "EC PRIVATE KEY"), "", CertImport::withPrivateKey),
              ImportCert::modeUnfit);
}

// A list can be stored before its issuer's certificate, when nobody can tell whether it is forged.
TEST_F(TheToken, RevokesByNoListThatItsIssuerDidNotSign) {
    const Identity stranger = makeAuthority("Root"), other = makeAuthority("Other");
    ASSERT_EQ(importCrl(makeCrl({.revoked = {42, 100}}, stranger)), ImportCrl::imported);
    ASSERT_EQ(importCrl(makeCrl({}, other)), ImportCrl::imported);
    ASSERT_EQ(listCrls().size(), 2U) << "one of each issuer";
    const Identity gate = makeCertificate({.subject = {{"CN", "gate"}}, .serial = "42"}, ecKey(), &root);
    for (const Identity& one : {root, gate}) ASSERT_EQ(importFile(one.der), ImportCert::imported);
    EXPECT_EQ(stateOf("CN=gate"), CertState::valid);
    EXPECT_TRUE(verifies("CN=gate")) << text;

    EXPECT_EQ(importCrl(makeCrl({.revoked = {100}}, root)), ImportCrl::imported) << "of the same day";
    ASSERT_EQ(listCrls().size(), 2U);
    for (const Identity& one : {middle, user}) ASSERT_EQ(importFile(one.der), ImportCert::imported);
    EXPECT_FALSE(verifies("CN=user"));
    EXPECT_EQ(text, "\"CN=Middle\" is revoked.");
    const auto lists = listCrls();
    ASSERT_TRUE(controller->DeleteCRL(token(), lists[0]));
    EXPECT_THAT(listCrls(), ElementsAre(lists[1]));
}

TEST_F(TheToken, BuildsChainsBySignaturesAndNotByNames) {
    for (const Identity& one : {makeAuthority("Middle", &root), root, user}) {
        ASSERT_EQ(importFile(one.der), ImportCert::imported);
    }
    std::vector<PKCS11::TokenInfo> places;
    std::vector<CertInfo> chain;
    ASSERT_TRUE(controller->GetCertChain(token(), named("CN=user"), places, chain));
    EXPECT_EQ(chain.size(), 1U);
    ASSERT_EQ(importFile(middle.der), ImportCert::imported);
    ASSERT_TRUE(controller->GetCertChain(token(), named("CN=user"), places, chain));
    EXPECT_EQ(chain.size(), 3U);
}

// As another program on this host sees them.
TEST_F(TheToken, KeepsItsKeysFromLeaving) {
    ASSERT_EQ(importFile(pkcs12(user, {}, "secret"), "secret", CertImport::withPrivateKey), ImportCert::imported);
    ASSERT_TRUE(controller->CreatePresharedKey(token(), "office", std::string(1024, 'x')));
    EXPECT_FALSE(controller->CreatePresharedKey(token(), "too long", std::string(1025, 'x')));
    EXPECT_TRUE(controller->CreatePresharedKey(token(), std::string(64, 'n'), "x"));
    const CertRequestInfo wish{
        .keyType = vocabulary::keyType::ec, .keyBits = 256, .digest = vocabulary::digest::sha256, .commonName = "gate"};
    ASSERT_EQ(controller->MakeCertRequest(token(), wish, content), MakeCertRequestResult{}) << content;
    const auto objects = [&](const std::string& pin) {
        std::istringstream list(tokenUser(pin));
        std::vector<std::string> lines;
        for (std::string line; std::getline(list >> std::ws, line);) lines.push_back(line.substr(0, line.find('\r')));
        return lines;
    };
    EXPECT_THAT(objects("user-1"),
                testing::UnorderedElementsAre("certificate", "private sensitive", "private sensitive", "public",
                                              "public", "secret sensitive", "secret sensitive"));
    EXPECT_THAT(objects(""), testing::UnorderedElementsAre("certificate", "public", "public"));
}

// SoftHSM2 writes a token's file at each log-in. For another process the token can't be read meanwhile.
TEST_F(TheToken, IsListedWhileAnotherProgramLogsInAgainAndAgain) {
    ASSERT_EQ(importFile(user.der), ImportCert::imported);
    const auto other = std::async(std::launch::async, [&] { tokenUser("user-1", {"log-ins", "300"}); });
    do {
        ASSERT_EQ(list().size(), 1U);
    } while (other.wait_for(0s) != std::future_status::ready);
}

TEST_F(TheToken, GivesCertificatesOutInEveryFormat) {
    ASSERT_EQ(importFile(pkcs12(user, {middle.der, root.der}, "secret"), "secret", CertImport::withChain, true),
              ImportCert::imported);
    const CertInfo info = named("CN=user");
    EXPECT_TRUE(info.flags & certFlag::keyExtractable);
    ASSERT_EQ(exportAs(CertExport::der, info), ExportCert::exported);
    EXPECT_EQ(content, user.der);
    ASSERT_EQ(exportAs(CertExport::pem, info, "", true), ExportCert::exported);
    EXPECT_THAT(certificatesOf(content), ElementsAre(user.der, middle.der, root.der));
    for (const CertExport format : {CertExport::pkcs7Pem, CertExport::pkcs7Der, CertExport::pkcs12}) {
        ASSERT_EQ(exportAs(format, info, "", true), ExportCert::exported) << content;
        EXPECT_EQ(parse(content), ParseResult::parsed);
        EXPECT_EQ(options.size(), 3U);
    }
    ASSERT_EQ(exportAs(CertExport::pkcs12, info, "pass", true, true), ExportCert::exported) << content;
    EXPECT_EQ(parse(content, "pass"), ParseResult::parsed);
    EXPECT_TRUE(options[0].certificate.hasPrivateKey);
    EXPECT_THAT(options[0].keyTokens, ElementsAre(0U)) << "the token has that key";

    EXPECT_EQ(exportAs(CertExport::der, info, "", true), ExportCert::formatUnfit);
    EXPECT_EQ(exportAs(CertExport::pem, CertInfo()), ExportCert::noSuchCertificate);
    EXPECT_EQ(exportAs(CertExport::pkcs12, named("CN=Root"), "pass", false, true), ExportCert::keyNotExtractable);
    logout();
    EXPECT_EQ(exportAs(CertExport::pkcs12, info, "pass", false, true), ExportCert::notLoggedIn);
}

TEST_F(TheToken, KeepsPresharedKeysByName) {
    EXPECT_TRUE(controller->CreatePresharedKey(token(), "Büro", "very secret")) << bridge::lastFailure().text();
    EXPECT_FALSE(controller->CreatePresharedKey(token(), "Büro", "other"));
    EXPECT_THAT(bridge::lastFailure().text(), HasSubstr("has a preshared key \"Büro\" already"));
    for (const std::string& name : {std::string(), std::string(65, 'x'), std::string("a\nb")}) {
        EXPECT_FALSE(controller->CreatePresharedKey(token(), name, "value"));
        EXPECT_EQ(refusal(), Refused::badInput);
    }
    EXPECT_FALSE(controller->CreatePresharedKey(token(), "empty", ""));
    EXPECT_TRUE(controller->CreatePresharedKey(token(), "second", "x"));
    std::vector<PresharedKeyInfo> keys;
    std::vector<PKCS11::TokenInfo> places;
    ASSERT_TRUE(controller->EnumPresharedKeys(keys, places));
    EXPECT_EQ(keys.size(), 2U);
    EXPECT_TRUE(controller->DeletePresharedKey(token(), {"second"}));
    EXPECT_FALSE(controller->DeletePresharedKey(token(), {"second"}));
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    ASSERT_TRUE(controller->EnumPresharedKeys(keys, places));
    EXPECT_THAT(keys, ElementsAre(PresharedKeyInfo{"Büro"}));
    logout();
    EXPECT_FALSE(controller->DeletePresharedKey(token(), {"Büro"}));
    EXPECT_EQ(refusal(), Refused::notLoggedIn);
    EXPECT_THAT(service.terminate().error, Not(HasSubstr("very secret")));
}

TEST_F(TheToken, ForgetsCertificatesThatAreDeleted) {
    ASSERT_EQ(importFile(pkcs12(user, {}, "secret"), "secret", CertImport::withPrivateKey), ImportCert::imported);
    const CertInfo info = named("CN=user");
    EXPECT_TRUE(controller->DeleteCertificate(token(), info)) << bridge::lastFailure().text();
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_FALSE(controller->DeleteCertificate(token(), info));
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    EXPECT_TRUE(controller->ReloadAll(false));
    ASSERT_EQ(importFile(pem(user.der)), ImportCert::imported);
    EXPECT_TRUE(named("CN=user").hasPrivateKey) << "the key pair stayed";
    EXPECT_TRUE(controller->ReloadAll(true));
    EXPECT_EQ(import(), ImportCert::noSuchItem) << "the parsed file is forgotten";
}

} // namespace
