// SPDX-License-Identifier: MIT
//
// Key pairs for certificate requests: what a token can make, making and finding them, and signing on the token.
#pragma once

#include <service/certs/openssl_handles.h>
#include <service/certs/token_objects.h>

#include <panelkit/certs/cert_records.h>

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

// What a token's mechanisms allow; a token that makes no keys has no choices.
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

// Makes a pair that stays on the token and never leaves it.
TokenKeyPair generatePair(HeldToken& token, const CertRequestInfo& wish, const std::string& label);

// The pairs of that label whose two halves are there.
std::vector<TokenKeyPair> findPairs(const TokenObjects& keys, const std::string& label);

// The signature over some bytes, as X.509 has it.
std::string signOnToken(HeldToken& token, const TokenKeyPair& pair, const std::vector<HostMechanism>& mechanisms,
                        std::uint32_t digest, const std::string& bytes);

// OpenSSL's digest of that number; null when it is none of ours.
const EVP_MD* digestOf(std::uint32_t digest);

} // namespace panelkitd
