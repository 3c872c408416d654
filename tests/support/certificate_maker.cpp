// SPDX-License-Identifier: MIT
#include "certificate_maker.h"

#include <service/certs/openssl_handles.h>

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <stdexcept>

using namespace panelkitd;

namespace {

template <class T>
T* made(T* object, const char* what) {
    if (!object) throw std::runtime_error(std::string("this can't be made: ") + what);
    return object;
}

Key owned(EVP_PKEY* key) { return {made(key, "a key"), EVP_PKEY_free}; }

CertificateHandle parsed(const std::string& bytes) {
    CertificateHandle certificate = certificateFrom(bytes);
    made(certificate.get(), "a certificate");
    return certificate;
}

std::string utf16(const std::string& ascii) {
    std::string wide;
    for (const char c : ascii) wide += std::string(1, '\0') + c;
    return wide;
}

void addNames(const CertificateSpec& spec, X509_NAME* name) {
    for (const auto& [kind, value] : spec.subject) {
        const std::string bytes = spec.stringKind == V_ASN1_BMPSTRING ? utf16(value) : value;
        // With a kind of string given by number, OpenSSL takes the bytes unchanged.
        if (!X509_NAME_add_entry_by_txt(name, kind.c_str(), spec.stringKind,
                                        reinterpret_cast<const unsigned char*>(bytes.data()),
                                        static_cast<int>(bytes.size()), -1, 0)) {
            throw std::runtime_error("no such name: " + value);
        }
    }
}

void addExtensions(const CertificateSpec& spec, X509* certificate, X509* issuer) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    for (const auto& [name, value] : spec.extensions) {
        X509_EXTENSION* extension = made(X509V3_EXT_conf(nullptr, &context, name.c_str(), value.c_str()), name.c_str());
        X509_add_ext(certificate, extension, -1);
        X509_EXTENSION_free(extension);
    }
}

const EVP_MD* digestFor(const Key& key) {
    return EVP_PKEY_get_base_id(key.get()) == EVP_PKEY_ED25519 ? nullptr : EVP_sha256();
}

using RequestHandle = std::unique_ptr<X509_REQ, Release<X509_REQ_free>>;

RequestHandle verifiedRequest(const std::string& requestPem) {
    const BioHandle bio = readingBio(requestPem);
    RequestHandle request(made(PEM_read_bio_X509_REQ(bio.get(), nullptr, nullptr, nullptr), "a request"));
    EVP_PKEY* key = made(X509_REQ_get0_pubkey(request.get()), "a request's key");
    if (X509_REQ_verify(request.get(), key) != 1) throw std::runtime_error("the request's signature is wrong");
    return request;
}

} // namespace

