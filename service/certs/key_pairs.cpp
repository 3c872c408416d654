// SPDX-License-Identifier: MIT
//
// Creates key pairs on a token, and finds those that are there.
#include <service/base/refused.h>
#include <service/certs/request_keys.h>
#include <service/certs/token_objects.h>

#include <vocabulary/certs.h>

#include <openssl/rand.h>

#include <algorithm>
#include <array>

namespace panelkitd {

using vocabulary::Refused;

namespace {

struct CurveRow {
    std::uint32_t bits;
    int object;
};

constexpr std::array curves = {
    CurveRow{256, NID_X9_62_prime256v1},
    CurveRow{384, NID_secp384r1},
    CurveRow{521, NID_secp521r1},
};

std::string curveParameters(std::uint32_t bits) {
    const auto row = std::find_if(curves.begin(), curves.end(), [&](const CurveRow& r) { return r.bits == bits; });
    return row == curves.end() ? std::string() : derOf(OBJ_nid2obj(row->object), i2d_ASN1_OBJECT);
}

std::string randomId() {
    std::string id(20, '\0');
    RAND_bytes(reinterpret_cast<unsigned char*>(id.data()), static_cast<int>(id.size()));
    return id;
}

// The RSAPublicKey of X.509: two numbers in a sequence.
std::string rsaPublicKey(const StoredPublicKey& stored) {
    std::string content;
    for (const std::string* bytes : {&stored.material, &stored.rest}) {
        const std::unique_ptr<BIGNUM, Release<BN_free>> number(
            BN_bin2bn(bytesOf(*bytes), static_cast<int>(bytes->size()), nullptr));
        const std::unique_ptr<ASN1_INTEGER, Release<ASN1_INTEGER_free>> integer(
            BN_to_ASN1_INTEGER(number.get(), nullptr));
        content += derOf(integer.get(), i2d_ASN1_INTEGER);
    }
    const int size = ASN1_object_size(1, static_cast<int>(content.size()), V_ASN1_SEQUENCE);
    std::string sequence(static_cast<std::size_t>(std::max(size, 0)) - content.size(), '\0');
    auto* at = reinterpret_cast<unsigned char*>(sequence.data());
    ASN1_put_object(&at, 1, static_cast<int>(content.size()), V_ASN1_SEQUENCE, V_ASN1_UNIVERSAL);
    return sequence + content;
}

// A public key for OpenSSL from its algorithm, parameters and bits.
KeyHandle publicKeyOf(int algorithm, int parameterKind, void* parameter, const std::string& bits) {
    const std::unique_ptr<X509_PUBKEY, Release<X509_PUBKEY_free>> encoded(X509_PUBKEY_new());
    auto* copy = static_cast<unsigned char*>(OPENSSL_memdup(bits.data(), bits.size()));
    // This call takes ownership of the parameter and the copy.
    if (!X509_PUBKEY_set0_param(encoded.get(), OBJ_nid2obj(algorithm), parameterKind, parameter, copy,
                                static_cast<int>(bits.size()))) {
        return nullptr;
    }
    const std::string der = derOf(encoded.get(), i2d_X509_PUBKEY); // a key is decoded only as it is read
    std::string_view rest = der;
    return readDer<KeyHandle>(rest, d2i_PUBKEY);
}

} // namespace

KeyHandle publicHalf(const StoredPublicKey& stored) {
    if (stored.type == CKK_RSA) return publicKeyOf(NID_rsaEncryption, V_ASN1_NULL, nullptr, rsaPublicKey(stored));
    if (stored.type != CKK_EC) return nullptr;
    std::string_view der = stored.rest;
    const unsigned char* at = bytesOf(der);
    ASN1_OBJECT* curve = d2i_ASN1_OBJECT(nullptr, &at, static_cast<long>(der.size()));
    return curve ? publicKeyOf(NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, curve, stored.material) : nullptr;
}

TokenKeyPair generatePair(HeldToken& token, const CertRequestInfo& wish, const std::string& label) {
    const std::string id = randomId();
    ObjectTemplate publicKey, privateKey;
    publicKey.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false).flag(CKA_VERIFY, true);
    publicKey.bytes(CKA_LABEL, label).bytes(CKA_ID, id);
    privateKey.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, true).flag(CKA_SENSITIVE, true);
    privateKey.flag(CKA_EXTRACTABLE, false).flag(CKA_SIGN, true).bytes(CKA_LABEL, label).bytes(CKA_ID, id);
    const bool isRsa = wish.keyType == vocabulary::keyType::rsa;
    if (isRsa) {
        publicKey.number(CKA_MODULUS_BITS, wish.keyBits).bytes(CKA_PUBLIC_EXPONENT, std::string("\1\0\1", 3));
    } else {
        publicKey.bytes(CKA_EC_PARAMS, curveParameters(wish.keyBits));
    }
    const HostKeyPair made = token.generate(
        {isRsa ? CKM_RSA_PKCS_KEY_PAIR_GEN : CKM_EC_KEY_PAIR_GEN, publicKey, privateKey, publicKeyReading().types});
    const StoredPublicKey stored = publicKeyFrom(made.publicKey, made.values);
    KeyHandle key = publicHalf(stored);
    if (key) return {made.privateKey, made.publicKey, stored.type, std::move(key)};
    token.destroy({made.privateKey, made.publicKey});
    throw RefusedError(Refused::deviceError, "the token made a key that can't be read");
}

std::vector<TokenKeyPair> findPairs(const TokenObjects& keys, const std::string& label) {
    std::vector<TokenKeyPair> found;
    for (const StoredKey& key : keys.keys) {
        if (key.label != label) continue;
        const auto other =
            std::find_if(keys.publicKeys.begin(), keys.publicKeys.end(), [&](const StoredPublicKey& candidate) {
                if (candidate.type != key.type) return false;
                return key.modulus.empty() ? candidate.id == key.id : candidate.material == key.modulus;
            });
        if (other == keys.publicKeys.end()) continue;
        if (KeyHandle half = publicHalf(*other)) {
            found.push_back({key.object, other->object, key.type, std::move(half)});
        }
    }
    return found;
}

} // namespace panelkitd
