// SPDX-License-Identifier: MIT
#include <service/policy/diagnosis.h>

#include <panelkit/format/time_text.h>
#include <vocabulary/certs.h>
#include <vocabulary/policy.h>

#include <algorithm>

namespace panelkitd {

using vocabulary::CertState;
namespace state = vocabulary::policyCertificate;
namespace usage = vocabulary::keyUsage;

namespace {

std::string localText(std::uint64_t time) {
    char buffer[panelkit::PlainTimeTextSize];
    return panelkit::plainTimeToLocalText(static_cast<std::int64_t>(time), buffer);
}

// A certificate without extended key usages may be used for everything.
bool fitsIke(const CertInfo& certificate) {
    constexpr std::uint32_t extended = ~std::uint32_t{0xFFFF};
    return (certificate.keyUsage & extended) == 0 || (certificate.keyUsage & usage::ipsecIke) != 0;
}

struct Flaw {
    std::uint32_t state;
    bool frontEndKnows;
    bool (*found)(const CertInfo& certificate, std::uint64_t now);
    std::uint64_t CertInfo::*date; // null when there is none to tell
    const char* text;
};

// The further down, the nearer a certificate is to being of use. Revocation and key are looked at before dates: a new
// certificate is needed anyway.
// clang-format off
constexpr Flaw flaws[] = {
    {state::noPrivateKey,  true,  [](const CertInfo& c, std::uint64_t) { return !c.hasPrivateKey; },                                              nullptr,              "has no private key on its token, or the token is not logged in"},
    {state::revoked,       false, [](const CertInfo& c, std::uint64_t) { return c.state == static_cast<std::uint32_t>(CertState::revoked); },     nullptr,              "is revoked"},
    {state::expired,       true,  [](const CertInfo& c, std::uint64_t now) { return c.notAfter < now; },                                          &CertInfo::notAfter,  "has expired"},
    {state::lacksIkeUsage, true,  [](const CertInfo& c, std::uint64_t) { return !fitsIke(c); },                                                   nullptr,              "may not be used for IKE"},
    {state::notYetValid,   true,  [](const CertInfo& c, std::uint64_t now) { return c.notBefore > now; },                                         &CertInfo::notBefore, "is not valid yet"},
};
// clang-format on

const Flaw* flawOf(const CertInfo& certificate, std::uint64_t now) {
    const auto* found = std::find_if(std::begin(flaws), std::end(flaws),
                                     [&](const Flaw& flaw) { return flaw.found(certificate, now); });
    return found == std::end(flaws) ? std::end(flaws) : found;
}

// A CA's certificate is nobody's personal one, unless it is asked for by its subject.
bool isCandidate(const CertInfo& certificate, const std::string& subject) {
    if (certificate.state == static_cast<std::uint32_t>(CertState::unreadable)) return false;
    if (!subject.empty()) return certificate.subject == subject;
    return (certificate.flags & vocabulary::certFlag::authority) == 0;
}

std::string called(const std::string& subject) { return subject.empty() ? "" : " \"" + subject + "\""; }

void diagnoseCertificate(const std::string& subject, const CredentialList& list, std::uint64_t now, Diagnosis& into) {
    const CertInfo* best = nullptr;
    const Flaw* flaw = nullptr;
    for (const CertInfo& certificate : list.certificates) {
        if (!isCandidate(certificate, subject)) continue;
        const Flaw* const its = flawOf(certificate, now);
        if (best && its <= flaw) continue;
        best = &certificate;
        flaw = its;
    }
    into.subject = best ? best->subject : subject;
    if (!best) {
        into.state = list.anyToken ? state::missing : state::noToken;
        into.frontEndKnows = true;
        into.problem = "the personal certificate" + called(subject) +
                       (list.anyToken ? " is on no token" : " is missing: there is no token");
    } else if (flaw != std::end(flaws)) {
        into.state = flaw->state;
        into.frontEndKnows = flaw->frontEndKnows;
        if (flaw->date) into.date = localText(best->*flaw->date);
        into.problem = "the personal certificate" + called(best->subject) + " " + flaw->text;
    }
}

void diagnosePresharedKey(const std::string& key, const CredentialList& list, Diagnosis& into) {
    into.byPresharedKey = true;
    into.presharedKey = key;
    if (!list.presharedKeys) return;
    if (std::find(list.presharedKeys->begin(), list.presharedKeys->end(), key) != list.presharedKeys->end()) return;
    into.frontEndKnows = true;
    into.problem = "the preshared key \"" + key + "\" is on no token";
}

} // namespace

std::optional<Diagnosis> diagnose(const PolicyText& policy, const Credentials& credentials, std::int64_t now) {
    std::optional<Diagnosis> first;
    std::optional<CredentialList> list; // tokens are looked into only when something protects
    for (const PolicySection& section : policy.sections) {
        if (section.action != PolicyAction::protect) continue;
        if (!list && !(list = credentials.list())) break;
        Diagnosis its;
        if (section.authentication == PolicyAuthentication::presharedKey) {
            diagnosePresharedKey(section.key, *list, its);
        } else {
            diagnoseCertificate(section.subject, *list, static_cast<std::uint64_t>(now), its);
        }
        if (!its.problem.empty()) return its;
        if (!first) first = its;
    }
    return first;
}

} // namespace panelkitd
