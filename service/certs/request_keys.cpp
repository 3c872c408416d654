// SPDX-License-Identifier: MIT
//
// What a token offers, and signing with it.
#include <service/certs/request_keys.h>

#include <service/base/refused.h>
#include <service/tokens/cryptoki.h>

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

constexpr CK_ULONG mostMechanisms = 4096;

const DigestRow* rowOf(std::uint32_t digest) {
    const auto row = std::find_if(digests.begin(), digests.end(), [&](const auto& r) { return r.digest == digest; });
    return row == digests.end() ? nullptr : &*row;
}

std::vector<CK_MECHANISM_TYPE> mechanismsOf(const HeldToken& token) {
    CK_ULONG count = 0;
    check(token.library()->C_GetMechanismList(token.slot(), nullptr, &count), "C_GetMechanismList");
    if (count > mostMechanisms) {
        throw RefusedError(Refused::deviceError, "the token announces %d mechanisms, which can't be right", count);
    }
    std::vector<CK_MECHANISM_TYPE> list(count);
    if (list.empty()) return list;
    check(token.library()->C_GetMechanismList(token.slot(), list.data(), &count), "C_GetMechanismList");
    list.resize(std::min<std::size_t>(count, list.size()));
    return list;
}

bool has(const std::vector<CK_MECHANISM_TYPE>& list, CK_MECHANISM_TYPE mechanism) {
    return std::find(list.begin(), list.end(), mechanism) != list.end();
}

// RSA by a mechanism that takes the digest as well, or by the plain one; EC's takes digests that are made here.
bool canSign(const std::vector<CK_MECHANISM_TYPE>& mechanisms, std::uint32_t keyType, const DigestRow& digest) {
    if (keyType == vocabulary::keyType::ec) return has(mechanisms, CKM_ECDSA);
    return has(mechanisms, digest.withRsa) || has(mechanisms, CKM_RSA_PKCS);
}

std::vector<std::uint32_t> sizesOf(const HeldToken& token, const PairRow& row) {
    CK_MECHANISM_INFO info{};
    const auto ask = token.library()->C_GetMechanismInfo;
    const bool known = ask && ask(token.slot(), row.make, &info) == CKR_OK && info.ulMaxKeySize != 0;
    std::vector<std::uint32_t> sizes;
    for (const std::uint32_t bits : row.bits) {
        if (!known || (bits >= info.ulMinKeySize && bits <= info.ulMaxKeySize)) sizes.push_back(bits);
    }
    return sizes;
}

// ---- signing

std::string signatureBy(const OpenToken& token, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE kind,
                        const std::string& bytes) {
    CK_MECHANISM mechanism{kind, nullptr, 0};
    check(token.library()->C_SignInit(token.session(), &mechanism, key), "C_SignInit");
    std::string signature(2048, '\0'); // larger than that of any key that can be made
    auto size = static_cast<CK_ULONG>(signature.size());
    check(token.library()->C_Sign(token.session(), mutableBytes(bytes), static_cast<CK_ULONG>(bytes.size()),
                                  mutableBytes(signature), &size),
          "C_Sign");
    signature.resize(std::min<std::size_t>(size, signature.size()));
    return signature;
}

std::string hashed(const EVP_MD* kind, const std::string& bytes) {
    std::string digest(static_cast<std::size_t>(EVP_MD_get_size(kind)), '\0');
    EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(digest.data()), nullptr, kind, nullptr);
    return digest;
}

// What PKCS#1 signs: the digest and its name.
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

// Tokens give the two numbers side by side; X.509 has them in a sequence.
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

RequestChoices::RequestChoices(const HeldToken& token) {
    const std::vector<CK_MECHANISM_TYPE> mechanisms = mechanismsOf(token);
    for (const PairRow& row : pairs) {
        if (!has(mechanisms, row.make)) continue;
        CertRequestKeyInfo info{row.keyType, sizesOf(token, row), {}};
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

std::string signOnToken(const OpenToken& token, const TokenKeyPair& pair, std::uint32_t digest,
                        const std::string& bytes) {
    const DigestRow& row = *rowOf(digest);
    if (pair.type == CKK_EC) {
        return ecSignature(signatureBy(token, pair.privateKey, CKM_ECDSA, hashed(row.openssl(), bytes)));
    }
    if (has(mechanismsOf(token.token()), row.withRsa)) return signatureBy(token, pair.privateKey, row.withRsa, bytes);
    return signatureBy(token, pair.privateKey, CKM_RSA_PKCS, digestInfo(row.openssl(), bytes));
}

} // namespace panelkitd
