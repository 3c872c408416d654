// SPDX-License-Identifier: MIT
//
// What is known of a certificate or CRL from its bytes alone, wherever it is stored. Reading it takes OpenSSL far
// longer than fetching the bytes from a token, so it is kept, by digest of the bytes, for the listings to come.
#pragma once

#include <service/certs/openssl_handles.h>

#include <panelkit/certs/cert_records.h>
#include <platform/system/guarded.h>

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

namespace panelkitd {

struct CertificateFacts {
    bool readable = false;
    CertInfo info; // without what depends on time, place or CRLs; only the fingerprint when it can't be read
    std::string shortName;
    // DER, as PKCS#11 and comparisons want them:
    std::string subject, issuer, serial;
    std::string authorityKeyId; // raw; empty when it has none
    std::string publicKey;      // RSA: the modulus; others: the point; as PKCS#11's public keys have them
    std::string keyId;          // SHA-1 of the public key's bits, the usual CKA_ID
};

struct CrlFacts {
    bool readable = false;
    CRLInfo info;
    std::string issuer; // DER
    std::string authorityKeyId;
    std::string scope; // what tells lists apart that stand side by side: issuer, key, part of the certificates
    CrlHandle crl;

    // When the list revokes that certificate: seconds since 1970; 0 when it does not.
    std::uint64_t revokedAt(const CertificateFacts& certificate) const;
};

CertificateFacts readCertificateFacts(const std::string& der);
CrlFacts readCrlFacts(const std::string& der);

using CertificateFactsPtr = std::shared_ptr<const CertificateFacts>;
using CrlFactsPtr = std::shared_ptr<const CrlFacts>;

// Thread-safe. What it returned stays valid when it is cleared. It is bounded, since files that anybody offers for
// import pass through it.
class FactsCache {
public:
    CertificateFactsPtr certificate(const std::string& der);
    CrlFactsPtr crl(const std::string& der);
    void clear();

private:
    // By SHA-256 of the DER.
    struct Crls {
        std::unordered_map<std::string, CrlFactsPtr> facts;
        std::size_t bytes = 0; // of the lists that they are of
    };
    platform::Guarded<std::unordered_map<std::string, CertificateFactsPtr>> certificates_;
    platform::Guarded<Crls> crls_;
};

} // namespace panelkitd
