// SPDX-License-Identifier: MIT
//
// Facts about a certificate or CRL that depend only on its bytes. Parsing with OpenSSL takes far longer than fetching
// the bytes from a token, so the facts are cached by the digest of the bytes.
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
    CertInfo info; // without fields that depend on time, token or CRLs; only the fingerprint when it can't be read
    std::string shortName;
    // DER, for PKCS#11 and for comparisons:
    std::string subject, issuer, serial;
    std::string authorityKeyId; // raw; empty when it has none
    std::string publicKey;      // RSA: the modulus; others: the point; as in PKCS#11's public keys
    std::string keyId;          // SHA-1 of the public key's bits, the usual CKA_ID
};

struct CrlFacts {
    bool readable = false;
    CRLInfo info;
    std::string issuer; // DER
    std::string authorityKeyId;
    std::string scope; // identifies a list among others: issuer, key, distribution point
    CrlHandle crl;

    // Returns when the list revokes that certificate: seconds since 1970; 0 when it does not.
    std::uint64_t revokedAt(const CertificateFacts& certificate) const;
};

CertificateFacts readCertificateFacts(const std::string& der);
CrlFacts readCrlFacts(const std::string& der);

using CertificateFactsPtr = std::shared_ptr<const CertificateFacts>;
using CrlFactsPtr = std::shared_ptr<const CrlFacts>;

// The facts of objects on tokens, so that the same bytes are parsed only once. Any thread may call it. Returned facts
// stay valid when the cache is cleared. The size is limited, because tokens come and go.
class FactsCache {
public:
    CertificateFactsPtr certificate(const std::string& der);
    void keep(const std::string& der, CertificateFactsPtr facts); // that were read elsewhere
    CrlFactsPtr crl(const std::string& der);
    void clear();

    // Returns whether a certificate is signed with its own key. Only certificates that count for trust are checked,
    // since a strange key makes the check slow and any user can send files with such keys.
    bool isSelfSigned(const std::string& der, const CertificateFacts& facts);

private:
    // The key of the maps is the SHA-256 of the DER.
    struct Crls {
        std::unordered_map<std::string, CrlFactsPtr> facts;
        std::size_t bytes = 0; // of the lists that they are of
    };
    platform::Guarded<std::unordered_map<std::string, CertificateFactsPtr>> certificates_;
    platform::Guarded<Crls> crls_;
    platform::Guarded<std::unordered_map<std::string, bool>> selfSigned_; // the key is the fingerprint
};

} // namespace panelkitd
