// SPDX-License-Identifier: MIT
//
// The mechanisms that a token offers for requests, and signing with it.
#include <service/certs/request_keys.h>

#include <vocabulary/certs.h>

#include <openssl/ec.h>

#include <algorithm>
#include <array>

namespace panelkitd {

using vocabulary::Refused;

namespace {

struct DigestRow {
    std::uint32_t digest;
    const EVP_MD* (*openssl)();
    CK_MECHANISM_TYPE withRsa;
};

struct PairRow {
    std::uint32_t keyType;
    CK_MECHANISM_TYPE make;
    std::array<std::uint32_t, 3> bits;
};

// clang-format off
constexpr std::array digests = {
    DigestRow{vocabulary::digest::sha256, EVP_sha256, CKM_SHA256_RSA_PKCS},
    DigestRow{vocabulary::digest::sha384, EVP_sha384, CKM_SHA384_RSA_PKCS},
    DigestRow{vocabulary::digest::sha512, EVP_sha512, CKM_SHA512_RSA_PKCS},
};

constexpr std::array pairs = {
    PairRow{vocabulary::keyType::rsa, CKM_RSA_PKCS_KEY_PAIR_GEN, {2048, 3072, 4096}},
    PairRow{vocabulary::keyType::ec,  CKM_EC_KEY_PAIR_GEN,       {256, 384, 521}},
};
// clang-format on

const DigestRow* rowOf(std::uint32_t digest) {
    const auto row = std::find_if(digests.begin(), digests.end(), [&](const auto& r) { return r.digest == digest; });
    return row == digests.end() ? nullptr : &*row;
}

using Mechanisms = std::vector<HostMechanism>;

const HostMechanism* find(const Mechanisms& list, CK_MECHANISM_TYPE type) {
    const auto found = std::find_if(list.begin(), list.end(), [type](const auto& m) { return m.type == type; });
    return found == list.end() ? nullptr : &*found;
}

bool has(const Mechanisms& list, CK_MECHANISM_TYPE type) { return find(list, type) != nullptr; }

// RSA signs with a mechanism that also computes the digest, or with the plain one. The mechanism of EC takes a digest
// that is computed here.
bool canSign(const Mechanisms& mechanisms, std::uint32_t keyType, const DigestRow& digest) {
    if (keyType == vocabulary::keyType::ec) return has(mechanisms, CKM_ECDSA);
    return has(mechanisms, digest.withRsa) || has(mechanisms, CKM_RSA_PKCS);
}

std::vector<std::uint32_t> sizesOf(const HostMechanism& making, const PairRow& row) {
    const bool known = making.largestKey != 0;
    std::vector<std::uint32_t> sizes;
    for (const std::uint32_t bits : row.bits) {
        if (!known || (bits >= making.smallestKey && bits <= making.largestKey)) sizes.push_back(bits);
    }
    return sizes;
}

// ---- signing

std::string hashed(const EVP_MD* kind, const std::string& bytes) {
    std::string digest(static_cast<std::size_t>(EVP_MD_get_size(kind)), '\0');
    EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(digest.data()), nullptr, kind, nullptr);
    return digest;
}

// Returns the bytes that PKCS#1 signs: the digest and the identifier of its algorithm.
std::string digestInfo(const EVP_MD* kind, const std::string& bytes) {
    const std::unique_ptr<X509_SIG, Release<X509_SIG_free>> info(X509_SIG_new());
    X509_ALGOR* algorithm = nullptr;
    ASN1_OCTET_STRING* value = nullptr;
    X509_SIG_getm(info.get(), &algorithm, &value);
    X509_ALGOR_set_md(algorithm, kind);
    const std::string digest = hashed(kind, bytes);
    ASN1_OCTET_STRING_set(value, bytesOf(digest), static_cast<int>(digest.size()));
    return derOf(info.get(), i2d_X509_SIG);
}

// Tokens return the two numbers one after the other; X.509 has them in a sequence.
std::string ecSignature(const std::string& numbers) {
    const std::size_t half = numbers.size() / 2;
    const std::unique_ptr<ECDSA_SIG, Release<ECDSA_SIG_free>> signature(ECDSA_SIG_new());
    ECDSA_SIG_set0(signature.get(), BN_bin2bn(bytesOf(numbers), static_cast<int>(half), nullptr),
                   BN_bin2bn(bytesOf(numbers) + half, static_cast<int>(numbers.size() - half), nullptr));
    return derOf(signature.get(), i2d_ECDSA_SIG);
}

} // namespace

const EVP_MD* digestOf(std::uint32_t digest) {
    const DigestRow* row = rowOf(digest);
    return row ? row->openssl() : nullptr;
}

RequestChoices::RequestChoices(const Mechanisms& mechanisms) {
    for (const PairRow& row : pairs) {
        const HostMechanism* making = find(mechanisms, row.make);
        if (!making) continue;
        CertRequestKeyInfo info{row.keyType, sizesOf(*making, row), {}};
        for (const DigestRow& digest : digests) {
            if (canSign(mechanisms, row.keyType, digest)) info.digests.push_back(digest.digest);
        }
        if (!info.keyBits.empty() && !info.digests.empty()) list_.push_back(std::move(info));
    }
}

const CertRequestKeyInfo* RequestChoices::choice(std::uint32_t keyType) const {
    const auto found = std::find_if(list_.begin(), list_.end(), [&](const auto& c) { return c.keyType == keyType; });
    return found == list_.end() ? nullptr : &*found;
}

bool RequestChoices::offers(std::uint32_t keyType, std::uint32_t keyBits) const {
    const CertRequestKeyInfo* found = choice(keyType);
    return found && std::find(found->keyBits.begin(), found->keyBits.end(), keyBits) != found->keyBits.end();
}

bool RequestChoices::offersDigest(CK_KEY_TYPE keyType, std::uint32_t digest) const {
    const CertRequestKeyInfo* found = choice(static_cast<std::uint32_t>(keyType));
    return found && std::find(found->digests.begin(), found->digests.end(), digest) != found->digests.end();
}

std::string signOnToken(HeldToken& token, const TokenKeyPair& pair, const Mechanisms& mechanisms, std::uint32_t digest,
                        const std::string& bytes, const platform::Secret* pin) {
    const DigestRow& row = *rowOf(digest);
    const auto signatureBy = [&](CK_MECHANISM_TYPE mechanism, const std::string& input) {
        HostSigning wish{0, pair.privateKey, mechanism, input, pin != nullptr, {}};
        if (pin) wish.pin = *pin;
        return token.sign(std::move(wish));
    };
    if (pair.type == CKK_EC) return ecSignature(signatureBy(CKM_ECDSA, hashed(row.openssl(), bytes)));
    if (has(mechanisms, row.withRsa)) return signatureBy(row.withRsa, bytes);
    return signatureBy(CKM_RSA_PKCS, digestInfo(row.openssl(), bytes));
}

} // namespace panelkitd
