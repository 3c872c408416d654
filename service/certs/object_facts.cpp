// SPDX-License-Identifier: MIT
#include <service/certs/object_facts.h>

#include <service/base/limits.h>
#include <service/certs/key_usages.h>
#include <service/certs/x509_text.h>

#include <platform/text/ascii.h>
#include <vocabulary/certs.h>

#include <openssl/core_names.h>
#include <openssl/err.h>

#include <algorithm>

namespace panelkitd {

namespace {

// More would use megabytes for tokens that were removed long ago.
constexpr std::size_t mostCertificates = 20'000;

std::uint32_t keyTypeOf(int algorithm) {
    switch (algorithm) {
    case NID_rsaEncryption:
    case NID_rsassaPss: return vocabulary::keyType::rsa;
    case NID_dsa: return vocabulary::keyType::dsa;
    case NID_X9_62_id_ecPublicKey: return vocabulary::keyType::ec;
    case NID_ED25519:
    case NID_ED448: return vocabulary::keyType::edwards;
    default: return vocabulary::keyType::unknown;
    }
}

std::string rsaModulus(const EVP_PKEY* key) {
    BIGNUM* modulus = nullptr;
    if (!EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_N, &modulus)) return {};
    std::string bytes(static_cast<std::size_t>(BN_num_bytes(modulus)), '\0');
    BN_bn2bin(modulus, reinterpret_cast<unsigned char*>(bytes.data()));
    BN_free(modulus);
    return bytes;
}

void readKey(const X509* certificate, CertificateFacts& facts) {
    ASN1_OBJECT* algorithm = nullptr;
    const unsigned char* bits = nullptr;
    int size = 0;
    X509_PUBKEY_get0_param(&algorithm, &bits, &size, nullptr, X509_get_X509_PUBKEY(certificate));
    const std::string point(reinterpret_cast<const char*>(bits), static_cast<std::size_t>(size));
    facts.info.keyType = keyTypeOf(OBJ_obj2nid(algorithm));
    facts.keyId = sha1(point);
    const EVP_PKEY* key = X509_get0_pubkey(certificate);
    if (key) facts.info.keyBits = static_cast<std::uint32_t>(std::max(0, EVP_PKEY_get_bits(key)));
    const bool isRsa = facts.info.keyType == vocabulary::keyType::rsa;
    facts.publicKey = isRsa && key ? rsaModulus(key) : point;
}

std::string rawBytes(const ASN1_OCTET_STRING* string) {
    if (!string) return {};
    return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(string)),
            static_cast<std::size_t>(ASN1_STRING_length(string))};
}

void readNames(X509* certificate, CertificateFacts& facts) {
    const X509_NAME* subject = X509_get_subject_name(certificate);
    const X509_NAME* issuer = X509_get_issuer_name(certificate);
    facts.info.subject = nameText(subject);
    facts.info.issuer = nameText(issuer);
    facts.info.serialNumber = numberText(X509_get0_serialNumber(certificate));
    facts.shortName = shortName(subject);
    facts.subject = derOf(subject, i2d_X509_NAME);
    facts.issuer = derOf(issuer, i2d_X509_NAME);
    facts.serial = derOf(X509_get0_serialNumber(certificate), i2d_ASN1_INTEGER);
    facts.authorityKeyId = rawBytes(X509_get0_authority_key_id(certificate));
    if (X509_NAME_cmp(subject, issuer) == 0) facts.info.flags |= vocabulary::certFlag::selfIssued;
}

std::string crlKeyId(const X509_CRL* crl) {
    const std::unique_ptr<AUTHORITY_KEYID, Release<AUTHORITY_KEYID_free>> id(
        static_cast<AUTHORITY_KEYID*>(X509_CRL_get_ext_d2i(crl, NID_authority_key_identifier, nullptr, nullptr)));
    return id ? rawBytes(id->keyid) : std::string();
}

// The bytes of an extension of a CRL; empty when it has none.
std::string crlExtension(const X509_CRL* crl, int kind) {
    const int place = X509_CRL_get_ext_by_NID(crl, kind, -1);
    return place < 0 ? std::string() : rawBytes(X509_EXTENSION_get_data(X509_CRL_get_ext(crl, place)));
}

std::string crlNumber(const X509_CRL* crl) {
    const std::unique_ptr<ASN1_INTEGER, Release<ASN1_INTEGER_free>> number(
        static_cast<ASN1_INTEGER*>(X509_CRL_get_ext_d2i(crl, NID_crl_number, nullptr, nullptr)));
    return number ? numberText(number.get()) : std::string();
}

} // namespace

