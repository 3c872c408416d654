// SPDX-License-Identifier: MIT
#include <service/certs/verification.h>

#include <service/base/refused.h>
#include <service/certs/x509_text.h>

#include <platform/system/clock.h>
#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <array>
#include <set>

namespace panelkitd {

using Loc::N_;
using vocabulary::Refused;
using vocabulary::VerifyPurpose;
namespace verifyFlag = vocabulary::verifyFlag;

namespace {

// ---- certificates and CRLs for the verification

// The certificates that can be in its chain: those with the issuer's name, and repeatedly their issuers.
std::vector<const StoredCertificate*> relatives(const Holdings& holdings, const StoredCertificate& first) {
    std::vector<const StoredCertificate*> found{&first};
    std::set<std::string> wanted;
    for (std::size_t i = 0; i < found.size(); ++i) {
        const std::string& name = found[i]->facts->issuer;
        if (!wanted.insert(name).second) continue;
        for (const TokenObjects& token : holdings.tokens()) {
            for (const StoredCertificate& candidate : token.certificates) {
                if (candidate.facts->readable && candidate.facts->subject == name) found.push_back(&candidate);
            }
        }
    }
    return found;
}

struct Participants {
    std::unique_ptr<X509_STORE, Release<X509_STORE_free>> store{X509_STORE_new()};
    CertificatesHandle others{sk_X509_new_null()};
};

Participants gather(const Holdings& holdings, const std::vector<const StoredCertificate*>& certificates) {
    Participants all;
    for (const StoredCertificate* stored : certificates) {
        CertificateHandle certificate = certificateFrom(stored->der);
        if (X509_self_signed(certificate.get(), 1) == 1) X509_STORE_add_cert(all.store.get(), certificate.get());
        sk_X509_push(all.others.get(), certificate.release());
    }
    for (const TokenObjects& token : holdings.tokens()) {
        for (const StoredCrl& crl : token.crls) {
            const bool needed = std::any_of(certificates.begin(), certificates.end(), [&](const auto* certificate) {
                return certificate->facts->issuer == crl.facts->issuer;
            });
            // A list that its issuer did not sign is ignored.
            if (needed && holdings.isSignedByItsIssuer(*crl.facts)) {
                X509_STORE_add_crl(all.store.get(), crl.facts->crl.get());
            }
        }
    }
    return all;
}

// ---- purposes

struct PurposeRow {
    VerifyPurpose purpose;
    int openssl; // X509_PURPOSE_..., 0 for none
    Loc::MarkedWording<'s'> ifUnfit;
};

// clang-format off
constexpr std::array purposes = {
    PurposeRow{VerifyPurpose::any,       0,                       N_("\"%s\" must not be used for anything")},
    PurposeRow{VerifyPurpose::ikePeer,   0,                       N_("\"%s\" must not be used for an IKE peer")},
    PurposeRow{VerifyPurpose::tlsServer, X509_PURPOSE_SSL_SERVER, N_("\"%s\" must not be used for a TLS server")},
    PurposeRow{VerifyPurpose::tlsClient, X509_PURPOSE_SSL_CLIENT, N_("\"%s\" must not be used for a TLS client")},
    PurposeRow{VerifyPurpose::authority, 0,                       N_("\"%s\" must not be used for an authority")},
};
// clang-format on

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

// For purposes that OpenSSL lacks. An IKE peer signs; an extended key usage, if present, names IKE or any.
bool fits(X509* certificate, VerifyPurpose purpose) {
    const std::uint32_t present = X509_get_extension_flags(certificate);
    const std::uint32_t usage = X509_get_key_usage(certificate); // all bits when it has none
    if (purpose == VerifyPurpose::authority) return X509_check_ca(certificate) > 0 && (usage & KU_KEY_CERT_SIGN);
    if (purpose != VerifyPurpose::ikePeer) return true;
    if (!(usage & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION))) return false;
    if (!(present & EXFLAG_XKUSAGE) || (X509_get_extended_key_usage(certificate) & XKU_ANYEKU)) return true;
    const std::unique_ptr<EXTENDED_KEY_USAGE, Release<EXTENDED_KEY_USAGE_free>> extended(
        static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
    for (int i = 0; extended && i < sk_ASN1_OBJECT_num(extended.get()); ++i) {
        if (OBJ_obj2nid(sk_ASN1_OBJECT_value(extended.get(), i)) == NID_ipsec_IKE) return true;
    }
    return false;
}

// ---- reasons

std::string subjectOf(const X509* certificate) {
    return certificate ? nameText(X509_get_subject_name(certificate)) : std::string();
}

std::string dateOf(const ASN1_TIME* time) { return platform::dateText(secondsOf(time).value_or(0)); }

struct ReasonRow {
    int error;
    Loc::MarkedWording<'s'> text;
};

// clang-format off
constexpr std::array reasons = {
    ReasonRow{X509_V_ERR_CERT_REVOKED,           N_("\"%s\" is revoked")},
    ReasonRow{X509_V_ERR_CERT_SIGNATURE_FAILURE, N_("\"%s\" has a signature that is not its issuer's")},
    ReasonRow{X509_V_ERR_INVALID_CA,             N_("\"%s\" has issued a certificate and is not a CA")},
    ReasonRow{X509_V_ERR_PATH_LENGTH_EXCEEDED,   N_("\"%s\" is a CA for shorter chains than this")},
    ReasonRow{X509_V_ERR_INVALID_PURPOSE,        N_("\"%s\" must not be used for that purpose")},
    ReasonRow{X509_V_ERR_UNABLE_TO_GET_CRL,      N_("\"%s\" can't be checked for revocation: no CRL of its issuer is on a token")},
    ReasonRow{X509_V_ERR_CRL_HAS_EXPIRED,        N_("\"%s\" can't be checked for revocation: the CRL of its issuer is out of date")},
    ReasonRow{X509_V_ERR_CRL_NOT_YET_VALID,      N_("\"%s\" can't be checked for revocation: the CRL of its issuer is not valid yet")},
};
// clang-format on

bridge::Remark reasonOf(Refused code, int error, const X509* at) {
    const std::string subject = subjectOf(at);
    const auto row = std::find_if(reasons.begin(), reasons.end(), [&](const auto& one) { return one.error == error; });
    if (row != reasons.end()) return remark(code, row->text, subject);
    switch (error) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return remark(code, "\"%s\" has expired on %s", subject, dateOf(X509_get0_notAfter(at)));
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return remark(code, "\"%s\" is not valid before %s", subject, dateOf(X509_get0_notBefore(at)));
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        return remark(code, "\"%s\" was issued by \"%s\", whose certificate is on no token", subject,
                      nameText(X509_get_issuer_name(at)));
    default: return remark(code, "\"%s\" fails: %s", subject, X509_verify_cert_error_string(error));
    }
}

// As sentences.
std::string textOf(const Remarks& remarks) {
    std::string text;
    for (const bridge::Remark& remark : remarks) text += (text.empty() ? "" : " ") + Loc::fill(remark.phrase) + ".";
    return text;
}

Verdict failed(Remarks why) {
    std::string text = textOf(why);
    return {false, std::move(text), std::move(why)};
}

// Adds that a missing object may be on a token that could not be read.
Remarks withUnseen(bridge::Remark why, const Holdings& holdings) {
    Remarks all{std::move(why)};
    for (const UnseenTokens& unseen : holdings.unseen()) all.push_back(unseen.why.front());
    return all;
}

struct Progress {
    bool crlRequired;
    Remarks notes; // what was ignored
};

bool concernsCrl(int error) {
    return error == X509_V_ERR_UNABLE_TO_GET_CRL || error == X509_V_ERR_CRL_HAS_EXPIRED ||
           error == X509_V_ERR_CRL_NOT_YET_VALID || error == X509_V_ERR_DIFFERENT_CRL_SCOPE;
}

// If CRLs are not required, missing or old ones are noted and ignored; entries of an old one still revoke.
int overlookCrls(int ok, X509_STORE_CTX* context) {
    if (ok == 1) return 1;
    auto& progress = *static_cast<Progress*>(X509_STORE_CTX_get_app_data(context));
    const int error = X509_STORE_CTX_get_error(context);
    if (progress.crlRequired || !concernsCrl(error)) return 0;
    X509* at = X509_STORE_CTX_get_current_cert(context);
    progress.notes.push_back(reasonOf(Refused::notCounted, error, at));
    X509_STORE_CTX_set_error(context, X509_V_OK);
    return 1;
}

std::string chainText(const STACK_OF(X509) * chain) {
    std::string text;
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        text += (i == 0 ? "\"" : ", issued by \"") + subjectOf(sk_X509_value(chain, i)) + "\"";
    }
    return text + ", which is trusted.";
}

