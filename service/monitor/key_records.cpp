// SPDX-License-Identifier: MIT
#include <service/monitor/key_records.h>

#include <service/base/refused.h>
#include <service/certs/request_keys.h>
#include <service/certs/x509_text.h>

#include <platform/text/ascii.h>

#include <algorithm>
#include <bit>

namespace panelkitd {

using panelkit::KeyInfo;
using vocabulary::Refused;

namespace {

// An RSA key is recognised by its modulus. A private key on a curve does not have its point as an attribute, so its
// public half is the one with the same CKA_ID.
bool belongTogether(const StoredKey& key, const StoredPublicKey& candidate) {
    if (candidate.type != key.type) return false;
    if (!key.modulus.empty()) return candidate.material == key.modulus;
    return !key.id.empty() && candidate.id == key.id;
}

const StoredPublicKey* publicHalfOf(const StoredKey& key, const TokenObjects& objects) {
    const auto half = std::find_if(objects.publicKeys.begin(), objects.publicKeys.end(),
                                   [&](const StoredPublicKey& candidate) { return belongTogether(key, candidate); });
    return half == objects.publicKeys.end() ? nullptr : &*half;
}

bool isOf(const StoredCertificate& certificate, const StoredPublicKey& key) {
    return key.type == certificate.facts->info.keyType && key.material == certificate.facts->publicKey;
}

void addCertificates(std::vector<KeyPair>& pairs, const TokenObjects& objects) {
    for (const StoredCertificate& certificate : objects.certificates) {
        if (!certificate.facts->readable) continue;
        const StoredKey* const its = objects.keyOf(*certificate.facts, certificate.id);
        for (KeyPair& pair : pairs) {
            const bool byPublicKey = !pair.privateKey && isOf(certificate, *pair.publicKey);
            if (its && pair.privateKey == its) pair.certificates.push_back(&certificate);
            if (!its && byPublicKey) pair.certificates.push_back(&certificate);
        }
    }
}

std::uint32_t bitsOf(const std::string& modulus) {
    if (modulus.empty()) return 0;
    const int zeros = std::countl_zero(static_cast<unsigned char>(modulus[0]));
    return static_cast<std::uint32_t>(8 * modulus.size()) - static_cast<std::uint32_t>(zeros);
}

void describePublicKey(const StoredPublicKey& stored, KeyInfo& info) {
    info.hasPublicKey = true;
    const KeyHandle key = publicHalf(stored);
    if (!key) return;
    info.keyBits = static_cast<std::uint32_t>(std::max(0, EVP_PKEY_get_bits(key.get())));
    info.fingerprint = platform::hexText(sha256(derOf(key.get(), i2d_PUBKEY)));
}

bool isRecordOf(const KeyInfo& record, const KeyInfo& now) {
    return record.label == now.label && record.id == now.id && record.keyType == now.keyType &&
           record.fingerprint == now.fingerprint && record.hasPrivateKey == now.hasPrivateKey &&
           record.hasPublicKey == now.hasPublicKey;
}

} // namespace

std::vector<std::uint64_t> KeyPair::numbers() const {
    std::vector<std::uint64_t> both;
    if (privateKey) both.push_back(privateKey->object);
    if (publicKey) both.push_back(publicKey->object);
    return both;
}

std::vector<KeyPair> keyPairs(const TokenObjects& objects) {
    std::vector<KeyPair> pairs;
    for (const StoredKey& key : objects.keys) pairs.push_back({&key, publicHalfOf(key, objects), {}});
    for (const StoredPublicKey& key : objects.publicKeys) {
        const auto takes = [&](const KeyPair& pair) { return pair.publicKey == &key; };
        if (std::none_of(pairs.begin(), pairs.end(), takes)) pairs.push_back({nullptr, &key, {}});
    }
    addCertificates(pairs, objects);
    return pairs;
}

KeyInfo describe(const KeyPair& pair) {
    KeyInfo info;
    if (pair.publicKey) {
        info.label = pair.publicKey->label;
        info.id = platform::hexText(pair.publicKey->id);
        info.keyType = static_cast<std::uint32_t>(pair.publicKey->type);
        describePublicKey(*pair.publicKey, info);
    }
    if (const StoredKey* const key = pair.privateKey) {
        info.label = key->label;
        info.id = platform::hexText(key->id);
        info.keyType = static_cast<std::uint32_t>(key->type);
        if (info.keyBits == 0) info.keyBits = bitsOf(key->modulus);
        info.hasPrivateKey = true;
        info.usable = key->signs;
        info.extractable = key->extractable;
        info.asksForPin = key->asksForPin;
    }
    for (const StoredCertificate* certificate : pair.certificates) {
        info.certificates.push_back(certificate->facts->info.fingerprint);
    }
    return info;
}

KeyPair findPair(const TokenObjects& objects, const KeyInfo& record) {
    std::vector<KeyPair> pairs = keyPairs(objects);
    std::erase_if(pairs, [&](const KeyPair& pair) { return !isRecordOf(record, describe(pair)); });
    if (pairs.empty()) throw RefusedError(Refused::noSuchObject, "the key is not on the token");
    if (pairs.size() > 1) {
        throw RefusedError(Refused::badInput, "the token has %d keys that can't be told apart", pairs.size());
    }
    return std::move(pairs[0]);
}

} // namespace panelkitd