CertificateFacts readCertificateFacts(const std::string& der) {
    CertificateFacts facts;
    facts.info.fingerprint = platform::hexText(sha256(der));
    facts.info.state = static_cast<std::uint32_t>(vocabulary::CertState::unreadable);
    facts.info.keyType = vocabulary::keyType::unknown;
    const CertificateHandle certificate = certificateFrom(der);
    if (!certificate) return facts;
    const auto notBefore = secondsOf(X509_get0_notBefore(certificate.get()));
    const auto notAfter = secondsOf(X509_get0_notAfter(certificate.get()));
    if (!notBefore || !notAfter) return facts;
    facts.readable = true;
    facts.info.notBefore = *notBefore;
    facts.info.notAfter = *notAfter;
    facts.info.state = static_cast<std::uint32_t>(vocabulary::CertState::valid);
    readNames(certificate.get(), facts);
    readKey(certificate.get(), facts);
    facts.info.keyUsage = keyUsageBits(certificate.get());
    if (X509_check_ca(certificate.get()) == 1) facts.info.flags |= vocabulary::certFlag::authority;
    return facts;
}

CrlFacts readCrlFacts(const std::string& der) {
    CrlFacts facts;
    facts.info.fingerprint = platform::hexText(sha256(der));
    facts.crl = crlFrom(der);
    const auto thisUpdate = facts.crl ? secondsOf(X509_CRL_get0_lastUpdate(facts.crl.get())) : std::nullopt;
    if (!thisUpdate) return facts;
    const X509_CRL* crl = facts.crl.get();
    facts.readable = true;
    facts.info.issuer = nameText(X509_CRL_get_issuer(crl));
    facts.info.number = crlNumber(crl);
    facts.info.thisUpdate = *thisUpdate;
    facts.info.nextUpdate = secondsOf(X509_CRL_get0_nextUpdate(crl)).value_or(0);
    const int revoked = sk_X509_REVOKED_num(X509_CRL_get_REVOKED(facts.crl.get()));
    facts.info.revokedCount = static_cast<std::uint32_t>(std::max(0, revoked));
    facts.issuer = derOf(X509_CRL_get_issuer(crl), i2d_X509_NAME);
    facts.authorityKeyId = crlKeyId(crl);
    facts.info.authorityKeyId = platform::hexText(facts.authorityKeyId);
    facts.scope = facts.issuer + '\0' + facts.authorityKeyId + '\0' +
                  crlExtension(crl, NID_issuing_distribution_point) + '\0' +
                  (X509_CRL_get_ext_by_NID(crl, NID_delta_crl, -1) >= 0 ? "delta" : "whole");
    return facts;
}

std::uint64_t CrlFacts::revokedAt(const CertificateFacts& certificate) const {
    const bool differentKeys =
        !authorityKeyId.empty() && !certificate.authorityKeyId.empty() && authorityKeyId != certificate.authorityKeyId;
    if (!readable || issuer != certificate.issuer || differentKeys) return 0;
    std::string_view der = certificate.serial;
    using Number = std::unique_ptr<ASN1_INTEGER, Release<ASN1_INTEGER_free>>;
    const Number serial = readDer<Number>(der, d2i_ASN1_INTEGER);
    X509_REVOKED* entry = nullptr;
    // 2 means an entry that ends a hold.
    if (!serial || X509_CRL_get0_by_serial(crl.get(), &entry, serial.get()) != 1) return 0;
    return std::max<std::uint64_t>(1, secondsOf(X509_REVOKED_get0_revocationDate(entry)).value_or(1));
}

CertificateFactsPtr FactsCache::certificate(const std::string& der) {
    const std::string key = sha256(der);
    {
        const auto known = certificates_.lock();
        const auto found = known->find(key);
        if (found != known->end()) return found->second;
    }
    auto facts = std::make_shared<const CertificateFacts>(readCertificateFacts(der));
    keep(der, facts);
    return facts;
}

void FactsCache::keep(const std::string& der, CertificateFactsPtr facts) {
    const auto known = certificates_.lock();
    if (known->size() >= mostCertificates) known->clear();
    (*known)[sha256(der)] = std::move(facts);
}

CrlFactsPtr FactsCache::crl(const std::string& der) {
    const std::string key = sha256(der);
    {
        const auto known = crls_.lock();
        const auto found = known->facts.find(key);
        if (found != known->facts.end()) return found->second;
    }
    auto facts = std::make_shared<const CrlFacts>(readCrlFacts(der));
    if (der.size() > limits::cachedCrlBytes) return facts;
    const auto known = crls_.lock();
    if (known->bytes + der.size() > limits::cachedCrlBytes) *known = {};
    if (known->facts.emplace(key, facts).second) known->bytes += der.size();
    return facts;
}

bool FactsCache::isSelfSigned(const std::string& der, const CertificateFacts& facts) {
    if (!facts.readable || !(facts.info.flags & vocabulary::certFlag::selfIssued)) return false;
    {
        const auto known = selfSigned_.lock();
        const auto found = known->find(facts.info.fingerprint);
        if (found != known->end()) return found->second;
    }
    const bool itIs = X509_self_signed(certificateFrom(der).get(), 1) == 1;
    ERR_clear_error();
    const auto known = selfSigned_.lock();
    if (known->size() >= mostCertificates) known->clear();
    return (*known)[facts.info.fingerprint] = itIs;
}

void FactsCache::clear() {
    certificates_.lock()->clear();
    selfSigned_.lock()->clear();
    *crls_.lock() = {};
}

} // namespace panelkitd
