// SPDX-License-Identifier: MIT
#include <service/certs/verification.h>

#include <service/base/refused.h>
#include <service/certs/verification_purposes.h>
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
        if (holdings.trustIn(*stored->facts)) X509_STORE_add_cert(all.store.get(), certificate.get());
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

// ---- reasons

std::string subjectOf(const X509* certificate) {
    return certificate ? nameText(X509_get_subject_name(certificate)) : std::string();
}

std::string dateOf(const ASN1_TIME* time) { return platform::dateText(secondsOf(time).value_or(0)); }

constexpr Loc::MarkedWording<'s'> notTrusted =
    N_("\"%s\" is signed with its own key and is not trusted: it is not on the service's own token, and no token marks "
       "it with CKA_TRUSTED");

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
    ReasonRow{X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN,   notTrusted},
    ReasonRow{X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, notTrusted},
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

VerificationResult failed(Remarks why) {
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
    return text + ".";
}

Remarks chainRemarks(const STACK_OF(X509) * chain, const bridge::Remark& trust) {
    Remarks links;
    const int last = sk_X509_num(chain) - 1;
    for (int i = 0; i < last; ++i) {
        links.push_back(remark(Refused::chainLink, "\"%s\" was issued by \"%s\"", subjectOf(sk_X509_value(chain, i)),
                               subjectOf(sk_X509_value(chain, i + 1))));
    }
    links.push_back(trust);
    return links;
}

// The certificates that a verification used, as they are on tokens.
struct Used {
    const std::vector<const StoredCertificate*>& certificates;
    const STACK_OF(X509) * parsed; // the same, in the same order

    // Null when it is none of them.
    const StoredCertificate* find(const X509* wanted) const {
        for (std::size_t k = 0; k < certificates.size(); ++k) {
            if (X509_cmp(wanted, sk_X509_value(parsed, static_cast<int>(k))) == 0) return certificates[k];
        }
        return nullptr;
    }
};

void noteRevocations(const Holdings& holdings, const Used& used, const STACK_OF(X509) * chain,
                     Loc::MarkedWording<'s', 's'> revokedAllTheSame, Progress& progress) {
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        const StoredCertificate* const link = used.find(sk_X509_value(chain, i));
        const std::uint64_t time = link ? holdings.revokedAt(*link->facts) : 0;
        if (time == 0) continue;
        progress.notes.push_back(remark(Refused::notCounted, revokedAllTheSame, subjectOf(sk_X509_value(chain, i)),
                                        platform::dateText(time)));
    }
}

// Why the last certificate of a chain is trusted.
bridge::Remark whyTrusted(const Holdings& holdings, const Used& used, const STACK_OF(X509) * chain) {
    const X509* const last = sk_X509_value(chain, sk_X509_num(chain) - 1);
    const StoredCertificate* const root = used.find(last);
    const std::optional<Trust> trust = root ? holdings.trustIn(*root->facts) : std::nullopt;
    if (!trust) throw std::logic_error("a chain ends at a certificate that is not trusted");
    return trustRemark(subjectOf(last), *trust);
}

VerificationResult passed(const STACK_OF(X509) * chain, const bridge::Remark& trust, const Remarks& notes) {
    VerificationResult verdict{true, chainText(chain) + " " + textOf({trust}), chainRemarks(chain, trust)};
    if (!notes.empty()) verdict.text += " " + textOf(notes);
    verdict.remarks.insert(verdict.remarks.end(), notes.begin(), notes.end());
    return verdict;
}

void setUp(X509_STORE_CTX* context, std::uint32_t how, const PurposeRow& purpose) {
    X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context);
    // A token may mark a certificate that another one has signed. The store has only what is trusted.
    X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_PARTIAL_CHAIN);
    if (purpose.openssl != 0) X509_VERIFY_PARAM_set_purpose(parameters, purpose.openssl);
    if (!(how & verifyFlag::noRevocation)) {
        X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
    }
    X509_STORE_CTX_set_verify_cb(context, overlookCrls);
}

} // namespace

VerificationResult verify(const Holdings& holdings, const PlacedCertificate& certificate, std::uint32_t how,
                          Loc::MarkedWording<'s', 's'> revokedAllTheSame) {
    const PurposeRow& purpose = purposeOf(how);
    if (!certificate.certificate->facts->readable) {
        return failed({remark(Refused::notVerified, "The object is not an X.509 certificate")});
    }
    const std::vector<const StoredCertificate*> certificates = relatives(holdings, *certificate.certificate);
    const Participants all = gather(holdings, certificates);
    X509* leaf = sk_X509_value(all.others.get(), 0);
    if (!fits(leaf, purpose)) return failed(unfitness(leaf, purpose));
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
        if (error == X509_V_ERR_INVALID_PURPOSE && at == leaf) return failed(unfitness(leaf, purpose));
        return failed(withUnseen(reasonOf(Refused::notVerified, error, at ? at : leaf), holdings));
    }
    const STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(context.get());
    const Used used{certificates, all.others.get()};
    if (how & verifyFlag::noRevocation) noteRevocations(holdings, used, chain, revokedAllTheSame, progress);
    return passed(chain, whyTrusted(holdings, used, chain), progress.notes);
}

bridge::Remark trustRemark(const std::string& subject, const Trust& trust) {
    if (trust.reason == Trust::Reason::onOwnToken) {
        return remark(Refused::trusted, "\"%s\" is trusted, because it is on the service's own token \"%s\"", subject,
                      trust.token);
    }
    return remark(Refused::trusted, "\"%s\" is trusted, because token \"%s\" marks it with CKA_TRUSTED", subject,
                  trust.token);
}

} // namespace panelkitd
