// SPDX-License-Identifier: MIT
#include <service/certs/token_key.h>

#include <service/base/refused.h>

#include <platform/system/secret.h>

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/param_build.h>

#include <array>
#include <vector>

namespace panelkitd {

namespace {

using NumberHandle = std::unique_ptr<BIGNUM, Release<BN_clear_free>>;

struct NumberRow {
    CK_ATTRIBUTE_TYPE attribute;
    const char* parameter;
};

// clang-format off
constexpr std::array rsaNumbers = {
    NumberRow{CKA_MODULUS,          OSSL_PKEY_PARAM_RSA_N},
    NumberRow{CKA_PUBLIC_EXPONENT,  OSSL_PKEY_PARAM_RSA_E},
    NumberRow{CKA_PRIVATE_EXPONENT, OSSL_PKEY_PARAM_RSA_D},
    NumberRow{CKA_PRIME_1,          OSSL_PKEY_PARAM_RSA_FACTOR1},
    NumberRow{CKA_PRIME_2,          OSSL_PKEY_PARAM_RSA_FACTOR2},
    NumberRow{CKA_EXPONENT_1,       OSSL_PKEY_PARAM_RSA_EXPONENT1},
    NumberRow{CKA_EXPONENT_2,       OSSL_PKEY_PARAM_RSA_EXPONENT2},
    NumberRow{CKA_COEFFICIENT,      OSSL_PKEY_PARAM_RSA_COEFFICIENT1},
};
// clang-format on
constexpr std::size_t publicRsaNumbers = 2;

void addNumber(const EVP_PKEY* key, const NumberRow& row, ObjectTemplate& object) {
    BIGNUM* number = nullptr;
    if (!EVP_PKEY_get_bn_param(key, row.parameter, &number)) return; // a key may come without its primes
    const NumberHandle owned(number);
    platform::Secret bytes;
    BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.make(static_cast<std::size_t>(BN_num_bytes(number)))));
    object.bytes(row.attribute, bytes);
}

CK_KEY_TYPE keyType(const EVP_PKEY* key) {
    switch (EVP_PKEY_get_base_id(key)) {
    case EVP_PKEY_RSA: return CKK_RSA;
    case EVP_PKEY_EC: return CKK_EC;
    case EVP_PKEY_ED25519:
    case EVP_PKEY_ED448: return CKK_EC_EDWARDS;
    default: throw RefusedError(vocabulary::Refused::notSupported, "keys of this kind can't be stored on tokens");
    }
}

// The parts of a public key, as certificates have them.
struct PublicParts {
    std::string curve; // DER of the curve's parameters
    std::string point; // in a DER octet string
};

PublicParts partsOf(const EVP_PKEY* key) {
    X509_PUBKEY* raw = nullptr;
    X509_PUBKEY_set(&raw, const_cast<EVP_PKEY*>(key)); // NOLINT(*-const-cast): it only reads
    const std::unique_ptr<X509_PUBKEY, Release<X509_PUBKEY_free>> encoded(raw);
    ASN1_OBJECT* kind = nullptr;
    X509_ALGOR* algorithm = nullptr;
    const unsigned char* bits = nullptr;
    int size = 0;
    X509_PUBKEY_get0_param(&kind, &bits, &size, &algorithm, encoded.get());
    const std::unique_ptr<ASN1_OCTET_STRING, Release<ASN1_OCTET_STRING_free>> point(ASN1_OCTET_STRING_new());
    ASN1_OCTET_STRING_set(point.get(), bits, size);
    // Edwards curves have no parameters: the type of the key already says which curve it is.
    std::string curve =
        algorithm->parameter ? derOf(algorithm->parameter, i2d_ASN1_TYPE) : derOf(kind, i2d_ASN1_OBJECT);
    return {std::move(curve), derOf(point.get(), i2d_ASN1_OCTET_STRING)};
}

void addSecretScalar(const EVP_PKEY* key, ObjectTemplate& object) {
    if (keyType(key) == CKK_EC) return addNumber(key, {CKA_VALUE, OSSL_PKEY_PARAM_PRIV_KEY}, object);
    std::size_t size = 0;
    EVP_PKEY_get_raw_private_key(key, nullptr, &size);
    platform::Secret bytes;
    EVP_PKEY_get_raw_private_key(key, reinterpret_cast<unsigned char*>(bytes.make(size)), &size);
    object.bytes(CKA_VALUE, bytes);
}

void addNames(const KeyNames& names, ObjectTemplate& object) {
    object.bytes(CKA_LABEL, names.label).bytes(CKA_ID, names.id);
    if (!names.subject.empty()) object.bytes(CKA_SUBJECT, names.subject);
}

// ---- from a token

NumberHandle numberFrom(const std::string& bytes) {
    return NumberHandle(BN_bin2bn(bytesOf(bytes), static_cast<int>(bytes.size()), nullptr));
}

// Returns the key made from the parameters in the builder.
KeyHandle builtKey(const char* kind, OSSL_PARAM_BLD* builder) {
    const std::unique_ptr<OSSL_PARAM, Release<OSSL_PARAM_free>> parameters(OSSL_PARAM_BLD_to_param(builder));
    const std::unique_ptr<EVP_PKEY_CTX, Release<EVP_PKEY_CTX_free>> context(
        EVP_PKEY_CTX_new_from_name(nullptr, kind, nullptr));
    EVP_PKEY* key = nullptr;
    if (!parameters || EVP_PKEY_fromdata_init(context.get()) != 1) return nullptr;
    EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_KEYPAIR, parameters.get());
    return KeyHandle(key);
}

using Builder = std::unique_ptr<OSSL_PARAM_BLD, Release<OSSL_PARAM_BLD_free>>;

