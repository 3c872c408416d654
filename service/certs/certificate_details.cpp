// SPDX-License-Identifier: MIT
#include <service/certs/certificate_details.h>

#include <service/certs/x509_text.h>
#include <service/modules/cryptoki.h>

#include <platform/text/ascii.h>

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>

#include <array>

namespace panelkitd {

namespace {

// OpenSSL prints several indented lines; a field is one line.
std::string onOneLine(const std::string& text) {
    std::string line;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::size_t first = std::min(text.find_first_not_of(' ', at), end);
        const std::string part = text.substr(first, end - first);
        at = end + 1;
        if (part.empty()) continue;
        if (!line.empty()) line += line.back() == ':' ? " " : ", ";
        line += part;
    }
    return utf8Only(line);
}

std::string rawValue(X509_EXTENSION* extension) { return hexText(X509_EXTENSION_get_data(extension)); }

std::string valueOf(X509_EXTENSION* extension) {
    const BioHandle bio = collectingBio();
    const bool known = X509V3_EXT_print(bio.get(), extension, 0, 0) == 1;
    ERR_clear_error();
    return known ? onOneLine(takenText(bio)) : rawValue(extension);
}

struct ExtensionRow {
    int kind;
    std::string CertExtentions::*field;
};

// clang-format off
constexpr std::array extensionRows = {
    ExtensionRow{NID_subject_alt_name,         &CertExtentions::subjectAlternativeNames},
    ExtensionRow{NID_issuer_alt_name,          &CertExtentions::issuerAlternativeNames},
    ExtensionRow{NID_basic_constraints,        &CertExtentions::basicConstraints},
    ExtensionRow{NID_key_usage,                &CertExtentions::keyUsage},
    ExtensionRow{NID_ext_key_usage,            &CertExtentions::extendedKeyUsage},
    ExtensionRow{NID_certificate_policies,     &CertExtentions::certificatePolicies},
    ExtensionRow{NID_crl_distribution_points,  &CertExtentions::crlDistributionPoints},
    ExtensionRow{NID_info_access,              &CertExtentions::authorityInfoAccess},
};
// clang-format on

void addExtensions(const X509* certificate, CertExtentions& details) {
    for (int i = 0; i < X509_get_ext_count(certificate); ++i) {
        X509_EXTENSION* extension = X509_get_ext(certificate, i);
        const ASN1_OBJECT* object = X509_EXTENSION_get_object(extension);
        std::string value = valueOf(extension);
        for (const ExtensionRow& row : extensionRows) {
            if (OBJ_obj2nid(object) == row.kind) details.*row.field = value;
        }
        if (X509_EXTENSION_get_critical(extension)) value = "critical, " + value;
        details.extensions.emplace_back(objectText(object), std::move(value));
    }
}

std::string rsaParameters(const EVP_PKEY* key) {
    BIGNUM* exponent = nullptr;
    EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_E, &exponent);
    char* digits = exponent ? BN_bn2dec(exponent) : nullptr;
    std::string text = ", exponent " + std::string(digits ? digits : "unknown");
    OPENSSL_free(digits);
    BN_free(exponent);
    return text;
}

std::string curveName(const EVP_PKEY* key) {
    std::array<char, 64> name{};
    if (EVP_PKEY_get_group_name(key, name.data(), name.size(), nullptr) != 1) return "a curve of its own";
    const char* common = EC_curve_nid2nist(OBJ_sn2nid(name.data()));
    return common ? common : name.data();
}

std::string keyParameters(const EVP_PKEY* key) {
    if (!key) return {};
    const std::string bits = std::to_string(EVP_PKEY_get_bits(key)) + " bits";
    switch (EVP_PKEY_get_base_id(key)) {
    case EVP_PKEY_RSA: return bits + rsaParameters(key);
    case EVP_PKEY_EC: return curveName(key);
    default: return bits;
    }
}

} // namespace

CertExtentions describeFully(const StoredCertificate& stored) {
    CertExtentions details;
    details.label = stored.label;
    details.keyId = platform::hexText(stored.id);
    details.sha1Fingerprint = platform::hexText(sha1(stored.der));
    const CertificateHandle certificate = certificateFrom(stored.der);
    if (!certificate) return details;
    details.version = std::to_string(X509_get_version(certificate.get()) + 1);
    const X509_ALGOR* signature = nullptr;
    X509_get0_signature(nullptr, &signature, certificate.get());
    details.signatureAlgorithm = objectText(signature->algorithm);
    ASN1_OBJECT* keyKind = nullptr;
    X509_PUBKEY_get0_param(&keyKind, nullptr, nullptr, nullptr, X509_get_X509_PUBKEY(certificate.get()));
    details.publicKeyAlgorithm = objectText(keyKind);
    details.publicKeyParameters = keyParameters(X509_get0_pubkey(certificate.get()));
    details.subjectKeyId = hexText(X509_get0_subject_key_id(certificate.get()));
    details.authorityKeyId = hexText(X509_get0_authority_key_id(certificate.get()));
    addExtensions(certificate.get(), details);
    return details;
}

std::string printed(const StoredCertificate& stored) {
    const CertificateHandle certificate = certificateFrom(stored.der);
    if (!certificate) return "The object is no X.509 certificate.\n";
    const BioHandle bio = collectingBio();
    X509_print_ex(bio.get(), certificate.get(), XN_FLAG_ONELINE & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB), 0);
    ERR_clear_error();
    return utf8Only(takenText(bio));
}

} // namespace panelkitd
