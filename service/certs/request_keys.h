// SPDX-License-Identifier: MIT
//
// Key pairs for certificate requests: which kinds a token can create, creating and finding them, and signing on the
// token. Functions that use the token throw RefusedError when it refuses.
#pragma once

#include <service/certs/openssl_handles.h>
#include <service/certs/token_objects.h>

#include <panelkit/certs/cert_records.h>
#include <platform/system/secret.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

// A key pair on a token.
struct TokenKeyPair {
    std::uint64_t privateKey = 0;
    std::uint64_t publicKey = 0;
    CK_KEY_TYPE type = 0;
    KeyHandle key; // its public half, for OpenSSL
};

// The kinds and sizes of keys, and the digests, that the token's mechanisms allow. The list is empty for a token that
// can't create keys.
class RequestChoices {
public:
    explicit RequestChoices(const std::vector<HostMechanism>& mechanisms);

    const std::vector<CertRequestKeyInfo>& list() const { return list_; }
    bool offers(std::uint32_t keyType, std::uint32_t keyBits) const;
    bool offersDigest(CK_KEY_TYPE keyType, std::uint32_t digest) const;

private:
    const CertRequestKeyInfo* choice(std::uint32_t keyType) const;

    std::vector<CertRequestKeyInfo> list_;
};

// Creates a pair on the token. The private key can't be exported.
TokenKeyPair generatePair(HeldToken& token, const CertRequestInfo& wish, const std::string& label);

// Returns the key for OpenSSL; null when it can't be read.
KeyHandle publicHalf(const StoredPublicKey& stored);

// Returns the pairs with that label of which the token has both the public and the private key.
std::vector<TokenKeyPair> findPairs(const TokenObjects& keys, const std::string& label);

// Returns the signature of some bytes, in the form that X.509 uses. `pin` is the user's, for a key that asks for it at
// each use; null for other keys.
std::string signOnToken(HeldToken& token, const TokenKeyPair& pair, const std::vector<HostMechanism>& mechanisms,
                        std::uint32_t digest, const std::string& bytes, const platform::Secret* pin);

// Returns OpenSSL's digest for that number; null for a number that has no digest here.
const EVP_MD* digestOf(std::uint32_t digest);

} // namespace panelkitd