Key rsaKey(unsigned bits) { return owned(EVP_RSA_gen(bits)); }
Key ecKey(const char* curve) { return owned(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", curve)); }
Key edwardsKey() { return owned(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519")); }
Key pssKey() {
    EVP_PKEY_CTX* const maker = EVP_PKEY_CTX_new_from_name(nullptr, "RSA-PSS", nullptr);
    EVP_PKEY* key = nullptr;
    if (EVP_PKEY_keygen_init(maker) == 1) EVP_PKEY_generate(maker, &key);
    EVP_PKEY_CTX_free(maker);
    return owned(key);
}

std::vector<std::pair<std::string, std::string>> authorityExtensions() {
    return {{"basicConstraints", "critical,CA:TRUE"},
            {"keyUsage", "critical,keyCertSign,cRLSign"},
            {"subjectKeyIdentifier", "hash"}};
}

Identity makeCertificate(const CertificateSpec& spec, const Key& key, const Identity* issuer) {
    const CertificateHandle certificate(X509_new());
    X509* self = certificate.get();
    X509_set_version(self, spec.version - 1);
    BIGNUM* number = nullptr;
    BN_dec2bn(&number, spec.serial.c_str());
    BN_to_ASN1_INTEGER(number, X509_get_serialNumber(self));
    BN_free(number);
    ASN1_TIME_set_string_X509(X509_getm_notBefore(self), spec.notBefore.c_str());
    ASN1_TIME_set_string_X509(X509_getm_notAfter(self), spec.notAfter.c_str());
    addNames(spec, X509_get_subject_name(self));
    X509_set_pubkey(self, key.get());
    const CertificateHandle parent = issuer ? parsed(issuer->der) : nullptr;
    X509_set_issuer_name(self, X509_get_subject_name(parent ? parent.get() : self));
    addExtensions(spec, self, parent ? parent.get() : self);
    const Key& signer = issuer ? issuer->key : key;
    if (X509_sign(self, signer.get(), digestFor(signer)) <= 0) throw std::runtime_error("signing failed");
    return {derOf(self, i2d_X509), key};
}

Identity makeAuthority(const std::string& name, const Identity* issuer) {
    return makeCertificate({.subject = {{"CN", name}}, .serial = "100", .extensions = authorityExtensions()}, ecKey(),
                           issuer);
}

Identity makeUser(const std::string& name, const Identity& issuer) {
    static long serial = 1000;
    return makeCertificate(
        {.subject = {{"CN", name}},
         .serial = std::to_string(++serial),
         .extensions = {{"keyUsage", "critical,digitalSignature"}, {"subjectAltName", "DNS:" + name + ".example"}}},
        ecKey(), &issuer);
}

std::string makeCrl(const CrlSpec& spec, const Identity& issuer) {
    const CrlHandle crl(X509_CRL_new());
    X509_CRL_set_version(crl.get(), 1);
    const CertificateHandle parent = parsed(issuer.der);
    X509_CRL_set_issuer_name(crl.get(), X509_get_subject_name(parent.get()));
    ASN1_TIME* time = ASN1_TIME_new();
    ASN1_TIME_set_string_X509(time, spec.thisUpdate.c_str());
    X509_CRL_set1_lastUpdate(crl.get(), time);
    ASN1_INTEGER* number = ASN1_INTEGER_new();
    const auto add = [&](long serial, long reason) {
        X509_REVOKED* entry = X509_REVOKED_new();
        ASN1_INTEGER_set(number, serial);
        X509_REVOKED_set_serialNumber(entry, number);
        X509_REVOKED_set_revocationDate(entry, time);
        if (reason != 0) {
            ASN1_ENUMERATED* value = ASN1_ENUMERATED_new();
            ASN1_ENUMERATED_set(value, reason);
            X509_REVOKED_add1_ext_i2d(entry, NID_crl_reason, value, 0, 0);
            ASN1_ENUMERATED_free(value);
        }
        X509_CRL_add0_revoked(crl.get(), entry);
    };
    for (const long serial : spec.revoked) add(serial, 0);
    for (const long serial : spec.released) add(serial, CRL_REASON_REMOVE_FROM_CRL);
    ASN1_TIME_set_string_X509(time, spec.nextUpdate.c_str());
    X509_CRL_set1_nextUpdate(crl.get(), time);
    ASN1_INTEGER_set(number, spec.number);
    X509_CRL_add1_ext_i2d(crl.get(), NID_crl_number, number, 0, 0);
    X509V3_CTX context;
    X509V3_set_ctx(&context, parent.get(), nullptr, nullptr, crl.get(), 0);
    for (const auto& [name, value] : spec.extensions) {
        X509_EXTENSION* extension = made(X509V3_EXT_conf(nullptr, &context, name.c_str(), value.c_str()), name.c_str());
        X509_CRL_add_ext(crl.get(), extension, -1);
        X509_EXTENSION_free(extension);
    }
    ASN1_INTEGER_free(number);
    ASN1_TIME_free(time);
    X509_CRL_sort(crl.get());
    X509_CRL_sign(crl.get(), issuer.key.get(), digestFor(issuer.key));
    return derOf(crl.get(), i2d_X509_CRL);
}

std::string pkcs12(const Identity& identity, const std::vector<std::string>& others, const std::string& password,
                   int rounds, const std::string& name) {
    const CertificatesHandle chain(sk_X509_new_null());
    for (const std::string& other : others) sk_X509_push(chain.get(), parsed(other).release());
    const Pkcs12Handle container(made(PKCS12_create(password.c_str(), name.c_str(), identity.key.get(),
                                                    parsed(identity.der).get(), chain.get(), 0, 0, rounds, rounds, 0),
                                      "PKCS#12"));
    return derOf(container.get(), i2d_PKCS12);
}

std::string pkcs7(const std::vector<std::string>& certificates) {
    const Pkcs7Handle container(PKCS7_new());
    PKCS7_set_type(container.get(), NID_pkcs7_signed);
    PKCS7_content_new(container.get(), NID_pkcs7_data);
    for (const std::string& one : certificates) PKCS7_add_certificate(container.get(), parsed(one).get());
    return derOf(container.get(), i2d_PKCS7);
}

std::string pem(const std::string& bytes, const char* name) {
    const BioHandle bio = collectingBio();
    PEM_write_bio(bio.get(), name, "", reinterpret_cast<const unsigned char*>(bytes.data()),
                  static_cast<long>(bytes.size()));
    return takenText(bio);
}

std::string keyPem(const Key& key, const std::string& password) {
    const BioHandle bio = collectingBio();
    const EVP_CIPHER* cipher = password.empty() ? nullptr : EVP_aes_256_cbc();
    PEM_write_bio_PKCS8PrivateKey(bio.get(), key.get(), cipher, password.data(), static_cast<int>(password.size()),
                                  nullptr, nullptr);
    return takenText(bio);
}

std::string requestText(const std::string& requestPem) {
    const BioHandle bio = collectingBio();
    X509_REQ_print(bio.get(), verifiedRequest(requestPem).get());
    return takenText(bio);
}

std::string answerRequest(const std::string& requestPem, const Identity& issuer) {
    const RequestHandle request = verifiedRequest(requestPem);
    EVP_PKEY* key = X509_REQ_get0_pubkey(request.get());
    const CertificateHandle certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 77);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 86'400);
    X509_set_subject_name(certificate.get(), X509_REQ_get_subject_name(request.get()));
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(parsed(issuer.der).get()));
    X509_set_pubkey(certificate.get(), key);
    X509_sign(certificate.get(), issuer.key.get(), digestFor(issuer.key));
    return derOf(certificate.get(), i2d_X509);
}

std::vector<std::string> certificatesOf(const std::string& pemText) {
    const BioHandle bio = readingBio(pemText);
    std::vector<std::string> list;
    while (const CertificateHandle one{PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr)}) {
        list.push_back(derOf(one.get(), i2d_X509));
    }
    return list;
}

std::string encryptedKey(const Key& key, const std::string& password, int rounds) {
    const std::unique_ptr<PKCS8_PRIV_KEY_INFO, Release<PKCS8_PRIV_KEY_INFO_free>> plain(EVP_PKEY2PKCS8(key.get()));
    const std::unique_ptr<X509_SIG, Release<X509_SIG_free>> encrypted(
        made(PKCS8_encrypt(-1, EVP_aes_256_cbc(), password.data(), static_cast<int>(password.size()), nullptr, 0,
                           rounds, plain.get()),
             "an encrypted key"));
    return derOf(encrypted.get(), i2d_X509_SIG);
}
