// SPDX-License-Identifier: MIT
//
// Key pairs and labels, on SoftHSM2 and on the test token.
#include "certs_fixture.h"
#include "steered_token.h"

#include <panelkit/monitor/monitor_controller.h>

using panelkit::KeyInfo;
using panelkit::MonitorController;
using panelkit::TokenLabels;
namespace keyType = vocabulary::keyType;

namespace {

const Identity root = makeAuthority("Root");

// The verbs of the controller, each as an answer that can be expected.
class Keys {
protected:
    std::vector<KeyInfo> listKeys(const TokenInfo* token = nullptr) {
        std::vector<KeyInfo> keys;
        std::vector<TokenInfo> tokens;
        EXPECT_TRUE(monitor.EnumKeys(token, keys, tokens)) << bridge::lastFailure().text();
        EXPECT_EQ(keys.size(), tokens.size());
        return keys;
    }
    KeyInfo keyCalled(const std::string& label) {
        for (const KeyInfo& key : listKeys()) {
            if (key.label == label) return key;
        }
        ADD_FAILURE() << "no key " << label;
        return {};
    }

    MonitorController monitor;
    KeyInfo made;
    std::string pem;
};

class AKeyPair : public TheToken, protected Keys {
protected:
    bool generate(std::uint32_t type, std::uint32_t bits, const std::string& label) {
        return monitor.GenerateKey(token(), type, bits, label, made);
    }
};

TEST_F(AKeyPair, IsMadeListedShownAndDeleted) {
    for (const auto& [type, bits] : {std::pair(keyType::rsa, 2048U), std::pair(keyType::ec, 384U)}) {
        ASSERT_TRUE(generate(type, bits, "gate")) << bridge::lastFailure().text();
        EXPECT_EQ(made.label, "gate");
        EXPECT_EQ(made.keyType, type);
        EXPECT_EQ(made.keyBits, bits);
        EXPECT_EQ(made.id.size(), 40U);
        EXPECT_EQ(made.fingerprint.size(), 64U);
        EXPECT_TRUE(made.hasPrivateKey && made.hasPublicKey && made.usable);
        EXPECT_FALSE(made.extractable || made.asksForPin);
        EXPECT_THAT(listKeys(), ElementsAre(made));
        const TokenInfo office = token();
        EXPECT_THAT(listKeys(&office), ElementsAre(made));
        EXPECT_THAT(panelkit::lastUnseen(), IsEmpty());
        ASSERT_TRUE(monitor.GetPublicKey(office, made, pem)) << bridge::lastFailure().text();
        EXPECT_THAT(pem, StartsWith("-----BEGIN PUBLIC KEY-----\n"));
        ASSERT_TRUE(monitor.DeleteKey(office, made)) << bridge::lastFailure().text();
        EXPECT_THAT(listKeys(), IsEmpty());
        EXPECT_FALSE(monitor.DeleteKey(office, made));
        EXPECT_EQ(refusal(), Refused::noSuchObject);
        EXPECT_FALSE(monitor.GetPublicKey(office, made, pem));
        EXPECT_EQ(refusal(), Refused::noSuchObject);
    }
    EXPECT_THAT(service.terminate().error,
                testing::ContainsRegex("GenerateKey token \"Office\" \\S+, key \"gate\": done"));
}

TEST_F(AKeyPair, IsNotMadeFromBadInput) {
    ASSERT_TRUE(generate(keyType::ec, 256, "taken"));
    const struct {
        std::uint32_t type, bits;
        std::string label;
        Refused why;
    } rows[] = {
        {keyType::ec, 256, "taken", Refused::alreadyThere},
        {keyType::ec, 256, "", Refused::badInput},
        {keyType::ec, 256, std::string(65, 'x'), Refused::badInput},
        {keyType::ec, 256, "a\nb", Refused::badInput},
        {keyType::ec, 256, "\xff", Refused::badInput},
        {keyType::ec, 255, "x", Refused::notSupported},
        {keyType::rsa, 512, "x", Refused::notSupported},
        {keyType::dsa, 2048, "x", Refused::notSupported},
    };
    for (const auto& [type, bits, label, why] : rows) {
        EXPECT_FALSE(generate(type, bits, label));
        EXPECT_EQ(refusal(), why) << label << bits << bridge::lastFailure().text();
    }
    EXPECT_TRUE(generate(keyType::ec, 256, "Ü" + std::string(63, 'x'))) << "characters count, not bytes";
    EXPECT_EQ(listKeys().size(), 2U);
}

TEST_F(AKeyPair, ShowsOnlyItsPublicHalfWithoutLogIn) {
    ASSERT_TRUE(generate(keyType::ec, 256, "gate"));
    const KeyInfo whole = made;
    logout();
    const KeyInfo half = keyCalled("gate");
    const auto unseen = panelkit::lastUnseen();
    ASSERT_EQ(unseen.size(), 1U);
    EXPECT_EQ(unseen[0].text(), "the private objects on token \"Office\" are not seen: nobody is logged in to it");
    EXPECT_FALSE(half.hasPrivateKey || half.usable);
    EXPECT_EQ(half.fingerprint, whole.fingerprint);
    const TokenInfo office = token();
    EXPECT_FALSE(monitor.DeleteKey(office, half));
    EXPECT_EQ(refusal(), Refused::notLoggedIn);
    EXPECT_FALSE(monitor.GenerateKey(office, keyType::ec, 256, "x", made));
    EXPECT_EQ(refusal(), Refused::notLoggedIn);
    login();
    EXPECT_FALSE(monitor.DeleteKey(token(), half)) << "more would be deleted than was shown";
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    EXPECT_THAT(listKeys(), ElementsAre(whole));
}

TEST_F(AKeyPair, KnowsItsCertificates) {
    for (const Key& key : {ecKey(), rsaKey(2048)}) {
        const Identity gate = makeCertificate({.subject = {{"CN", "gate"}}}, key, &root);
        const Identity again = makeCertificate({.subject = {{"CN", "again"}}, .serial = "2"}, key, &root);
        ASSERT_EQ(importFile(pkcs12(gate, {}, "secret"), "secret", CertImport::withPrivateKey, true),
                  ImportCert::imported);
        ASSERT_EQ(importFile(again.der), ImportCert::imported);
        const CertInfo first = named("CN=gate"), second = named("CN=again");
        ASSERT_EQ(listKeys().size(), 1U);
        const KeyInfo info = listKeys()[0];
        EXPECT_TRUE(info.extractable && info.usable);
        EXPECT_EQ(info.keyBits, first.keyBits);
        EXPECT_THAT(info.certificates, testing::UnorderedElementsAre(first.fingerprint, second.fingerprint));

        EXPECT_FALSE(monitor.DeleteCertificateWithKey(token(), first)) << "the other one would lose its key";
        EXPECT_EQ(refusal(), Refused::keyShared);
        EXPECT_THAT(bridge::lastFailure().text(), HasSubstr("CN=again"));
        EXPECT_EQ(list().size(), 2U);
        ASSERT_TRUE(controller->DeleteCertificate(token(), second));
        ASSERT_TRUE(controller->DeleteCertificate(token(), first));
        ASSERT_EQ(importFile(pkcs12(gate, {}, "secret"), "secret", CertImport::withPrivateKey), ImportCert::imported);
        EXPECT_EQ(listKeys().size(), 1U) << "it was still there";
        ASSERT_TRUE(monitor.DeleteCertificateWithKey(token(), first)) << bridge::lastFailure().text();
        EXPECT_THAT(list(), IsEmpty());
        EXPECT_THAT(listKeys(), IsEmpty());
    }
}

TEST_F(AKeyPair, IsDeletedWithItsCertificateOnlyIfItExists) {
    ASSERT_EQ(importFile(makeUser("alone", root).der), ImportCert::imported);
    ASSERT_TRUE(generate(keyType::ec, 256, "of nobody"));
    EXPECT_FALSE(monitor.DeleteCertificateWithKey(token(), named("CN=alone")));
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    EXPECT_FALSE(monitor.DeleteCertificateWithKey(token(), {.fingerprint = "00"}));
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    EXPECT_EQ(list().size(), 1U);
    EXPECT_EQ(listKeys().size(), 1U);
}

TEST_F(AKeyPair, IsToldFromOthersOfItsLabel) {
    for (const char* name : {"one", "two"}) {
        const Identity user = makeUser(name, root);
        ASSERT_EQ(importFile(pkcs12(user, {}, "secret", 2048, "same"), "secret", CertImport::withPrivateKey),
                  ImportCert::imported);
    }
    std::vector<KeyInfo> keys = listKeys();
    ASSERT_EQ(keys.size(), 2U);
    EXPECT_NE(keys[0].fingerprint, keys[1].fingerprint);
    KeyInfo exchanged = keys[0];
    exchanged.fingerprint = keys[1].fingerprint;
    EXPECT_FALSE(monitor.DeleteKey(token(), exchanged));
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    ASSERT_TRUE(monitor.DeleteKey(token(), keys[0]));
    EXPECT_THAT(listKeys(), ElementsAre(keys[1]));
}

// ---- labels

TEST_F(AKeyPair, SharesItsLabelAndIdentifierWithItsCertificate) {
    const Identity gate = makeUser("gate", root);
    ASSERT_EQ(importFile(pkcs12(gate, {root.der}, "secret"), "secret", CertImport::withChain), ImportCert::imported);
    std::vector<TokenLabels> labels;
    ASSERT_TRUE(monitor.EnumCertLabels(nullptr, labels)) << bridge::lastFailure().text();
    ASSERT_EQ(labels.size(), 1U);
    EXPECT_EQ(labels[0].token, token());
    ASSERT_EQ(labels[0].certificates.size(), 2U);
    for (const panelkit::CertLabel& label : labels[0].certificates) {
        CertInfo certificate{.fingerprint = label.fingerprint};
        CertExtentions details;
        ASSERT_TRUE(controller->GetCertDetails(token(), certificate, details, text));
        EXPECT_EQ(label.label, details.label);
        EXPECT_EQ(label.id, details.keyId);
    }
    const TokenInfo office = token();
    std::vector<TokenLabels> same;
    ASSERT_TRUE(monitor.EnumCertLabels(&office, same));
    EXPECT_EQ(same, labels);
    EXPECT_EQ(listKeys().at(0).id, labels[0].certificates[0].id);
}

// What another program has stored on the token.
using AnObjectOfAnother = AKeyPair;

TEST_F(AnObjectOfAnother, GivesItsIdentifierToANewKey) {
    const Identity gate = makeUser("gate", root);
    const std::string file = service.folder().file("object.der");
    platform::replaceFile(file, gate.der, true);
    tokenUser("user-1", {"certificate", file, "BB"});
    EXPECT_EQ(importFile(pkcs12(gate, {}, "secret"), "secret", CertImport::withPrivateKey), ImportCert::imported);
    ASSERT_EQ(listKeys().size(), 1U);
    EXPECT_EQ(listKeys()[0].id, "4242");
}

TEST_F(AnObjectOfAnother, DoesNotShareItsLabelWithANewKey) {
    tokenUser("user-1", {"public-key", "taken"});
    EXPECT_FALSE(generate(keyType::ec, 256, "taken"));
    EXPECT_EQ(refusal(), Refused::alreadyThere);
}

TEST_F(AnObjectOfAnother, IsNotDeletedWhenAnotherObjectLooksTheSame) {
    for (int i = 0; i < 2; ++i) tokenUser("user-1", {"public-key", "twin"});
    EXPECT_FALSE(monitor.DeleteKey(token(), keyCalled("twin")));
    EXPECT_EQ(refusal(), Refused::badInput);
    EXPECT_EQ(listKeys().size(), 2U);
}

// ---- a token that can be steered

class KeysOnTheSteeredToken : public Steered<WithCertificates>, protected Keys {
protected:
    void SetUp() override {
        load();
        login();
        ASSERT_EQ(importFile(pkcs12(makeUser("user", root), {}, "secret"), "secret", CertImport::withPrivateKey),
                  ImportCert::imported);
        office = token();
    }
    TokenInfo office;
};

TEST_F(KeysOnTheSteeredToken, AreIncompleteWhenItCantBeRead) {
    const auto count = [&](const auto& listing) {
        EXPECT_TRUE(listing()) << bridge::lastFailure().text();
        return panelkit::lastUnseen().size();
    };
    std::vector<KeyInfo> keys;
    std::vector<TokenInfo> places;
    std::vector<TokenLabels> labels;
    const auto listKeys = [&] { return monitor.EnumKeys(nullptr, keys, places); };
    const auto listLabels = [&] { return monitor.EnumCertLabels(nullptr, labels); };
    EXPECT_EQ(count(listKeys) + count(listLabels), 0U);
    constexpr std::uint32_t deviceError = 0x30;
    control.fail("C_FindObjectsInit", deviceError);
    EXPECT_EQ(count(listKeys), 1U);
    EXPECT_THAT(panelkit::lastUnseen()[0].text(), HasSubstr("the token \"Office\" could not be read: "));
    EXPECT_EQ(count(listLabels), 1U);
    EXPECT_FALSE(monitor.EnumKeys(&office, keys, places)) << "one that is asked for by name";
    EXPECT_EQ(refusal(), Refused::deviceError);
    control.clearFaults();

    control.hang("C_FindObjectsInit");
    EXPECT_EQ(count(listKeys), 1U);
    EXPECT_FALSE(monitor.EnumCertLabels(&office, labels));
    control.clearFaults();
}

TEST_F(KeysOnTheSteeredToken, AreGoneWithIt) {
    const KeyInfo key = listKeys().at(0);
    control.remove("reader");
    EXPECT_THAT(listKeys(), IsEmpty());
    EXPECT_THAT(panelkit::lastUnseen(), IsEmpty()) << "that it is removed is a state";
    std::vector<KeyInfo> keys;
    std::vector<TokenInfo> places;
    EXPECT_FALSE(monitor.EnumKeys(&office, keys, places));
    EXPECT_EQ(refusal(), Refused::noSuchToken);
    EXPECT_FALSE(monitor.DeleteKey(office, key));
    EXPECT_EQ(refusal(), Refused::noSuchToken);
    EXPECT_FALSE(monitor.GenerateKey(office, keyType::ec, 256, "x", made));
    EXPECT_EQ(refusal(), Refused::noSuchToken);
}

TEST_F(KeysOnTheSteeredToken, AreTakenBackWhenTheyCantBeReadAfterTheyWereMade) {
    control.setTraits("office", {.pretendsKeys = true});
    const auto before = listKeys();
    control.large(8);
    EXPECT_FALSE(monitor.GenerateKey(office, keyType::rsa, 2048, "x", made));
    EXPECT_EQ(refusal(), Refused::deviceError) << bridge::lastFailure().text();
    control.clearFaults();
    EXPECT_EQ(listKeys(), before);
}

TEST_F(KeysOnTheSteeredToken, StayWhenTheTokenIsWriteProtected) {
    const KeyInfo key = listKeys().at(0);
    control.setTraits("office", {.writeProtected = true});
    EXPECT_FALSE(monitor.DeleteKey(office, key));
    EXPECT_EQ(refusal(), Refused::writeProtected);
    EXPECT_FALSE(monitor.DeleteCertificateWithKey(office, named("CN=user")));
    EXPECT_EQ(refusal(), Refused::writeProtected);
    control.setTraits("office", {});
    EXPECT_THAT(listKeys(), ElementsAre(key));
}

// What is left is a key that can be deleted on its own, not a certificate that looks as if it could be used.
TEST_F(KeysOnTheSteeredToken, OutliveTheirCertificateWhenTheTokenFailsInBetween) {
    const CertInfo certificate = named("CN=user");
    const KeyInfo key = listKeys().at(0);
    control.recordCalls();
    control.slow("C_DestroyObject", std::chrono::milliseconds(300));
    std::thread hand([&] {
        EXPECT_TRUE(control.waitForCalls("C_DestroyObject", 2));
        control.fail("C_DestroyObject", 0x30);
    });
    EXPECT_FALSE(monitor.DeleteCertificateWithKey(office, certificate));
    hand.join();
    control.clearFaults();
    EXPECT_THAT(list(), IsEmpty());
    ASSERT_EQ(listKeys().size(), 1U);
    EXPECT_EQ(listKeys()[0].fingerprint, key.fingerprint);
    EXPECT_TRUE(monitor.DeleteKey(office, listKeys()[0]));
}

} // namespace
