// SPDX-License-Identifier: MIT
#include <service/certs/holdings.h>

#include <service/base/refused.h>
#include <service/certs/x509_text.h>

#include <platform/system/clock.h>
#include <vocabulary/certs.h>
#include <vocabulary/tokens.h>

#include <openssl/err.h>

#include <algorithm>

namespace panelkitd {

using PKCS11::TokenInfo;
using vocabulary::CertState;
using vocabulary::Refused;
namespace field = vocabulary::token;
namespace certFlag = vocabulary::certFlag;

namespace {

constexpr std::size_t longestChain = 32;

bool signedBy(const StoredCertificate& certificate, const StoredCertificate& issuer) {
    if (certificate.facts->issuer != issuer.facts->subject || !issuer.facts->readable) return false;
    const CertificateHandle child = certificateFrom(certificate.der);
    const CertificateHandle parent = certificateFrom(issuer.der);
    const bool issued = X509_check_issued(parent.get(), child.get()) == X509_V_OK &&
                        X509_verify(child.get(), X509_get0_pubkey(parent.get())) == 1;
    ERR_clear_error();
    return issued;
}

std::uint32_t objectFlags(const TokenObjects& token, const StoredCertificate& certificate) {
    std::uint32_t flags = 0;
    if (certificate.isPrivate) flags |= certFlag::privateObject;
    if (!(token.token.flags & vocabulary::tokenFlag::writeProtected)) flags |= certFlag::canDelete;
    return flags;
}

std::optional<Trust::Reason> trustOn(const TokenObjects& token, const StoredCertificate& certificate,
                                     FactsCache& cache) {
    if (!certificate.facts->readable) return std::nullopt;
    if (certificate.trusted) return Trust::Reason::markedByToken;
    if (token.isOwn && cache.isSelfSigned(certificate.der, *certificate.facts)) return Trust::Reason::onOwnToken;
    return std::nullopt;
}

} // namespace

bool names(const CertInfo& record, const CertificateFacts& certificate) {
    if (!record.fingerprint.empty()) return record.fingerprint == certificate.info.fingerprint;
    return record.issuer == certificate.info.issuer && record.serialNumber == certificate.info.serialNumber;
}

Holdings::Holdings(const Providers& providers, FactsCache& cache, const Holdings* former) : cache_(cache) {
    unseen_ = forEachToken(providers, [&](HeldToken& held, const TokenInfo& token) {
        tokens_.push_back(readObjects(held, cache));
        tokens_.back().token = token;
        tokens_.back().isOwn = held.isOwn();
        tokens_.back().lastChange = held.lastChange();
    });
    if (former) keepUnseen(*former);
}

void Holdings::keepUnseen(const Holdings& former) {
    const std::size_t read = tokens_.size();
    for (const TokenObjects& known : former.tokens_) {
        const auto isSame = [&](const TokenObjects& token) { return sameToken(token.token, known.token); };
        const auto end = tokens_.begin() + static_cast<std::ptrdiff_t>(read);
        if (isUnseen(known.token, unseen_) && std::none_of(tokens_.begin(), end, isSame)) tokens_.push_back(known);
    }
}

Holdings::TrustByFingerprint Holdings::readTrusted() const {
    TrustByFingerprint trusted;
    for (const TokenObjects& token : tokens_) {
        for (const StoredCertificate& certificate : token.certificates) {
            const auto reason = trustOn(token, certificate, cache_);
            if (reason) trusted.emplace(certificate.facts->info.fingerprint, Trust{*reason, token.token.*field::label});
        }
    }
    return trusted;
}

const TokenObjects& Holdings::token(const TokenInfo& named) const {
    const auto token = std::find_if(tokens_.begin(), tokens_.end(),
                                    [&](const TokenObjects& candidate) { return sameToken(candidate.token, named); });
    if (token == tokens_.end()) {
        requireAllSeen(unseen_);
        throw RefusedError(Refused::noSuchToken, "the token \"%s\" is not there", named.*field::label);
    }
    return *token;
}

PlacedCertificate Holdings::find(const TokenInfo& named, const CertInfo& record) const {
    const TokenObjects& place = token(named);
    const auto certificate =
        std::find_if(place.certificates.begin(), place.certificates.end(),
                     [&](const StoredCertificate& candidate) { return names(record, *candidate.facts); });
    if (certificate == place.certificates.end()) {
        throw RefusedError(Refused::noSuchObject, "the certificate is not on the token");
    }
    return {&place, &*certificate};
}

CertInfo Holdings::describe(const PlacedCertificate& placed) const {
    const StoredCertificate& certificate = *placed.certificate;
    CertInfo info = certificate.facts->info;
    info.flags |= objectFlags(*placed.place, certificate);
    if (trustIn(*certificate.facts)) info.flags |= certFlag::trusted;
    if (!certificate.facts->readable) return info;
    info.state = stateOf(*certificate.facts);
    if (const StoredKey* key = placed.place->keyOf(*certificate.facts, certificate.id)) {
        info.hasPrivateKey = true;
        if (key->extractable) info.flags |= certFlag::keyExtractable;
        if (key->asksForPin) info.flags |= certFlag::keyAsksForPin;
    }
    return info;
}

std::uint32_t Holdings::stateOf(const CertificateFacts& certificate) const {
    const std::uint64_t time = platform::secondsNow();
    CertState state = CertState::valid;
    if (!certificate.readable) {
        state = CertState::unreadable;
    } else if (revokedAt(certificate) != 0) {
        state = CertState::revoked;
    } else if (time < certificate.info.notBefore) {
        state = CertState::notYetValid;
    } else if (time > certificate.info.notAfter) {
        state = CertState::expired;
    }
    return static_cast<std::uint32_t>(state);
}

std::uint64_t Holdings::revokedAt(const CertificateFacts& certificate) const {
    for (const TokenObjects& token : tokens_) {
        for (const StoredCrl& crl : token.crls) {
            const std::uint64_t time = crl.facts->revokedAt(certificate);
            if (time != 0 && isSignedByItsIssuer(*crl.facts)) return time;
        }
    }
    return 0;
}

std::optional<Trust> Holdings::trustIn(const CertificateFacts& certificate) const {
    if (!trusted_) trusted_ = readTrusted();
    const auto found = trusted_->find(certificate.info.fingerprint);
    return found == trusted_->end() ? std::nullopt : std::optional(found->second);
}

bool Holdings::isSignedByItsIssuer(const CrlFacts& crl) const {
    bool issuerThere = false;
    for (const TokenObjects& token : tokens_) {
        for (const StoredCertificate& certificate : token.certificates) {
            if (!certificate.facts->readable || certificate.facts->subject != crl.issuer) continue;
            issuerThere = true;
            const CertificateHandle issuer = certificateFrom(certificate.der);
            if (X509_CRL_verify(crl.crl.get(), X509_get0_pubkey(issuer.get())) == 1) return true;
        }
    }
    ERR_clear_error();
    return !issuerThere;
}

PlacedCertificate Holdings::issuerOf(const StoredCertificate& certificate) const {
    for (const TokenObjects& token : tokens_) {
        for (const StoredCertificate& candidate : token.certificates) {
            if (signedBy(certificate, candidate)) return {&token, &candidate};
        }
    }
    return {nullptr, nullptr};
}

std::vector<PlacedCertificate> Holdings::chainOf(const PlacedCertificate& first) const {
    std::vector<PlacedCertificate> chain{first};
    while (chain.size() < longestChain) {
        if (!chain.back().certificate->facts->readable) break;
        const PlacedCertificate next = issuerOf(*chain.back().certificate);
        const auto again = [&](const PlacedCertificate& link) {
            return link.certificate->der == next.certificate->der;
        };
        if (!next.place || std::any_of(chain.begin(), chain.end(), again)) break;
        chain.push_back(next);
    }
    return chain;
}

bool isComplete(const std::vector<PlacedCertificate>& chain) {
    const StoredCertificate& last = *chain.back().certificate;
    return last.facts->readable && signedBy(last, last);
}

} // namespace panelkitd
