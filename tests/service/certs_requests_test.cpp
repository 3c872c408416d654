// SPDX-License-Identifier: MIT
//
// Certificate requests: made on a SoftHSM2 token, checked by OpenSSL, and answered with a certificate.
#include "../support/bytes.h"
#include "certs_fixture.h"

using vocabulary::CertSelector;
using vocabulary::MakeRequest;
namespace certFlag = vocabulary::certFlag;

namespace {

const Identity root = makeAuthority("Root");

CertRequestInfo wishFor(std::uint32_t type, std::uint32_t bits, std::uint32_t digest) {
    return {.keyType = type,
            .keyBits = bits,
            .digest = digest,
            .commonName = "gate " + std::to_string(type) + "-" + std::to_string(bits),
            .organization = "Ünïcode AG",
            .country = "DE",
            .alternativeNames = "DNS:gate.example, IP:192.0.2.1, IP:2001:db8::1, email:me@gate.example",
            .keyUsage = vocabulary::keyUsage::digitalSignature | vocabulary::keyUsage::ipsecIke};
}

class Request : public TheToken {
protected:
    MakeRequest make(const CertRequestInfo& wish) {
        return static_cast<MakeRequest>(controller->MakeCertRequest(token(), wish, content));
    }
};

TEST_F(Request, IsSignedByEachKindOfKeyThatTheTokenMakes) {
    std::vector<CertRequestKeyInfo> choices;
    ASSERT_TRUE(controller->GetCertRequestKeyInfo(token(), choices));
    ASSERT_EQ(choices.size(), 2U);
    EXPECT_THAT(choices[0].keyBits, ElementsAre(2048U, 3072U, 4096U));
    EXPECT_THAT(choices[1].keyBits, ElementsAre(256U, 384U, 521U));
    for (const CertRequestKeyInfo& choice : choices) {
        const std::vector<std::uint32_t> sizes =
            choice.keyType == vocabulary::keyType::rsa ? std::vector<std::uint32_t>{2048} : choice.keyBits;
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            ASSERT_EQ(make(wishFor(choice.keyType, sizes[i], choice.digests.at(i))), MakeRequest::made) << content;
            EXPECT_NO_THROW(text = requestText(content));
        }
    }
    EXPECT_THAT(text, HasSubstr("DNS:gate.example, IP Address:192.0.2.1, IP Address:2001:DB8:0:0:0:0:0:1"));
    EXPECT_THAT(text, HasSubstr("ipsec Internet Key Exchange"));
    EXPECT_THAT(text, HasSubstr("X509v3 Key Usage: critical"));
}

TEST_F(Request, LeadsToACertificateWithItsKey) {
    CertRequestInfo wish = wishFor(vocabulary::keyType::ec, 256, vocabulary::digest::sha256);
    wish.keyLabel = "gate key";
    ASSERT_EQ(make(wish), MakeRequest::made) << content;
    EXPECT_EQ(make(wish), MakeRequest::keyUnfit) << "the label is taken";
    wish.useExistingKey = true;
    wish.digest = vocabulary::digest::sha512;
    ASSERT_EQ(make(wish), MakeRequest::made) << content;
    ASSERT_EQ(parse(pem(answerRequest(content, root))), ParseResult::parsed);
    EXPECT_THAT(options[0].keyTokens, ElementsAre(0U));
    ASSERT_EQ(import(), ImportCert::imported);
    const auto own = list(CertSelector::withPrivateKey);
    ASSERT_EQ(own.size(), 1U);
    EXPECT_EQ(own[0].subject, "CN=gate 3-256,O=Ünïcode AG,C=DE");
    EXPECT_FALSE(own[0].flags & certFlag::keyExtractable);

    wish.format = static_cast<std::uint32_t>(vocabulary::RequestFormat::der);
    ASSERT_EQ(make(wish), MakeRequest::made);
    EXPECT_EQ(content[0], '\x30');
    wish.keyLabel = "another";
    EXPECT_EQ(make(wish), MakeRequest::noSuchKey);
}

TEST_F(Request, NamesOneKeyAndOneFormat) {
    for (const char* name : {"one", "two"}) {
        ASSERT_EQ(importFile(pkcs12(makeUser(name, root), {}, "secret", 2048, "same"), "secret",
                             vocabulary::CertImport::withPrivateKey),
                  ImportCert::imported);
    }
    CertRequestInfo wish = wishFor(vocabulary::keyType::ec, 256, vocabulary::digest::sha256);
    wish.useExistingKey = true;
    wish.keyLabel = "same";
    EXPECT_EQ(make(wish), MakeRequest::noSuchKey);
    EXPECT_EQ(content, "Several key pairs are called \"same\".");

    const std::string head = encoded(token()), body = encoded(wish);
    const std::size_t first = head.size() + 12, second = head.size() + body.size() - 4; // the format's two places
    for (const auto& [one, other] : {std::pair('\1', '\0'), {'\0', '\1'}, {'\2', '\0'}, {'\0', '\2'}, {'\2', '\2'}}) {
        std::string request = head + body;
        request[first] = one;
        request[second] = other;
        EXPECT_FALSE(send(panelkit::Command::MakeCertRequest, request));
        EXPECT_EQ(refusal(), Refused::badInput) << static_cast<int>(one) << static_cast<int>(other);
    }
}

TEST_F(Request, ThatCanNotBeMadeSaysWhyAndLeavesNoKey) {
    const CertRequestInfo good = wishFor(vocabulary::keyType::ec, 256, vocabulary::digest::sha256);
    const auto with = [&](auto change) {
        CertRequestInfo wish = good;
        change(wish);
        return make(wish);
    };
    EXPECT_EQ(with([](auto& wish) { wish.keyBits = 1024; }), MakeRequest::keyUnfit);
    EXPECT_EQ(with([](auto& wish) { wish.keyType = vocabulary::keyType::dsa; }), MakeRequest::keyUnfit);
    EXPECT_EQ(with([](auto& wish) { wish.digest = 0x220; }), MakeRequest::keyUnfit);
    EXPECT_EQ(with([](auto& wish) { wish.country = "Germany"; }), MakeRequest::subjectUnfit);
    EXPECT_EQ(content, "X.509 does not take this country (two letters).");
    EXPECT_EQ(with([](auto& wish) { wish.commonName = std::string(65, 'x'); }), MakeRequest::subjectUnfit);
    EXPECT_EQ(with([](auto& wish) { wish.commonName = "\xFF\xFE"; }), MakeRequest::subjectUnfit);
    for (const char* names : {"gate.example", "IP:300.1.1.1", "DNS:", "DNS:gäte.example", "dirName:x", ","}) {
        EXPECT_EQ(with([&](auto& wish) { wish.alternativeNames = names; }), MakeRequest::subjectUnfit) << names;
    }
    EXPECT_EQ(with([](auto& wish) { wish.commonName = wish.organization = wish.country = wish.alternativeNames = ""; }),
              MakeRequest::subjectUnfit);
    EXPECT_EQ(static_cast<std::uint32_t>(with([](auto& wish) { wish.keyUsage = 1U << 31U; })), 4U);
    EXPECT_EQ(refusal(), Refused::badInput);
    logout();
    EXPECT_EQ(make(good), MakeRequest::notLoggedIn);
    login();
    EXPECT_EQ(make(good), MakeRequest::made) << "no key of that label was left: " << content;
}

} // namespace
