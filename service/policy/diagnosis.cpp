// SPDX-License-Identifier: MIT
#include <service/policy/diagnosis.h>

#include <service/engine/engine_credentials.h>

#include <panelkit/format/time_text.h>
#include <vocabulary/certs.h>
#include <vocabulary/policy.h>

#include <algorithm>

namespace panelkitd {

using Loc::N_;
using vocabulary::CertState;
using vocabulary::Refused;
namespace state = vocabulary::policyCertificate;
namespace usage = vocabulary::keyUsage;

bool fitsIke(const CertInfo& certificate) {
    constexpr std::uint32_t extended = ~std::uint32_t{0xFFFF};
    return (certificate.keyUsage & extended) == 0 || (certificate.keyUsage & usage::ipsecIke) != 0;
}

namespace {

bool isRevoked(const CertInfo& certificate) {
    return certificate.state == static_cast<std::uint32_t>(CertState::revoked);
}

struct Flaw {
    std::uint32_t state;
    bool frontEndKnows;
    bool (*found)(const CertInfo& certificate, std::uint64_t now);
    std::uint64_t CertInfo::*date; // null if it has none
    Loc::MarkedWording<'s'> text;
};

// The further down, the nearer a certificate is to being usable. Revocation and key come before dates, because they
// need a new certificate anyway.
// clang-format off
constexpr Flaw flaws[] = {
    {state::noPrivateKey,  true,  [](const CertInfo& c, std::uint64_t) { return !c.hasPrivateKey; },                                              nullptr,              N_("the personal certificate \"%s\" has no private key on its token, or the token is not logged in")},
    {state::revoked,       false, [](const CertInfo& c, std::uint64_t) { return isRevoked(c); },                                                  nullptr,              N_("the personal certificate \"%s\" is revoked")},
    {state::expired,       true,  [](const CertInfo& c, std::uint64_t now) { return c.notAfter < now; },                                          &CertInfo::notAfter,  N_("the personal certificate \"%s\" has expired")},
    {state::lacksIkeUsage, true,  [](const CertInfo& c, std::uint64_t) { return !fitsIke(c); },                                                   nullptr,              N_("the personal certificate \"%s\" may not be used for IKE: the extended key usage \"ipsecIKE\" is missing")},
    {state::notYetValid,   true,  [](const CertInfo& c, std::uint64_t now) { return c.notBefore > now; },                                         &CertInfo::notBefore, N_("the personal certificate \"%s\" is not valid yet")},
};
// clang-format on

const Flaw* flawOf(const CertInfo& certificate, std::uint64_t now, bool revocationCounts) {
    return std::find_if(std::begin(flaws), std::end(flaws), [&](const Flaw& flaw) {
        return flaw.found(certificate, now) && (revocationCounts || flaw.state != state::revoked);
    });
}

// A CA's certificate is not a personal certificate, unless the policy names its subject.
bool isCandidate(const CertInfo& certificate, const std::string& subject) {
    if (certificate.state == static_cast<std::uint32_t>(CertState::unreadable)) return false;
    if (!subject.empty()) return certificate.subject == subject;
    return (certificate.flags & vocabulary::certFlag::authority) == 0;
}

bridge::Remark noToken(const std::string& subject) {
    return subject.empty()
               ? remark(Refused::credentials, "the personal certificate is missing: there is no token")
               : remark(Refused::credentials, "the personal certificate \"%s\" is missing: there is no token", subject);
}

void diagnoseCertificate(const std::string& subject, const CredentialList& list, std::uint64_t now, Diagnosis& into) {
    const CertInfo* best = nullptr;
    const Flaw* flaw = nullptr;
    for (const CertInfo& certificate : list.certificates) {
        if (!isCandidate(certificate, subject)) continue;
        const Flaw* const its = flawOf(certificate, now, list.revocationCounts);
        const bool better = !best || its > flaw || (its == flaw && isRevoked(*best) && !isRevoked(certificate));
        if (!better) continue;
        best = &certificate;
        flaw = its;
    }
    into.subject = best ? best->subject : subject;
    if (!best) {
        const bool isThereAny = list.anyToken || !list.complete;
        into.state = isThereAny ? state::missing : state::noToken;
        into.frontEndKnows = list.complete;
        into.problem = isThereAny ? noCertificate(subject, list.complete) : noToken(subject);
    } else if (flaw != std::end(flaws)) {
        into.state = flaw->state;
        into.frontEndKnows = flaw->frontEndKnows;
        if (flaw->date) into.date = localText(best->*flaw->date);
        into.problem = remark(Refused::credentials, flaw->text, best->subject);
    } else if (isRevoked(*best)) {
        into.note = remark(Refused::notCounted,
                           "the personal certificate \"%s\" is revoked; this does not count, because "
                           "IKE.CRL_PROCESSING turns revocation off",
                           best->subject);
    }
}

void diagnosePresharedKey(const std::string& key, const CredentialList& list, Diagnosis& into) {
    into.byPresharedKey = true;
    into.presharedKey = key;
    if (!list.presharedKeys) return;
    if (std::find(list.presharedKeys->begin(), list.presharedKeys->end(), key) != list.presharedKeys->end()) return;
    into.frontEndKnows = list.complete;
    into.problem = list.complete
                       ? remark(Refused::credentials, "the preshared key \"%s\" is on no token", key)
                       : remark(Refused::credentials, "the preshared key \"%s\" is on no token that can be read", key);
}

} // namespace

std::string localText(std::uint64_t time) {
    char buffer[panelkit::PlainTimeTextSize];
    return panelkit::plainTimeToLocalText(static_cast<std::int64_t>(time), buffer);
}

Diagnosis diagnoseSection(const PolicySection& section, const CredentialList& list, std::int64_t now) {
    Diagnosis its;
    if (section.authentication == PolicyAuthentication::presharedKey) {
        diagnosePresharedKey(section.key, list, its);
    } else {
        diagnoseCertificate(section.subject, list, static_cast<std::uint64_t>(now), its);
    }
    return its;
}

std::optional<Diagnosis> diagnose(const PolicyText& policy, const Credentials& credentials, std::int64_t now) {
    std::optional<Diagnosis> first;
    std::optional<CredentialList> list; // tokens are read only if a section protects
    for (const PolicySection& section : policy.sections) {
        if (section.action != PolicyAction::protect) continue;
        if (!list && !(list = credentials.list())) break;
        const Diagnosis its = diagnoseSection(section, *list, now);
        if (its.problem) return its;
        if (!first || (its.note && !first->note)) first = its;
    }
    return first;
}

} // namespace panelkitd
