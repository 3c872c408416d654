// SPDX-License-Identifier: MIT
//
// What tokens hold: read in as few passes as tokens allow, and matched in memory.
#pragma once

#include <service/certs/object_facts.h>
#include <service/certs/token_attributes.h>
#include <service/tokens/providers.h>

#include <panelkit/certs/cert_records.h>

#include <functional>
#include <string>
#include <vector>

namespace panelkitd {

// CRLs are data objects of this application.
inline constexpr const char* crlApplication = "panelkit CRL";

struct StoredCertificate {
    CK_OBJECT_HANDLE object;
    std::string der;
    std::string id;
    std::string label;
    bool trusted;
    bool isPrivate;
    CertificateFactsPtr facts;
};

struct StoredKey {
    CK_OBJECT_HANDLE object;
    CK_KEY_TYPE type;
    std::string id;
    std::string label;
    std::string modulus; // RSA
    bool extractable;
    bool asksForPin;
};

struct StoredPublicKey {
    CK_OBJECT_HANDLE object;
    CK_KEY_TYPE type;
    std::string id;
    std::string label;
    std::string material; // as CertificateFacts::publicKey
    std::string curve;    // DER of its parameters; empty for RSA
};

struct StoredCrl {
    CK_OBJECT_HANDLE object;
    std::string der;
    CrlFactsPtr facts;
};

struct TokenObjects {
    PKCS11::TokenInfo token;
    std::vector<StoredCertificate> certificates;
    std::vector<StoredKey> keys;
    std::vector<StoredPublicKey> publicKeys;
    std::vector<StoredCrl> crls;

    // The private key of a certificate, which need not be stored here itself; null when it is not there or not seen,
    // as without log-in. `id` is the certificate's CKA_ID, empty for one that is not stored.
    const StoredKey* keyOf(const CertificateFacts& certificate, const std::string& id) const;
};

std::vector<StoredCertificate> readCertificates(const OpenToken& token, FactsCache& cache);
std::vector<StoredKey> readKeys(const OpenToken& token);
std::vector<StoredPublicKey> readPublicKeys(const OpenToken& token);
std::vector<StoredCrl> readCrls(const OpenToken& token, FactsCache& cache);

TokenObjects readObjects(const HeldToken& token, const PKCS11::TokenInfo& info, FactsCache& cache);

// A token that is listed and could not be read: it was pulled out just now, say.
struct UnseenToken {
    PKCS11::TokenInfo token;
    Remarks why;
};

// Calls `use` for each token that is there and initialised, one held at a time. Returns those that refused, which are
// logged too.
std::vector<UnseenToken>
forEachToken(const Providers& providers,
             const std::function<void(const HeldToken& held, const PKCS11::TokenInfo& token)>& use);

// For an answer that claims to be complete. Throws RefusedError, which names the token, when one was not seen.
void requireAllSeen(const std::vector<UnseenToken>& unseen);

} // namespace panelkitd
