// SPDX-License-Identifier: MIT
//
// Rules on certificates, CRLs and files for import, each at its boundary: what revokes, what may be used for what, what
// opens, what is too costly, and what may be exported.
#include <service/certs/exporter.h>
#include <service/certs/holdings.h>
#include <service/certs/key_usages.h>
#include <service/certs/parsed_file.h>
#include <service/certs/request_keys.h>
#include <service/certs/token_objects.h>
#include <service/certs/verification_purposes.h>
#include <service/monitor/key_records.h>

#include "../support/certificate_maker.h"
#include "../support/test.h"
#include "refusal_of.h"

#include <service/base/plain_text.h>

#include <openssl/kdf.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509v3.h>

using namespace panelkitd;
using vocabulary::CertExport;
using vocabulary::ExportCert;
using vocabulary::ParseResult;
using vocabulary::VerifyPurpose;
namespace verifyFlag = vocabulary::verifyFlag;

namespace {

using Extensions = std::vector<std::pair<std::string, std::string>>;

const Identity root = makeAuthority("Root");

// ---- revocation

TEST(ACrl, RevokesOnlyCertificatesOfItsIssuerAndKey) {
    const Identity sameName = makeAuthority("Root"), other = makeAuthority("Other");
    const Extensions ofItsKey{{"authorityKeyIdentifier", "keyid:always"}};
    const CertificateFacts gate = readCertificateFacts(
        makeCertificate({.subject = {{"CN", "gate"}}, .serial = "42", .extensions = ofItsKey}, ecKey(), &root).der);
    const auto revokes = [&](const CrlSpec& spec, const Identity& issuer) {
        return readCrlFacts(makeCrl(spec, issuer)).revokedAt(gate) != 0;
    };
    EXPECT_TRUE(revokes({.revoked = {41, 42}}, root));
    EXPECT_TRUE(revokes({.revoked = {42}, .extensions = ofItsKey}, root));
    EXPECT_TRUE(revokes({.revoked = {42}}, sameName)) << "whose signature is looked at elsewhere";
    EXPECT_FALSE(revokes({.revoked = {42}, .extensions = ofItsKey}, sameName));
    EXPECT_FALSE(revokes({.revoked = {42}}, other));
    EXPECT_FALSE(revokes({.revoked = {41, 43}}, root));
    EXPECT_FALSE(revokes({.released = {42}}, root)) << "the end of a hold";
}

TEST(ACrl, HasAScopeThatTellsItFromOthersOfItsIssuer) {
    const auto scope = [](const Extensions& extensions, const Identity& issuer = root) {
        return readCrlFacts(makeCrl({.extensions = extensions}, issuer)).scope;
    };
    const std::vector<std::string> scopes{
        scope({}), scope({{"issuingDistributionPoint", "onlyuser:TRUE"}}), scope({{"deltaCRL", "ASN1:INTEGER:1"}}),
        scope({{"authorityKeyIdentifier", "keyid:always"}}), scope({}, makeAuthority("Other"))};
    EXPECT_EQ(std::set(scopes.begin(), scopes.end()).size(), scopes.size());
    EXPECT_EQ(scope({}), scopes[0]);
}

TEST(TheFactsOfACertificate, SayWhetherItSignedItself) {
    FactsCache cache;
    const auto signedItself = [&](const Identity& identity) {
        return cache.isSelfSigned(identity.der, *cache.certificate(identity.der));
    };
    EXPECT_TRUE(signedItself(root));
    EXPECT_FALSE(signedItself(makeAuthority("Middle", &root)));
    EXPECT_FALSE(signedItself(makeAuthority("Root", &root))) << "another key with the issuer's own name";
}

// ---- purposes

TEST(APurpose, AllowsWhatItsExtensionsSay) {
    const Extensions authority = authorityExtensions();
    const struct {
        Extensions extensions;
        VerifyPurpose purpose;
        bool fits;
    } rows[] = {
        {authority, VerifyPurpose::authority, true},
        {{{"basicConstraints", "critical,CA:TRUE"}}, VerifyPurpose::authority, true},
        {{{"basicConstraints", "critical,CA:TRUE"}, {"keyUsage", "critical,cRLSign"}}, VerifyPurpose::authority, false},
        {{{"keyUsage", "critical,digitalSignature"}}, VerifyPurpose::authority, false},
        {{}, VerifyPurpose::ikePeer, true},
        {{{"keyUsage", "nonRepudiation"}}, VerifyPurpose::ikePeer, true},
        {{{"keyUsage", "keyEncipherment"}}, VerifyPurpose::ikePeer, false},
        {{{"extendedKeyUsage", "serverAuth,ipsecIKE"}}, VerifyPurpose::ikePeer, true},
        {{{"extendedKeyUsage", "anyExtendedKeyUsage"}}, VerifyPurpose::ikePeer, true},
        {{{"extendedKeyUsage", "serverAuth,clientAuth"}}, VerifyPurpose::ikePeer, false},
    };
    for (const auto& [extensions, purpose, good] : rows) {
        const Identity made = makeCertificate({.subject = {{"CN", "x"}}, .extensions = extensions}, ecKey(), &root);
        const std::string name = extensions.empty() ? "nothing" : extensions.back().second;
        EXPECT_EQ(fits(certificateFrom(made.der).get(), purposeOf(static_cast<std::uint32_t>(purpose))), good) << name;
    }
    for (const std::uint32_t unknown :
         {0x77U, 1U << 31U, 1U << 12U, verifyFlag::crlRequired | verifyFlag::noRevocation}) {
        EXPECT_THROW(purposeOf(unknown), RefusedError) << unknown;
    }
}

TEST(KeyUsages, AreReadAndWrittenBitByBit) {
    for (const char* name : {"digitalSignature", "nonRepudiation", "keyEncipherment", "dataEncipherment",
                             "keyAgreement", "keyCertSign", "cRLSign", "encipherOnly", "decipherOnly"}) {
        const Identity made =
            makeCertificate({.subject = {{"CN", "x"}}, .extensions = {{"keyUsage", name}}}, ecKey(), &root);
        EXPECT_EQ(keyUsageValue(keyUsageBits(certificateFrom(made.der).get())), name);
    }
}

// ---- keys of certificates

TEST(TheKeyOfACertificate, IsOfItsTypeAndHasItsIdentifierOrModulus) {
    const Key ec = ecKey(), rsa = rsaKey(1024);
    const CertificateFacts curve = readCertificateFacts(makeCertificate({.subject = {{"CN", "c"}}}, ec, &root).der);
    const CertificateFacts numbers = readCertificateFacts(makeCertificate({.subject = {{"CN", "n"}}}, rsa, &root).der);
    const auto found = [](const CertificateFacts& facts, const StoredKey& key, const std::string& id) {
        TokenObjects objects;
        objects.keys.push_back(key);
        return objects.keyOf(facts, id) != nullptr;
    };
    const auto key = [](CK_KEY_TYPE type, const std::string& id, const std::string& modulus = {}) {
        return StoredKey{1, type, id, "", modulus, false, false, true};
    };
    EXPECT_TRUE(found(curve, key(CKK_EC, "id"), "id"));
    EXPECT_TRUE(found(curve, key(CKK_EC, curve.keyId), ""));
    EXPECT_FALSE(found(curve, key(CKK_EC, "other"), "id"));
    EXPECT_FALSE(found(curve, key(CKK_EC, ""), "")) << "no identifier is none in common";
    EXPECT_FALSE(found(curve, key(CKK_RSA, "id"), "id"));
    EXPECT_TRUE(found(numbers, key(CKK_RSA, "other", numbers.publicKey), "id"));
    EXPECT_FALSE(found(numbers, key(CKK_RSA, "id", "another modulus"), "id"));
}

TEST(ARecordOfACertificate, NamesItByFingerprintOrElseByIssuerAndSerialNumber) {
    const CertificateFacts facts =
        readCertificateFacts(makeCertificate({.subject = {{"CN", "x"}}, .serial = "42"}, ecKey(), &root).der);
    const auto named = [&](auto change) {
        CertInfo record{.issuer = facts.info.issuer, .serialNumber = facts.info.serialNumber};
        change(record);
        return names(record, facts);
    };
    EXPECT_TRUE(named([](CertInfo&) {}));
    EXPECT_FALSE(named([](CertInfo& record) { record.issuer = "CN=Other"; }));
    EXPECT_FALSE(named([](CertInfo& record) { record.serialNumber = "43"; }));
    EXPECT_FALSE(named([](CertInfo& record) { record.fingerprint = "00"; }));
    EXPECT_TRUE(named([&](CertInfo& record) { record = {.fingerprint = facts.info.fingerprint}; }));
}

TEST(ARecordOfAKey, MeansTheOneKeyThatItDescribes) {
    TokenObjects objects;
    const auto add = [&] { objects.keys.push_back({1, CKK_EC, "id", "gate", "", false, false, true}); };
    const auto refused = [&](const panelkit::KeyInfo& record) { return refusalOf([&] { findPair(objects, record); }); };
    add();
    const panelkit::KeyInfo record = describe(keyPairs(objects).at(0));
    EXPECT_EQ(refused(record), vocabulary::Refused::none);
    panelkit::KeyInfo exchanged = record;
    exchanged.fingerprint = "00";
    EXPECT_EQ(refused(exchanged), vocabulary::Refused::noSuchObject);
    add();
    EXPECT_EQ(refused(record), vocabulary::Refused::badInput) << "two that can't be told apart";
}

// ---- keys of requests

TEST(TheChoicesOfARequest, AreWhatTheTokenMakesAndSignsWith) {
    const auto sizes = [](const std::vector<HostMechanism>& mechanisms) {
        std::vector<std::uint32_t> all;
        const RequestChoices choices(mechanisms);
        for (const CertRequestKeyInfo& choice : choices.list())
            all.insert(all.end(), choice.keyBits.begin(), choice.keyBits.end());
        return all;
    };
    const HostMechanism ecdsa{CKM_ECDSA}, rsa{CKM_RSA_PKCS};
    EXPECT_THAT(sizes({{CKM_EC_KEY_PAIR_GEN, 256, 384}, ecdsa}), ElementsAre(256U, 384U));
    EXPECT_THAT(sizes({{CKM_EC_KEY_PAIR_GEN, 257, 520}, ecdsa}), ElementsAre(384U));
    EXPECT_THAT(sizes({{CKM_EC_KEY_PAIR_GEN, 0, 0}, ecdsa}), ElementsAre(256U, 384U, 521U)) << "it does not say";
    EXPECT_THAT(sizes({{CKM_EC_KEY_PAIR_GEN, 256, 521}, rsa}), IsEmpty());
    EXPECT_THAT(sizes({{CKM_RSA_PKCS_KEY_PAIR_GEN, 1024, 3072}, rsa}), ElementsAre(2048U, 3072U));
    EXPECT_THAT(sizes({ecdsa, rsa}), IsEmpty()) << "it makes none";
}

// ---- listings

TEST(AListing, ThatIsIncompleteIsRefusedToFrontEndsThatReadNoRemarks) {
    const std::vector<UnseenTokens> unseen{{{remark(vocabulary::Refused::incomplete, "the tokens can't be read")}}};
    bridge::server::Session session{.version = bridge::remarksSince};
    Call call{.session = session, .byAdministrator = false, .in = CommandStreamIn("", 0)};
    tellUnseen(call, unseen);
    EXPECT_EQ(call.remarks, unseen[0].why);
    session.version = bridge::remarksSince - 1;
    EXPECT_THROW(tellUnseen(call, unseen), RefusedError);
    EXPECT_NO_THROW(tellUnseen(call, {}));
}

// ---- files

ParseResult parsed(const std::string& content, const std::string& password = {}) {
    try {
        parseFile(content, platform::Secret(password));
        return ParseResult::parsed;
    } catch (const ParseError& error) {
        return error.result;
    }
}

TEST(TheChainInAFile, ConsistsOfTheCertificatesThatSignedEachOther) {
    const Identity middle = makeAuthority("Middle", &root), impostor = makeAuthority("Middle", &root);
    const Identity leaf = makeUser("leaf", middle);
    const ParsedFile file = parseFile(leaf.der + impostor.der + root.der + middle.der, {});
    EXPECT_THAT(file.issuersOf(0), ElementsAre(3U, 2U));
    EXPECT_THAT(file.issuersOf(0, 1), ElementsAre(3U));

    // Two authorities that have certified each other.
    const Key one = ecKey(), two = ecKey();
    const auto certified = [](const char* subject, const Key& key, const char* by, const Key& issuersKey) {
        const CertificateSpec spec{.subject = {{"CN", subject}}, .extensions = authorityExtensions()};
        const Identity issuer =
            makeCertificate({.subject = {{"CN", by}}, .extensions = authorityExtensions()}, issuersKey);
        return makeCertificate(spec, key, &issuer).der;
    };
    const ParsedFile crossed = parseFile(certified("One", one, "Two", two) + certified("Two", two, "One", one), {});
    EXPECT_THAT(crossed.issuersOf(0), ElementsAre(1U)) << "not itself once more";
}

// Otherwise a file of thousands with one name would take hours.
TEST(TheChainInAFile, IsSearchedAmongALimitedNumberOfOneName) {
    const Identity middle = makeAuthority("Middle", &root);
    std::string content = makeUser("leaf", middle).der;
    for (int i = 0; i < 7; ++i) content += makeAuthority("Middle", &root).der;
    EXPECT_THAT(parseFile(content + middle.der, {}).issuersOf(0), ElementsAre(8U));
    content += makeAuthority("Middle", &root).der;
    EXPECT_THAT(parseFile(content + middle.der, {}).issuersOf(0), IsEmpty());
}

TEST(AKeyInAFile, BelongsToTheCertificateThatHasItsPublicHalf) {
    const Identity first = makeUser("first", root), second = makeUser("second", root);
    const ParsedFile file = parseFile(keyPem(second.key) + pem(first.der) + pem(second.der), {});
    EXPECT_FALSE(file.certificates.at(0).key);
    EXPECT_TRUE(file.certificates.at(1).key);
}

TEST(AFile, OpensWithItsPasswordAndWithNoOther) {
    const Identity user = makeUser("user", root);
    const BioHandle bio = collectingBio();
    PEM_write_bio_PrivateKey_traditional(bio.get(), user.key.get(), EVP_aes_128_cbc(),
                                         reinterpret_cast<const unsigned char*>("secret"), 6, nullptr, nullptr);
    const std::string old = takenText(bio) + pem(user.der);
    EXPECT_EQ(parsed(old, "secret"), ParseResult::parsed);
    // The padding of one in 256 is right by chance.
    for (int i = 0; i < 2000; ++i)
        ASSERT_EQ(parsed(old, "wrong " + std::to_string(i)), ParseResult::passwordWrong) << i;
    EXPECT_EQ(parsed(old, std::string(100'000, 'x')), ParseResult::passwordWrong);
    EXPECT_EQ(parsed(pem(root.der) + "-----BEGIN CERTIFICATE-----\nAAAA\n" + pem(user.der)), ParseResult::unknownFormat)
        << "not only what is before the damage";

    const CertificateHandle certificate = certificateFrom(user.der);
    const Pkcs12Handle without(
        PKCS12_create(nullptr, nullptr, user.key.get(), certificate.get(), nullptr, 0, 0, 2048, 1, 0));
    EXPECT_EQ(parsed(derOf(without.get(), i2d_PKCS12)), ParseResult::parsed) << "none instead of an empty one";
}

// A PKCS#12 whose bags are within bags.
std::string nested(int depth) {
    const auto wrapped = [](char tag, const std::string& content) {
        const std::size_t size = content.size();
        std::string length(1, static_cast<char>(size));
        if (size > 127) length = {'\x82', static_cast<char>(size >> 8U), static_cast<char>(size)};
        return tag + length + content;
    };
    const std::string safeContents("\x06\x0B\x2A\x86\x48\x86\xF7\x0D\x01\x0C\x0A\x01\x06", 13);
    const std::string data("\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01", 11);
    const auto dataOf = [&](const std::string& content) {
        return wrapped('\x30', data + wrapped('\xA0', wrapped('\x04', content)));
    };
    std::string bags = wrapped('\x30', "");
    for (int i = 0; i < depth; ++i) bags = wrapped('\x30', wrapped('\x30', safeContents + wrapped('\xA0', bags)));
    return wrapped('\x30', std::string("\x02\x01\x03", 3) + dataOf(wrapped('\x30', dataOf(bags))));
}

TEST(AFile, IsRefusedWhenItsBagsAreNestedTooDeeply) {
    EXPECT_EQ(parsed(nested(8)), ParseResult::nothingUsable);
    EXPECT_EQ(parsed(nested(9)), ParseResult::tooCostly);
}

TEST(AFile, IsRefusedWhenItCostsMoreThanTheLimit) {
    const auto spends = [](const std::vector<std::uint64_t>& rounds) {
        ParseBudget budget;
        try {
            for (const std::uint64_t one : rounds) budget.spendRounds(one);
        } catch (const ParseError&) {
            return false;
        }
        return true;
    };
    EXPECT_TRUE(spends({5'000'000}));
    EXPECT_TRUE(spends({2'000'000, 3'000'000}));
    EXPECT_FALSE(spends({5'000'001}));
    EXPECT_FALSE(spends({3'000'000, 3'000'000})) << "all derivations together";

    ParseBudget objects;
    for (int i = 0; i < 5'000; ++i) objects.spendObject();
    EXPECT_THROW(objects.spendObject(), ParseError);
}

TEST(AFile, CostsTheDerivationOfItsMacAndOfEachOfItsKeys) {
    const Identity user = makeUser("user", root);
    const auto container = [&](int keyCipher, int keyRounds, int macRounds) {
        const Pkcs12Handle made(PKCS12_create("secret", nullptr, user.key.get(), certificateFrom(user.der).get(),
                                              nullptr, keyCipher, -1, keyRounds, macRounds, 0));
        return derOf(made.get(), i2d_PKCS12);
    };
    const std::string rounds("\x02\x03\x01\x00\x01", 5); // 65537, and then eight million
    for (std::string file :
         {container(0, 65537, -1), container(-1, 0, 65537), encryptedKey(user.key, "secret", 65537)}) {
        EXPECT_NE(parsed(file, "secret"), ParseResult::tooCostly);
        const std::size_t place = file.find(rounds);
        ASSERT_NE(place, std::string::npos);
        EXPECT_EQ(parsed(file.replace(place, rounds.size(), "\x02\x03\x7F\xFF\xFF"), "secret"), ParseResult::tooCostly);
    }
}

// What scrypt is asked for; the numbers may be larger than 64 bits hold.
std::unique_ptr<X509_ALGOR, Release<X509_ALGOR_free>> scrypt(int costBits, int blockBits) {
    const auto powerOfTwo = [](int bits) {
        const std::unique_ptr<BIGNUM, Release<BN_free>> number(BN_new());
        BN_set_bit(number.get(), bits);
        return BN_to_ASN1_INTEGER(number.get(), nullptr);
    };
    const std::unique_ptr<SCRYPT_PARAMS, Release<SCRYPT_PARAMS_free>> numbers(SCRYPT_PARAMS_new());
    const auto put = [](ASN1_INTEGER*& into, ASN1_INTEGER* value) {
        ASN1_INTEGER_free(into);
        into = value;
    };
    ASN1_OCTET_STRING_set(numbers->salt, reinterpret_cast<const unsigned char*>("salt"), 4);
    put(numbers->costParameter, powerOfTwo(costBits));
    put(numbers->blockSize, powerOfTwo(blockBits));
    put(numbers->parallelizationParameter, powerOfTwo(0));
    const std::unique_ptr<PBE2PARAM, Release<PBE2PARAM_free>> scheme(PBE2PARAM_new());
    scheme->keyfunc->algorithm = OBJ_nid2obj(NID_id_scrypt);
    ASN1_TYPE_pack_sequence(ASN1_ITEM_rptr(SCRYPT_PARAMS), numbers.get(), &scheme->keyfunc->parameter);
    scheme->encryption->algorithm = OBJ_nid2obj(NID_aes_256_cbc);
    std::unique_ptr<X509_ALGOR, Release<X509_ALGOR_free>> algorithm(X509_ALGOR_new());
    algorithm->algorithm = OBJ_nid2obj(NID_pbes2);
    ASN1_TYPE_pack_sequence(ASN1_ITEM_rptr(PBE2PARAM), scheme.get(), &algorithm->parameter);
    return algorithm;
}

TEST(AFile, CostsMuchWhenItsNumbersAreTooLargeToBeMultiplied) {
    EXPECT_NO_THROW(ParseBudget().spendDerivation(scrypt(14, 3).get()));
    for (const auto& [cost, block] : {std::pair(30, 3), std::pair(32, 32), std::pair(63, 1), std::pair(70, 0)}) {
        EXPECT_THROW(ParseBudget().spendDerivation(scrypt(cost, block).get()), ParseError) << cost << ' ' << block;
    }
}

// ---- export

TEST(AnExport, IsOfAFormatAndAPasswordThatFit) {
    const auto wish = [](CertExport format, const std::string& password, bool withKey, bool withChain = false) {
        return checkWish({format, platform::Secret(password), withChain, withKey}).result;
    };
    constexpr auto good = ExportCert::exported, format = ExportCert::formatUnfit, password = ExportCert::passwordUnfit;
    EXPECT_EQ(wish(CertExport::pkcs12, std::string(1024, 'x'), true), good);
    EXPECT_EQ(wish(CertExport::pkcs12, std::string(1025, 'x'), true), password);
    EXPECT_EQ(wish(CertExport::pkcs12, std::string("a\0b", 3), true), password);
    EXPECT_EQ(wish(CertExport::pkcs12, "\xFF", true), password);
    EXPECT_EQ(wish(CertExport::pkcs12, "", true), password) << "a key is not exported without one";
    EXPECT_EQ(wish(CertExport::pkcs12, "", false), good);
    EXPECT_EQ(wish(CertExport::pem, "x", false), password);
    EXPECT_EQ(wish(CertExport::pem, "x", true), format);
    EXPECT_EQ(wish(CertExport::der, "", false, true), format);
    EXPECT_EQ(wish(static_cast<CertExport>(5), "", false), format);
}

TEST(PlainText, HasNoControlCharactersAndIsUtf8) {
    EXPECT_EQ(plainCharacters("Büro 1~"), 7U);
    EXPECT_EQ(plainCharacters(""), 0U);
    for (const char* text : {"a\x1F", "\x7F", "\xC2\x80", "\xC2\x9F", "\xFF", "\xC3"})
        EXPECT_FALSE(plainCharacters(text));
    EXPECT_EQ(plainCharacters("\xC2\xA0"), 1U) << "the first after them";
}

} // namespace