Remarks chainRemarks(const STACK_OF(X509) * chain) {
    Remarks links;
    const int last = sk_X509_num(chain) - 1;
    for (int i = 0; i < last; ++i) {
        links.push_back(remark(Refused::chainLink, "\"%s\" was issued by \"%s\"", subjectOf(sk_X509_value(chain, i)),
                               subjectOf(sk_X509_value(chain, i + 1))));
    }
    links.push_back(remark(Refused::chainLink, "\"%s\" is trusted", subjectOf(sk_X509_value(chain, last))));
    return links;
}

// `certificates` are those of `others`, in the same order.
void noteRevocations(const Holdings& holdings, const std::vector<const StoredCertificate*>& certificates,
                     const STACK_OF(X509) * others, const STACK_OF(X509) * chain,
                     Loc::MarkedWording<'s', 's'> revokedAllTheSame, Progress& progress) {
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        for (std::size_t k = 0; k < certificates.size(); ++k) {
            if (X509_cmp(sk_X509_value(chain, i), sk_X509_value(others, static_cast<int>(k))) != 0) continue;
            const std::uint64_t time = holdings.revokedAt(*certificates[k]->facts);
            if (time == 0) break;
            progress.notes.push_back(remark(Refused::notCounted, revokedAllTheSame, subjectOf(sk_X509_value(chain, i)),
                                            platform::dateText(time)));
            break;
        }
    }
}

