// SPDX-License-Identifier: MIT
#include <service/certs/verification_purposes.h>

#include <service/certs/key_usages.h>
#include <service/certs/openssl_handles.h>
#include <service/certs/x509_text.h>

#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

namespace panelkitd {

using Loc::N_;
using vocabulary::Refused;
using vocabulary::VerifyPurpose;
namespace verifyFlag = vocabulary::verifyFlag;

namespace {

// clang-format off
constexpr std::array purposes = {
    PurposeRow{VerifyPurpose::any,       0,                       0,               N_("\"%s\" must not be used for anything")},
    PurposeRow{VerifyPurpose::ikePeer,   0,                       NID_ipsec_IKE,   N_("\"%s\" must not be used for an IKE peer")},
    PurposeRow{VerifyPurpose::tlsServer, X509_PURPOSE_SSL_SERVER, NID_server_auth, N_("\"%s\" must not be used for a TLS server")},
    PurposeRow{VerifyPurpose::tlsClient, X509_PURPOSE_SSL_CLIENT, NID_client_auth, N_("\"%s\" must not be used for a TLS client")},
    PurposeRow{VerifyPurpose::authority, 0,                       0,               N_("\"%s\" must not be used for an authority")},
};
// clang-format on

using ExtendedUsages = std::unique_ptr<EXTENDED_KEY_USAGE, Release<EXTENDED_KEY_USAGE_free>>;

// Without the extension, every use is allowed.
bool lacksExtendedUsage(X509* certificate, int wanted) {
    if (wanted == 0 || !(X509_get_extension_flags(certificate) & EXFLAG_XKUSAGE)) return false;
    if (X509_get_extended_key_usage(certificate) & XKU_ANYEKU) return false;
    const ExtendedUsages extended(
        static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
    for (int i = 0; extended && i < sk_ASN1_OBJECT_num(extended.get()); ++i) {
        if (OBJ_obj2nid(sk_ASN1_OBJECT_value(extended.get(), i)) == wanted) return false;
    }
    return true;
}

} // namespace

const PurposeRow& purposeOf(std::uint32_t how) {
    const auto wanted = static_cast<VerifyPurpose>(how & verifyFlag::purposeMask);
    const auto row = std::find_if(purposes.begin(), purposes.end(),
                                  [&](const PurposeRow& candidate) { return candidate.purpose == wanted; });
    const std::uint32_t known = verifyFlag::purposeMask | verifyFlag::crlRequired | verifyFlag::noRevocation;
    const bool both = (how & verifyFlag::crlRequired) && (how & verifyFlag::noRevocation);
    if (row == purposes.end() || (how & ~known) || both) {
        throw RefusedError(Refused::badInput, "there is no way to verify with the number %d", how);
    }
    return *row;
}

bool fits(X509* certificate, const PurposeRow& row) {
    const std::uint32_t usage = X509_get_key_usage(certificate); // all bits when it has none
    switch (row.purpose) {
    case VerifyPurpose::authority: return X509_check_ca(certificate) > 0 && (usage & KU_KEY_CERT_SIGN);
    case VerifyPurpose::ikePeer:
        return (usage & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION)) && !lacksExtendedUsage(certificate, NID_ipsec_IKE);
    default: return true;
    }
}

Remarks unfitness(X509* certificate, const PurposeRow& row) {
    Remarks why{remark(Refused::notVerified, row.ifUnfit, nameText(X509_get_subject_name(certificate)))};
    const std::string extended = extendedKeyUsageValue(keyUsageBits(certificate));
    if (lacksExtendedUsage(certificate, row.extendedUsage)) {
        const char* const wanted = OBJ_nid2sn(row.extendedUsage);
        why.push_back(extended.empty()
                          ? remark(Refused::notVerified, "The extended key usage \"%s\" is missing", wanted)
                          : remark(Refused::notVerified,
                                   "The extended key usage \"%s\" is missing; the certificate has %s", wanted,
                                   extended));
    } else if (row.purpose == VerifyPurpose::ikePeer) {
        why.push_back(remark(Refused::notVerified, "Its key usage does not allow signatures"));
    }
    return why;
}

} // namespace panelkitd
