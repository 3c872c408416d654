// SPDX-License-Identifier: MIT
//
// The objects on tokens. They are read with as few searches as possible, and matched in memory.
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
    bool signs; // the token lets it sign
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
    bool isOwn = false;           // of the embedded provider
    std::uint64_t lastChange = 0; // HeldToken::lastChange() when it was read
    std::vector<StoredCertificate> certificates;
    std::vector<StoredKey> keys;
    std::vector<StoredPublicKey> publicKeys;
    std::vector<StoredCrl> crls;

    // Returns the private key of a certificate, which itself need not be on this token. Returns null when the key is
    // not there or not visible; without log-in it usually is not. `id` is the CKA_ID of the certificate, empty for one
    // that is not stored.
    const StoredKey* keyOf(const CertificateFacts& certificate, const std::string& id) const;
};

TokenObjects readObjects(HeldToken& token, FactsCache& cache);
TokenObjects readCertificatesAndKeys(HeldToken& token, FactsCache& cache);
std::vector<StoredCertificate> readCertificates(HeldToken& token, FactsCache& cache);
TokenObjects readKeys(HeldToken& token); // both halves
std::vector<StoredCrl> readCrls(HeldToken& token, FactsCache& cache);

// Reads the certificate, if it is stored, and its keys. Searches for these only and does not read other objects of the
// token.
TokenObjects readRelated(HeldToken& token, const std::string& der, const CertificateFacts& facts, FactsCache& cache);

// For a public key that was created just now: the attributes to read of it, and the record made from their values.
const HostReading& publicKeyReading();
StoredPublicKey publicKeyFrom(std::uint64_t object, const std::vector<HostValue>& values);

// Calls `use` for each token that is there and initialised. Only one token is held at a time. Returns the tokens that
// could not be read; they are logged too.
std::vector<UnseenTokens> forEachToken(const Providers& providers,
                                       const std::function<void(HeldToken& held, const PKCS11::TokenInfo& token)>& use);

// For an answer that must be complete. Throws RefusedError when some tokens could not be read, and names them.
void requireAllSeen(const std::vector<UnseenTokens>& unseen);

// For a listing of the tokens that could be read. Remarks with the reply name the other ones. A front end that does not
// receive remarks would think that the listing is complete, so for it the command is refused.
void tellUnseen(Call& call, const std::vector<UnseenTokens>& unseen);

// For a listing of private objects. Adds a remark for each token of `closed`: nobody is logged in to it, so its private
// objects are not in the list. Such a list is not refused to any front end: it is not a fault that nobody is logged in.
void tellClosed(Call& call, const std::vector<PKCS11::TokenInfo>& closed);

} // namespace panelkitd
