// SPDX-License-Identifier: MIT
//
// Making key pairs on a token, and finding them again.
#include <service/base/refused.h>
#include <service/certs/request_keys.h>
#include <service/certs/token_objects.h>
#include <service/tokens/cryptoki.h>

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
std::string rsaPublicKey(const OpenToken& token, CK_OBJECT_HANDLE object) {
    AttributeReader reader(token, {CKA_MODULUS, CKA_PUBLIC_EXPONENT});
    if (!reader.read(object)) return {};
    std::string content;
    for (const std::size_t place : {std::size_t{0}, std::size_t{1}}) {
        const std::string bytes = reader.bytes(place);
        const std::unique_ptr<BIGNUM, Release<BN_free>> number(
            BN_bin2bn(bytesOf(bytes), static_cast<int>(bytes.size()), nullptr));
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
    // Takes parameter and copy over.
    if (!X509_PUBKEY_set0_param(encoded.get(), OBJ_nid2obj(algorithm), parameterKind, parameter, copy,
                                static_cast<int>(bits.size()))) {
        return nullptr;
    }
    const std::string der = derOf(encoded.get(), i2d_X509_PUBKEY); // a key is decoded only as it is read
    std::string_view rest = der;
    return readDer<KeyHandle>(rest, d2i_PUBKEY);
}

KeyHandle publicHalf(const OpenToken& token, const StoredPublicKey& stored) {
    if (stored.type == CKK_RSA) {
        return publicKeyOf(NID_rsaEncryption, V_ASN1_NULL, nullptr, rsaPublicKey(token, stored.object));
    }
    if (stored.type != CKK_EC) return nullptr;
    std::string_view der = stored.curve;
    const unsigned char* at = bytesOf(der);
    ASN1_OBJECT* curve = d2i_ASN1_OBJECT(nullptr, &at, static_cast<long>(der.size()));
    return curve ? publicKeyOf(NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, curve, stored.material) : nullptr;
}

std::optional<TokenKeyPair> completed(const OpenToken& token, CK_OBJECT_HANDLE privateKey,
                                      const StoredPublicKey& stored) {
    KeyHandle key = publicHalf(token, stored);
    if (!key) return std::nullopt;
    return TokenKeyPair{privateKey, stored.object, stored.type, std::move(key)};
}

std::optional<TokenKeyPair> pairOf(const OpenToken& token, CK_OBJECT_HANDLE privateKey, CK_OBJECT_HANDLE publicKey) {
    for (const StoredPublicKey& stored : readPublicKeys(token)) {
        if (stored.object == publicKey) return completed(token, privateKey, stored);
    }
    return std::nullopt;
}

} // namespace

TokenKeyPair generatePair(const OpenToken& token, const CertRequestInfo& wish, const std::string& label,
                          ObjectsMade& made) {
    const std::string id = randomId();
    ObjectTemplate publicHalf, privateHalf;
    publicHalf.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false).flag(CKA_VERIFY, true);
    publicHalf.bytes(CKA_LABEL, label).bytes(CKA_ID, id);
    privateHalf.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, true).flag(CKA_SENSITIVE, true);
    privateHalf.flag(CKA_EXTRACTABLE, false).flag(CKA_SIGN, true).bytes(CKA_LABEL, label).bytes(CKA_ID, id);
    const bool isRsa = wish.keyType == vocabulary::keyType::rsa;
    if (isRsa) {
        publicHalf.number(CKA_MODULUS_BITS, wish.keyBits).bytes(CKA_PUBLIC_EXPONENT, std::string("\1\0\1", 3));
    } else {
        publicHalf.bytes(CKA_EC_PARAMS, curveParameters(wish.keyBits));
    }
    CK_MECHANISM mechanism{isRsa ? CKM_RSA_PKCS_KEY_PAIR_GEN : CKM_EC_KEY_PAIR_GEN, nullptr, 0};
    auto publicAttributes = publicHalf.attributes(), privateAttributes = privateHalf.attributes();
    CK_OBJECT_HANDLE publicKey = 0, privateKey = 0;
    check(token.library()->C_GenerateKeyPair(token.session(), &mechanism, publicAttributes.data(),
                                             static_cast<CK_ULONG>(publicAttributes.size()), privateAttributes.data(),
                                             static_cast<CK_ULONG>(privateAttributes.size()), &publicKey, &privateKey),
          "C_GenerateKeyPair");
    made.add(publicKey);
    made.add(privateKey);
    auto pair = pairOf(token, privateKey, publicKey);
    if (!pair) throw RefusedError(Refused::deviceError, "the token made a key that can't be read");
    return std::move(*pair);
}

std::vector<TokenKeyPair> findPairs(const OpenToken& token, const std::string& label) {
    std::vector<TokenKeyPair> found;
    const std::vector<StoredPublicKey> publicKeys = readPublicKeys(token);
    for (const StoredKey& key : readKeys(token)) {
        if (key.label != label) continue;
        const auto other = std::find_if(publicKeys.begin(), publicKeys.end(), [&](const StoredPublicKey& candidate) {
            if (candidate.type != key.type) return false;
            return key.modulus.empty() ? candidate.id == key.id : candidate.material == key.modulus;
        });
        if (other == publicKeys.end()) continue;
        if (auto pair = completed(token, key.object, *other)) found.push_back(std::move(*pair));
    }
    return found;
}

bool isLabelTaken(const OpenToken& token, const std::string& label) {
    const auto keys = readKeys(token);
    return std::any_of(keys.begin(), keys.end(), [&](const StoredKey& key) { return key.label == label; });
}

} // namespace panelkitd
