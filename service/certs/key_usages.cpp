// SPDX-License-Identifier: MIT
#include <service/certs/key_usages.h>

#include <service/certs/openssl_handles.h>

#include <vocabulary/certs.h>

#include <array>

namespace panelkitd {

namespace {

namespace usage = vocabulary::keyUsage;

struct Usage {
    std::uint32_t bit;
    std::uint32_t flag; // KU_...
    const char* name;
};

struct ExtendedUsage {
    std::uint32_t bit;
    int object; // NID_...
    const char* name;
};

// clang-format off
constexpr std::array usages = {
    Usage{usage::digitalSignature, KU_DIGITAL_SIGNATURE, "digitalSignature"},
    Usage{usage::nonRepudiation,   KU_NON_REPUDIATION,   "nonRepudiation"},
    Usage{usage::keyEncipherment,  KU_KEY_ENCIPHERMENT,  "keyEncipherment"},
    Usage{usage::dataEncipherment, KU_DATA_ENCIPHERMENT, "dataEncipherment"},
    Usage{usage::keyAgreement,     KU_KEY_AGREEMENT,     "keyAgreement"},
    Usage{usage::keyCertSign,      KU_KEY_CERT_SIGN,     "keyCertSign"},
    Usage{usage::crlSign,          KU_CRL_SIGN,          "cRLSign"},
    Usage{usage::encipherOnly,     KU_ENCIPHER_ONLY,     "encipherOnly"},
    Usage{usage::decipherOnly,     KU_DECIPHER_ONLY,     "decipherOnly"},
};

constexpr std::array extendedUsages = {
    ExtendedUsage{usage::serverAuth,      NID_server_auth,   "serverAuth"},
    ExtendedUsage{usage::clientAuth,      NID_client_auth,   "clientAuth"},
    ExtendedUsage{usage::codeSigning,     NID_code_sign,     "codeSigning"},
    ExtendedUsage{usage::emailProtection, NID_email_protect, "emailProtection"},
    ExtendedUsage{usage::timeStamping,    NID_time_stamp,    "timeStamping"},
    ExtendedUsage{usage::ocspSigning,     NID_OCSP_sign,     "OCSPSigning"},
    ExtendedUsage{usage::ipsecIke,        NID_ipsec_IKE,     "ipsecIKE"},
};
// clang-format on

template <class Table>
std::string joined(const Table& table, std::uint32_t bits) {
    std::string value;
    for (const auto& row : table) {
        if (bits & row.bit) value += (value.empty() ? "" : ",") + std::string(row.name);
    }
    return value;
}

template <class Table>
std::uint32_t allBits(const Table& table) {
    std::uint32_t bits = 0;
    for (const auto& row : table) bits |= row.bit;
    return bits;
}

} // namespace

std::uint32_t keyUsageBits(X509* certificate) {
    std::uint32_t bits = 0;
    if (X509_get_extension_flags(certificate) & EXFLAG_KUSAGE) {
        const std::uint32_t allowed = X509_get_key_usage(certificate);
        for (const Usage& row : usages) bits |= allowed & row.flag ? row.bit : 0;
    }
    using Extended = std::unique_ptr<EXTENDED_KEY_USAGE, Release<EXTENDED_KEY_USAGE_free>>;
    const Extended extended(
        static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
    for (int i = 0; extended && i < sk_ASN1_OBJECT_num(extended.get()); ++i) {
        const int object = OBJ_obj2nid(sk_ASN1_OBJECT_value(extended.get(), i));
        for (const ExtendedUsage& row : extendedUsages) bits |= object == row.object ? row.bit : 0;
    }
    return bits;
}

std::string keyUsageValue(std::uint32_t bits) { return joined(usages, bits); }
std::string extendedKeyUsageValue(std::uint32_t bits) { return joined(extendedUsages, bits); }
bool areKeyUsages(std::uint32_t bits) { return (bits & ~(allBits(usages) | allBits(extendedUsages))) == 0; }

} // namespace panelkitd