Verdict passed(const STACK_OF(X509) * chain, const Remarks& notes) {
    Verdict verdict{true, chainText(chain), chainRemarks(chain)};
    if (!notes.empty()) verdict.text += " " + textOf(notes);
    verdict.remarks.insert(verdict.remarks.end(), notes.begin(), notes.end());
    return verdict;
}

void setUp(X509_STORE_CTX* context, std::uint32_t how, const PurposeRow& purpose) {
    X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context);
    if (purpose.openssl != 0) X509_VERIFY_PARAM_set_purpose(parameters, purpose.openssl);
    if (!(how & verifyFlag::noRevocation)) {
        X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
    }
    X509_STORE_CTX_set_verify_cb(context, overlookCrls);
}

} // namespace

Verdict verify(const Holdings& holdings, const PlacedCertificate& certificate, std::uint32_t how,
               Loc::MarkedWording<'s', 's'> revokedAllTheSame) {
    const PurposeRow& purpose = purposeOf(how);
    if (!certificate.certificate->facts->readable) {
        return failed({remark(Refused::notVerified, "The object is not an X.509 certificate")});
    }
    const std::vector<const StoredCertificate*> certificates = relatives(holdings, *certificate.certificate);
    const Participants all = gather(holdings, certificates);
    X509* leaf = sk_X509_value(all.others.get(), 0);
    if (!fits(leaf, purpose.purpose)) return failed({remark(Refused::notVerified, purpose.ifUnfit, subjectOf(leaf))});
    Progress progress{(how & verifyFlag::crlRequired) != 0, {}};
    const std::unique_ptr<X509_STORE_CTX, Release<X509_STORE_CTX_free>> context(X509_STORE_CTX_new());
    X509_STORE_CTX_init(context.get(), all.store.get(), leaf, all.others.get());
    X509_STORE_CTX_set_app_data(context.get(), &progress);
    setUp(context.get(), how, purpose);
    const bool good = X509_verify_cert(context.get()) == 1;
    ERR_clear_error();
    if (!good) {
        const X509* at = X509_STORE_CTX_get_current_cert(context.get());
        const int error = X509_STORE_CTX_get_error(context.get());
        return failed(withUnseen(reasonOf(Refused::notVerified, error, at ? at : leaf), holdings));
    }
    const STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(context.get());
    if (how & verifyFlag::noRevocation) {
        noteRevocations(holdings, certificates, all.others.get(), chain, revokedAllTheSame, progress);
    }
    return passed(chain, progress.notes);
}

} // namespace panelkitd
