// SPDX-License-Identifier: MIT
//
// The objects of all tokens at one moment, and what can be found by comparing them: which certificates are revoked,
// which have a private key, and which certificate signed another one.
#pragma once

#include <service/certs/token_objects.h>

#include <panelkit/certs/cert_records.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace panelkitd {

// A certificate and the token that it is on.
struct PlacedCertificate {
    const TokenObjects* place;
    const StoredCertificate* certificate;
};

// Why a certificate may be the end of a chain.
struct Trust {
    enum class Reason : unsigned char { markedByToken, onOwnToken } reason;
    std::string token; // its label
};

// One thread uses an object at a time.
class Holdings {
public:
    // Reads all tokens. With `former`, a token that can't be read now has the objects that it has there.
    Holdings(const Providers& providers, FactsCache& cache, const Holdings* former = nullptr);
    Holdings(const Holdings&) = delete;
    Holdings& operator=(const Holdings&) = delete;

    const std::vector<TokenObjects>& tokens() const { return tokens_; }

    // The tokens that could not be read. Their objects are not known, or are those of `former`.
    const std::vector<UnseenTokens>& unseen() const { return unseen_; }

    // Return the token with that label, serial number and provider, and the certificate on it. Throw RefusedError when
    // there is none.
    const TokenObjects& token(const PKCS11::TokenInfo& named) const;
    PlacedCertificate find(const PKCS11::TokenInfo& token, const CertInfo& certificate) const;

    // Returns the record of the certificate, as in listings.
    CertInfo describe(const PlacedCertificate& certificate) const;
    // Returns the state of a certificate, which need not be on a token.
    std::uint32_t stateOf(const CertificateFacts& certificate) const;
    // Returns when a CRL on a token revokes the certificate, in seconds since 1970; 0 when none does.
    std::uint64_t revokedAt(const CertificateFacts& certificate) const;

    // Returns why the certificate is trusted; nullopt when it is not. There is one rule: a token marks the certificate
    // with CKA_TRUSTED, or it is signed with its own key and on a token of the embedded provider, which only
    // administrators can write to.
    std::optional<Trust> trustIn(const CertificateFacts& certificate) const;

    // Returns false when tokens have certificates with the name of the list's issuer, but none of them has signed the
    // list.
    bool isSignedByItsIssuer(const CrlFacts& crl) const;

    // Returns the certificate that issued and signed the given one; a null place when no token has it.
    PlacedCertificate issuerOf(const StoredCertificate& certificate) const;
    // Returns the certificate, its issuer, and so on. The last one is its own issuer, or its issuer is on no token.
    std::vector<PlacedCertificate> chainOf(const PlacedCertificate& certificate) const;

private:
    using TrustByFingerprint = std::map<std::string, Trust>;
    TrustByFingerprint readTrusted() const;
    void keepUnseen(const Holdings& former);

    FactsCache& cache_;
    std::vector<TokenObjects> tokens_;
    std::vector<UnseenTokens> unseen_;
    mutable std::optional<TrustByFingerprint> trusted_; // read when first needed, since it checks signatures
};

// Returns whether the chain ends at a certificate that is signed with its own key.
bool isComplete(const std::vector<PlacedCertificate>& chain);

// Returns whether the record is of that certificate. Compares the fingerprints or, when the record has none, issuer and
// serial number.
bool names(const CertInfo& record, const CertificateFacts& certificate);

} // namespace panelkitd
