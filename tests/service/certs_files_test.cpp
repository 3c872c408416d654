// SPDX-License-Identifier: MIT
//
// Files of other programs: certificates of every kind are exported byte for byte; damaged files get a clear answer and
// change nothing.
#include "certs_fixture.h"

#include "../support/places.h"
#include "../support/random.h"

#include <gmock/gmock.h>

#include <set>

using testing::AnyOf;
using testing::HasSubstr;
using testing::SizeIs;
using vocabulary::CertExport;
using vocabulary::CertImport;
using vocabulary::ExportCert;
using vocabulary::ImportCert;
using vocabulary::ParseResult;

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

TEST_F(TheFiles, OfTheSystemComeBackUnchanged) {
    const std::string bundle = platform::readFile("/etc/ssl/certs/ca-certificates.crt", readLimit);
    const std::vector<std::string> originals = certificatesOf(bundle);
    ASSERT_EQ(parse(bundle), ParseResult::parsed);
    ASSERT_EQ(options.size(), originals.size());
    ASSERT_GT(originals.size(), 60U);
    for (std::uint32_t i = 0; i < 40; ++i) ASSERT_EQ(import(CertImport::certificateOnly, i), ImportCert::imported) << i;
    const auto listed = list(vocabulary::CertSelector::authorities);
    EXPECT_EQ(listed.size(), 40U);
    for (std::uint32_t i = 0; i < 40; ++i) {
        ASSERT_EQ(exportAs(CertExport::der, options[i].certificate), ExportCert::exported);
        EXPECT_EQ(content, originals[i]) << options[i].certificate.subject;
    }
}

TEST_F(TheFiles, WithAChainOfFiveAreTakenWhole) {
    std::vector<Identity> chain{root};
    for (const char* name : {"Second", "Third", "Fourth"}) {
        const Identity issuer = chain.back();
        chain.push_back(makeAuthority(name, &issuer));
    }
    const Identity leaf = makeUser("leaf", chain.back());
    std::vector<std::string> all{leaf.der};
    for (const Identity& link : chain) all.push_back(link.der);
    ASSERT_EQ(importFile(pkcs7(all), "", CertImport::withChain), ImportCert::imported);
    EXPECT_EQ(list().size(), 5U);
    EXPECT_TRUE(verifies("CN=leaf")) << text;
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

// Replaces every occurrence of `from`.
std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

TEST_F(TheFiles, ThatWouldKeepTheServiceBusyAreRefused) {
    const Identity user = makeUser("user", root);
    const std::string rounds("\x02\x03\x01\x00\x01", 5); // 65537, and then eight million
    const std::string more("\x02\x03\x7F\xFF\xFF", 5);
    EXPECT_EQ(parse(replaced(pkcs12(user, {}, "secret", 65537), rounds, more), "secret"), ParseResult::tooCostly);
    EXPECT_EQ(parse(replaced(encryptedKey(user.key, "secret", 65537), rounds, more), "secret"), ParseResult::tooCostly);
    std::string many;
    for (int i = 0; i < 5001; ++i) many += root.der;
    EXPECT_EQ(parse(many), ParseResult::tooCostly);
}

// A valid file with one bit changed or its end cut off.
std::string damaged(std::string file, Random& random) {
    switch (random.below(4)) {
    case 0: return file.substr(0, 1 + random.below(file.size() - 1));
    case 1: return file.erase(random.below(file.size()), 1 + random.below(8));
    case 2:
        for (char& c : file) c = static_cast<char>(random.below(256));
        return file;
    default:
        for (std::uint32_t i = 0; i <= random.below(4); ++i) {
            char& c = file[random.below(file.size())];
            c = static_cast<char>(c ^ static_cast<char>(1U << random.below(7)));
        }
        return file;
    }
}

TEST_F(TheFiles, ThatAreDamagedAreAnsweredAndChangeNothing) {
    const Identity user = makeUser("user", root);
    ASSERT_EQ(importFile(pem(root.der)), ImportCert::imported);
    const auto before = list();
    const std::vector<std::string> good{user.der, pkcs7({user.der, root.der}), pkcs12(user, {root.der}, "secret"),
                                        makeCrl({.revoked = {1, 2}}, root), pem(user.der) + keyPem(user.key, "secret")};
    const std::set<ParseResult> clear{ParseResult::parsed, ParseResult::unknownFormat, ParseResult::passwordWrong,
                                      ParseResult::nothingUsable, ParseResult::tooCostly};
    Random random(20'261'121);
    int refused = 0;
    for (int i = 0; i < 200; ++i) {
        const ParseResult result = parse(damaged(good[static_cast<std::size_t>(i) % good.size()], random), "secret");
        ASSERT_TRUE(clear.count(result)) << i << ": " << static_cast<int>(result) << bridge::lastFailure().text();
        refused += result != ParseResult::parsed;
    }
    EXPECT_GT(refused, 120);
    EXPECT_EQ(list(), before);
    EXPECT_TRUE(listCrls().empty());
    EXPECT_FALSE(service.process().ended());
}

} // namespace
