// SPDX-License-Identifier: MIT
//
// What all tokens hold at one moment, and what follows from seeing it together: which certificate is revoked, which has
// its key, which signed which.
#pragma once

#include <service/certs/token_objects.h>

#include <panelkit/certs/cert_records.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace panelkitd {

// A certificate and the token that it is on.
struct PlacedCertificate {
    const TokenObjects* place;
    const StoredCertificate* certificate;
};

class Holdings {
public:
    Holdings(const Providers& providers, FactsCache& cache);
    Holdings(const Holdings&) = delete;
    Holdings& operator=(const Holdings&) = delete;

    const std::vector<TokenObjects>& tokens() const { return tokens_; }

    // Tokens that could not be read: nothing is known of what they hold.
    const std::vector<UnseenTokens>& unseen() const { return unseen_; }

    // The token of that label, serial number and provider; the certificate on it. Throw RefusedError.
    const TokenObjects& token(const PKCS11::TokenInfo& named) const;
    PlacedCertificate find(const PKCS11::TokenInfo& token, const CertInfo& certificate) const;

    // Its record as it is listed.
    CertInfo describe(const PlacedCertificate& certificate) const;
    // The state of any certificate, on a token or not.
    std::uint32_t stateOf(const CertificateFacts& certificate) const;
    // When a list on a token revokes it: seconds since 1970; 0 when none does.
    std::uint64_t revokedAt(const CertificateFacts& certificate) const;

    // False when a token has the list's issuer, and none of that name signed it.
    bool isSignedByItsIssuer(const CrlFacts& crl) const;

    // The certificate that issued it and signed it; null place when none is here.
    PlacedCertificate issuerOf(const StoredCertificate& certificate) const;
    // The certificate, its issuer, and so on; ends at one that is its own issuer, or whose issuer is not here.
    std::vector<PlacedCertificate> chainOf(const PlacedCertificate& certificate) const;

private:
    std::vector<TokenObjects> tokens_;
    std::vector<UnseenTokens> unseen_;
};

// Whether the chain ends at a certificate that is signed by its own key.
bool isComplete(const std::vector<PlacedCertificate>& chain);

bool sameToken(const PKCS11::TokenInfo& a, const PKCS11::TokenInfo& b);

// Whether the record names that certificate: by fingerprint, or where it has none by issuer and serial number.
bool names(const CertInfo& record, const CertificateFacts& certificate);

} // namespace panelkitd
