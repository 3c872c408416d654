// SPDX-License-Identifier: MIT
//
// What tokens hold: read in as few passes as tokens allow, and matched in memory.
#pragma once

#include <service/base/call.h>
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
    std::uint64_t object;
    std::string der;
    std::string id;
    std::string label;
    bool trusted;
    bool isPrivate;
    CertificateFactsPtr facts;
};

struct StoredKey {
    std::uint64_t object;
    CK_KEY_TYPE type;
    std::string id;
    std::string label;
    std::string modulus; // RSA
    bool extractable;
    bool asksForPin;
};

struct StoredPublicKey {
    std::uint64_t object;
    CK_KEY_TYPE type;
    std::string id;
    std::string label;
    std::string material; // as CertificateFacts::publicKey
    std::string rest;     // the public exponent of RSA; else the DER of the curve's parameters
};

struct StoredCrl {
    std::uint64_t object;
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

TokenObjects readObjects(HeldToken& token, FactsCache& cache);
std::vector<StoredCertificate> readCertificates(HeldToken& token, FactsCache& cache);
TokenObjects readKeys(HeldToken& token); // both halves
std::vector<StoredCrl> readCrls(HeldToken& token, FactsCache& cache);

// The certificate, where it is stored, and what there is of its keys: by search, whatever else the token holds.
TokenObjects readRelated(HeldToken& token, const std::string& der, const CertificateFacts& facts, FactsCache& cache);

// For a public key that was just made.
const HostReading& publicKeyReading();
StoredPublicKey publicKeyFrom(std::uint64_t object, const std::vector<HostValue>& values);

// A token that is listed and was not seen, because it was pulled out just now, say, or all tokens of a provider whose
// module does not answer. The first remark is `incomplete` and names it.
struct UnseenTokens {
    Remarks why;
};

// Calls `use` for each token that is there and initialised, one held at a time. Returns those that were not seen, which
// are logged too.
std::vector<UnseenTokens> forEachToken(const Providers& providers,
                                       const std::function<void(HeldToken& held, const PKCS11::TokenInfo& token)>& use);

// For an answer that must be complete. Throws RefusedError, which names what was not seen.
void requireAllSeen(const std::vector<UnseenTokens>& unseen);

// For a listing, which holds what was seen: remarks beside the reply name the rest. A front end that does not hear
// remarks would take the listing for complete, so it is refused instead.
void tellUnseen(Call& call, const std::vector<UnseenTokens>& unseen);

} // namespace panelkitd
