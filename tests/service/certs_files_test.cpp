// SPDX-License-Identifier: MIT
//
// Files of other programs: certificates of every kind are exported byte for byte; what can't be used is answered.
#include "certs_fixture.h"

#include "../support/places.h"

using testing::AnyOf;
using testing::SizeIs;

namespace {

constexpr std::uint64_t readLimit = 64 << 20;

const Identity root = makeAuthority("Root");

std::string fixture(const std::string& name) {
    return platform::readFile(sourceFile("tests/fixtures/" + name), readLimit);
}

using Names = std::vector<std::pair<std::string, std::string>>;

Identity withNames(const Names& names, int kind = MBSTRING_UTF8) {
    return makeCertificate({.subject = names, .stringKind = kind}, ecKey(), &root);
}

Identity valid(const std::string& from, const std::string& to) {
    return makeCertificate({.subject = {{"CN", from}}, .notBefore = from, .notAfter = to}, ecKey(), &root);
}

Identity numbered(const std::string& serial) {
    return makeCertificate({.subject = {{"CN", "serial"}}, .serial = serial}, ecKey(), &root);
}

Identity withExtensions(int count) {
    CertificateSpec spec{.subject = {{"CN", "extensions"}}};
    for (int i = 0; i < count; ++i) {
        spec.extensions.emplace_back("1.3.6.1.4.1.99999." + std::to_string(i), "ASN1:UTF8String:value");
    }
    return makeCertificate(spec, ecKey(), &root);
}

Identity selfSigned(const std::string& name, const Key& key) {
    return makeCertificate({.subject = {{"CN", name}}}, key);
}

struct Sample {
    std::string name;
    Identity identity;
    std::string subject = {}; // as shown; empty: not checked
};

std::vector<Sample> samples() {
    Names many{{"C", "DE"}};
    for (int i = 0; i < 30; ++i) many.emplace_back("OU", "unit " + std::string(50, 'x') + std::to_string(i));
    CertificateSpec old{.subject = {{"CN", "version 1"}}, .version = 1};
    return {
        {"RSA 2048", selfSigned("rsa", rsaKey(2048))},
        {"P-256", selfSigned("p256", ecKey())},
        {"P-384", selfSigned("p384", ecKey("P-384"))},
        {"P-521", selfSigned("p521", ecKey("P-521"))},
        {"Ed25519", selfSigned("edwards", edwardsKey())},
        {"long names", withNames(many)},
        {"UTF-8", withNames({{"CN", "Иван Петров, 株式会社"}}), "CN=Иван Петров\\, 株式会社"},
        {"BMP", withNames({{"CN", "wide"}}, V_ASN1_BMPSTRING), "CN=wide"},
        {"T61", withNames({{"CN", "M\xFCller"}}, V_ASN1_T61STRING), "CN=Müller"},
        {"controls", withNames({{"CN", std::string("a\0b\n\x1B[2J", 8)}}), "CN=a\\00b\\0A\\1B[2J"},
        {"no subject", withNames({}), ""},
        {"version 1", makeCertificate(old, ecKey(), &root)},
        {"many extensions", withExtensions(60)},
        {"negative serial", numbered("-123456789")},
        {"serial 0", numbered("0")},
        {"long serial", numbered("1208925819614629174706175000000000000000000000000")},
        {"2050 and later", valid("20500101000000Z", "21500101000000Z")},
        {"for ever", valid("20250101000000Z", "99991231235959Z")},
        {"before 1970", valid("19600101000000Z", "20300101000000Z")},
    };
}

class TheFiles : public TheToken {
protected:
    // Parsed, imported, listed and exported again: the same bytes.
    void goesThrough(const Sample& sample, const std::string& file) {
        ASSERT_EQ(parse(file), ParseResult::parsed) << sample.name;
        ASSERT_THAT(options, SizeIs(1)) << sample.name;
        const CertInfo seen = options[0].certificate;
        if (!sample.subject.empty()) {
            EXPECT_EQ(seen.subject, sample.subject) << sample.name;
        }
        ASSERT_EQ(import(), ImportCert::imported) << sample.name;
        ASSERT_EQ(exportAs(CertExport::der, seen), ExportCert::exported) << sample.name;
        EXPECT_EQ(content, sample.identity.der) << sample.name;
        CertInfo record = seen;
        CertExtentions details;
        EXPECT_TRUE(controller->GetCertDetails(token(), record, details, text)) << sample.name;
        EXPECT_EQ(record.subject, seen.subject);
        EXPECT_EQ(import(), ImportCert::alreadyThere) << sample.name;
    }
};

TEST_F(TheFiles, OfEveryKindComeBackUnchanged) {
    bool asPem = false;
    for (const Sample& sample : samples()) {
        asPem = !asPem;
        goesThrough(sample, asPem ? "a line above\n" + pem(sample.identity.der) : sample.identity.der);
    }
    EXPECT_EQ(list().size(), samples().size());
    EXPECT_EQ(named("CN=19600101000000Z").notBefore, 0U);
    EXPECT_EQ(named("CN=20250101000000Z").notAfter, 253402300799U);
}

TEST_F(TheFiles, WithLargeKeysAndCurvesBringTheirKeysToTheToken) {
    std::vector<std::string> files{fixture("rsa4096.pem"), fixture("rsa8192.pem")};
    for (const Key& key : {rsaKey(2048), ecKey(), ecKey("P-521"), edwardsKey()}) {
        files.push_back(pem(selfSigned("own", key).der) + keyPem(key));
    }
    for (const std::string& file : files) {
        ASSERT_EQ(parse(file), ParseResult::parsed);
        ASSERT_TRUE(options[0].certificate.hasPrivateKey);
        ASSERT_THAT(import(CertImport::withPrivateKey, 0, true), AnyOf(ImportCert::imported, ImportCert::notSupported));
        const CertInfo info = options[0].certificate;
        if (exportAs(CertExport::pkcs12, info, "secret", false, true) != ExportCert::exported) {
            EXPECT_EQ(info.keyType, vocabulary::keyType::edwards) << content;
            continue;
        }
        EXPECT_EQ(parse(content, "secret"), ParseResult::parsed);
        EXPECT_TRUE(options.at(0).certificate.hasPrivateKey);
    }
    EXPECT_EQ(named("CN=RSA 8192").keyBits, 8192U);
}

TEST_F(TheFiles, MayHoldSeveralObjectsAndTheSameOneTwice) {
    const Identity user = makeUser("user", root);
    const std::string crl = makeCrl({.revoked = {3}}, root);
    EXPECT_EQ(parse(user.der + root.der + user.der + crl), ParseResult::parsed);
    EXPECT_THAT(options, SizeIs(2));
    EXPECT_THAT(crls, SizeIs(1));
    const std::string mixed = keyPem(user.key, "secret") + pem("not asked for", "SOMETHING ELSE") + pem(user.der) +
                              pem(pkcs7({root.der}), "PKCS7") + pem(crl, "X509 CRL");
    EXPECT_EQ(parse(mixed, "secret"), ParseResult::parsed);
    EXPECT_THAT(options, SizeIs(2));
    EXPECT_TRUE(options[0].certificate.hasPrivateKey);
    EXPECT_EQ(parse(pkcs12(user, {}, ""), ""), ParseResult::parsed);
    EXPECT_EQ(parse(pem(user.der) + pem(user.der + "x") + pem(crl, "X509 CRL") + pem(crl + "x", "X509 CRL")),
              ParseResult::parsed);
    EXPECT_THAT(options, SizeIs(1)) << "bytes after the object in a block are dropped";
    EXPECT_THAT(crls, SizeIs(1));
}

TEST_F(TheFiles, ThatCanNotBeUsedSayWhy) {
    const Identity user = makeUser("user", root);
    const std::string container = pkcs12(user, {}, "secret");
    EXPECT_EQ(parse(container, "wrong"), ParseResult::passwordWrong);
    EXPECT_EQ(parse(container), ParseResult::passwordWrong);
    EXPECT_EQ(parse(keyPem(user.key, "secret") + pem(user.der), "wrong"), ParseResult::passwordWrong);
    EXPECT_EQ(parse(keyPem(user.key)), ParseResult::nothingUsable);
    EXPECT_EQ(parse(pem("x", "SOMETHING ELSE")), ParseResult::nothingUsable);
    EXPECT_EQ(parse(pkcs7({})), ParseResult::nothingUsable);
    EXPECT_EQ(parse("   "), ParseResult::unknownFormat);
    EXPECT_EQ(parse("-----BEGIN CERTIFICATE-----\nAAAA\n"), ParseResult::unknownFormat);
    EXPECT_EQ(parse(user.der + "x"), ParseResult::unknownFormat);
    EXPECT_EQ(import(), ImportCert::noSuchItem) << "a parse that fails leaves nothing of the one before";
}

} // namespace
