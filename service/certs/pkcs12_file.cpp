// SPDX-License-Identifier: MIT
//
// Reads PKCS#12 step by step, so that the cost of each derivation is known before it is done, and so that a file may
// have CRLs and several keys.
#include <service/certs/parsed_file.h>

#include <service/modules/cryptoki.h>

#include <openssl/provider.h>

namespace panelkitd {

using vocabulary::ParseResult;

namespace {

constexpr int deepest = 8; // bags within bags

using ProviderHandle = std::unique_ptr<OSSL_PROVIDER, Release<OSSL_PROVIDER_unload>>;

// Files of older systems are encrypted with RC2, which is in a provider that OpenSSL does not load by default. After
// loading it, the default provider must be loaded explicitly too.
void loadOldCiphers() {
    static const ProviderHandle usual(OSSL_PROVIDER_load(nullptr, "default"));
    static const ProviderHandle old(OSSL_PROVIDER_load(nullptr, "legacy"));
}

// Without a password, some programs encrypt with an empty one and others with none.
struct Password {
    const char* text;
    int size;
};

Password checkedPassword(PKCS12* container, FileCollector& into) {
    const Password given{into.password().c_str(), static_cast<int>(into.password().size())};
    if (!PKCS12_mac_present(container)) return given;
    const ASN1_INTEGER* rounds = nullptr;
    PKCS12_get0_mac(nullptr, nullptr, nullptr, &rounds, container);
    std::uint64_t count = 1;
    if (rounds && ASN1_INTEGER_get_uint64(&count, rounds) != 1) count = UINT64_MAX;
    into.budget().spendRounds(count);
    if (PKCS12_verify_mac(container, given.text, given.size)) return given;
    if (given.size == 0 && PKCS12_verify_mac(container, nullptr, 0)) return {nullptr, 0};
    throw ParseError(ParseResult::passwordWrong, "the password does not open the file");
}

void takeBags(const STACK_OF(PKCS12_SAFEBAG) * bags, const Password& password, FileCollector& into, int depth);

std::string nameOf(PKCS12_SAFEBAG* bag) {
    char* text = PKCS12_get_friendlyname(bag);
    std::string name = text ? utf8Only(text) : "";
    OPENSSL_free(text);
    return name;
}

void takeShroudedKey(const PKCS12_SAFEBAG* bag, const Password& password, FileCollector& into) {
    const X509_SIG* key = PKCS12_SAFEBAG_get0_pkcs8(bag);
    const X509_ALGOR* algorithm = nullptr;
    X509_SIG_get0(key, &algorithm, nullptr);
    into.budget().spendDerivation(algorithm);
    const std::unique_ptr<PKCS8_PRIV_KEY_INFO, Release<PKCS8_PRIV_KEY_INFO_free>> info(
        PKCS8_decrypt(key, password.text, password.size));
    if (!info) throw ParseError(ParseResult::passwordWrong, "the password does not open its private key");
    into.addKey(KeyHandle(EVP_PKCS82PKEY(info.get())));
}

void takeBag(PKCS12_SAFEBAG* bag, const Password& password, FileCollector& into, int depth) {
    switch (PKCS12_SAFEBAG_get_nid(bag)) {
    case NID_keyBag: into.addKey(KeyHandle(EVP_PKCS82PKEY(PKCS12_SAFEBAG_get0_p8inf(bag)))); break;
    case NID_pkcs8ShroudedKeyBag: takeShroudedKey(bag, password, into); break;
    case NID_certBag:
        if (PKCS12_SAFEBAG_get_bag_nid(bag) == NID_x509Certificate) {
            const CertificateHandle certificate(PKCS12_SAFEBAG_get1_cert(bag));
            into.addCertificate(derOf(certificate.get(), i2d_X509), nameOf(bag));
        }
        break;
    case NID_crlBag:
        if (PKCS12_SAFEBAG_get_bag_nid(bag) == NID_x509Crl) {
            const CrlHandle crl(PKCS12_SAFEBAG_get1_crl(bag));
            into.addCrl(derOf(crl.get(), i2d_X509_CRL));
        }
        break;
    case NID_safeContentsBag: takeBags(PKCS12_SAFEBAG_get0_safes(bag), password, into, depth + 1); break;
    default: break; // secrets of other programs
    }
}

void takeBags(const STACK_OF(PKCS12_SAFEBAG) * bags, const Password& password, FileCollector& into, int depth) {
    if (depth > deepest) throw ParseError(ParseResult::tooCostly, "its bags are nested too deep");
    for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
        takeBag(sk_PKCS12_SAFEBAG_value(bags, i), password, into, depth);
    }
}

void takeSafe(PKCS7* safe, const Password& password, FileCollector& into) {
    using Bags = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), Release<freeBags>>;
    Bags bags;
    if (PKCS7_type_is_data(safe)) {
        bags.reset(PKCS12_unpack_p7data(safe));
        if (!bags) throw ParseError(ParseResult::unknownFormat, "a part of it is damaged");
    } else if (PKCS7_type_is_encrypted(safe) && safe->d.encrypted && safe->d.encrypted->enc_data) {
        into.budget().spendDerivation(safe->d.encrypted->enc_data->algorithm);
        bags.reset(PKCS12_unpack_p7encdata(safe, password.text, password.size));
        if (!bags) throw ParseError(ParseResult::passwordWrong, "the password does not open a part of it");
    }
    if (bags) takeBags(bags.get(), password, into, 0);
}

} // namespace

void readPkcs12(PKCS12* container, FileCollector& into) {
    loadOldCiphers();
    const Password password = checkedPassword(container, into);
    const std::unique_ptr<STACK_OF(PKCS7), Release<freeSafes>> safes(PKCS12_unpack_authsafes(container));
    if (!safes) throw ParseError(ParseResult::unknownFormat, "it is a damaged PKCS#12, or one sealed by a public key");
    for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i) takeSafe(sk_PKCS7_value(safes.get(), i), password, into);
}

} // namespace panelkitd