KeyHandle rsaKey(HeldToken& token, std::uint64_t object) {
    std::vector<std::uint64_t> types;
    for (const NumberRow& row : rsaNumbers) types.push_back(row.attribute);
    const std::vector<HostValue> values = token.read(object, types);
    const Builder builder(OSSL_PARAM_BLD_new());
    std::vector<NumberHandle> numbers;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i].bytes.empty()) return nullptr;
        numbers.push_back(numberFrom(values[i].bytes));
        OSSL_PARAM_BLD_push_BN(builder.get(), rsaNumbers[i].parameter, numbers.back().get());
    }
    return numbers.empty() ? nullptr : builtKey("RSA", builder.get());
}

// The private number comes from the token, the curve and the point from the certificate.
KeyHandle ecKey(const std::string& scalar, const EVP_PKEY* publicKey) {
    std::array<char, 64> group{};
    std::array<unsigned char, 256> point{};
    std::size_t groupSize = 0, pointSize = 0;
    const bool known = EVP_PKEY_get_utf8_string_param(publicKey, OSSL_PKEY_PARAM_GROUP_NAME, group.data(), group.size(),
                                                      &groupSize) == 1 &&
                       EVP_PKEY_get_octet_string_param(publicKey, OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size(),
                                                       &pointSize) == 1;
    if (!known) return nullptr;
    const Builder builder(OSSL_PARAM_BLD_new());
    const NumberHandle number = numberFrom(scalar);
    OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, group.data(), groupSize);
    OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(), pointSize);
    OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_PRIV_KEY, number.get());
    return builtKey("EC", builder.get());
}

KeyHandle curveKey(HeldToken& token, std::uint64_t object, const EVP_PKEY* publicKey) {
    const std::vector<HostValue> values = token.read(object, {CKA_VALUE});
    if (values.empty() || values[0].bytes.empty()) return nullptr;
    const std::string& scalar = values[0].bytes;
    const int kind = EVP_PKEY_get_base_id(publicKey);
    if (kind == EVP_PKEY_EC) return ecKey(scalar, publicKey);
    return KeyHandle(EVP_PKEY_new_raw_private_key(kind, nullptr, bytesOf(scalar), scalar.size()));
}

} // namespace

void describePrivateKey(const EVP_PKEY* key, const KeyNames& names, bool extractable, ObjectTemplate& object) {
    const CK_KEY_TYPE type = keyType(key);
    object.number(CKA_CLASS, CKO_PRIVATE_KEY).number(CKA_KEY_TYPE, type).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, true);
    object.flag(CKA_SENSITIVE, !extractable).flag(CKA_EXTRACTABLE, extractable).flag(CKA_SIGN, true);
    addNames(names, object);
    if (type != CKK_RSA) {
        object.bytes(CKA_EC_PARAMS, partsOf(key).curve);
        return addSecretScalar(key, object);
    }
    object.flag(CKA_DECRYPT, true);
    for (const NumberRow& row : rsaNumbers) addNumber(key, row, object);
}

void describePublicKey(const EVP_PKEY* key, const KeyNames& names, ObjectTemplate& object) {
    const CK_KEY_TYPE type = keyType(key);
    object.number(CKA_CLASS, CKO_PUBLIC_KEY).number(CKA_KEY_TYPE, type).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false);
    object.flag(CKA_VERIFY, true);
    addNames(names, object);
    if (type != CKK_RSA) {
        const PublicParts parts = partsOf(key);
        object.bytes(CKA_EC_PARAMS, parts.curve).bytes(CKA_EC_POINT, parts.point);
        return;
    }
    for (std::size_t i = 0; i < publicRsaNumbers; ++i) addNumber(key, rsaNumbers[i], object);
}

KeyHandle readPrivateKey(HeldToken& token, std::uint64_t object, const X509* certificate) {
    const EVP_PKEY* publicKey = X509_get0_pubkey(certificate);
    if (!publicKey) return nullptr;
    const bool isRsa = EVP_PKEY_get_base_id(publicKey) == EVP_PKEY_RSA;
    KeyHandle key = isRsa ? rsaKey(token, object) : curveKey(token, object, publicKey);
    // The public half of a key on a curve is that of the certificate, so only a signature shows that it belongs.
    const bool belongs = key && X509_check_private_key(certificate, key.get()) == 1 && keyWorks(key.get());
    ERR_clear_error();
    return belongs ? std::move(key) : nullptr;
}

bool keyWorks(EVP_PKEY* key) {
    constexpr std::string_view sample = "a key whose halves belong together verifies what it signs";
    const bool isEdwards = EVP_PKEY_get_base_id(key) == EVP_PKEY_ED25519 || EVP_PKEY_get_base_id(key) == EVP_PKEY_ED448;
    const EVP_MD* digest = isEdwards ? nullptr : EVP_sha256();
    using Context = std::unique_ptr<EVP_MD_CTX, Release<EVP_MD_CTX_free>>;
    const Context signing(EVP_MD_CTX_new()), verifying(EVP_MD_CTX_new());
    std::vector<unsigned char> signature(static_cast<std::size_t>(EVP_PKEY_get_size(key)));
    std::size_t size = signature.size();
    const bool works = EVP_DigestSignInit(signing.get(), nullptr, digest, nullptr, key) == 1 &&
                       EVP_DigestSign(signing.get(), signature.data(), &size, bytesOf(sample), sample.size()) == 1 &&
                       EVP_DigestVerifyInit(verifying.get(), nullptr, digest, nullptr, key) == 1 &&
                       EVP_DigestVerify(verifying.get(), signature.data(), size, bytesOf(sample), sample.size()) == 1;
    ERR_clear_error();
    return works;
}

} // namespace panelkitd
