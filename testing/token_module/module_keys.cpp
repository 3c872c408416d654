// SPDX-License-Identifier: MIT
//
// Keys and signatures that only look real: a modulus is random bytes, and so is a signature. They let tests reach a
// caller's commands on keys.
#include <testing/token_module/module.h>

#include <testing/token_module/failure.h>
#include <testing/token_module/random.h>

#include <utility>

namespace panelkit::testing {

namespace {

constexpr std::string_view exponent("\1\0\1", 3);

template <class Number>
std::string_view bytesOf(const Number& number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

// An odd number with the highest bit set.
std::string pretendedModulus(CK_ULONG bits) {
    demand(bits >= 1024 && bits <= 4096 && bits % 8 == 0, CKR_KEY_SIZE_RANGE);
    std::string modulus = randomBytes(bits / 8);
    modulus.front() = static_cast<char>(0xC1);
    modulus.back() = static_cast<char>(modulus.back() | 1);
    return modulus;
}

} // namespace

std::vector<CK_MECHANISM_TYPE> Module::mechanisms(CK_SLOT_ID slot) const {
    if (!readTraits(folder_, slots_.withToken(slot).token).pretendsKeys) return {};
    return {CKM_RSA_PKCS_KEY_PAIR_GEN, CKM_RSA_PKCS};
}

KeyPair Module::generateKeyPair(CK_SESSION_HANDLE handle, Attributes publicKey, Attributes privateKey) {
    demand(!mechanisms(session(handle).slot).empty(), CKR_MECHANISM_INVALID);
    const std::string modulus = pretendedModulus(publicKey.number(CKA_MODULUS_BITS));
    const CK_ULONG publicClass = CKO_PUBLIC_KEY, privateClass = CKO_PRIVATE_KEY, type = CKK_RSA;
    publicKey.set(CKA_CLASS, bytesOf(publicClass));
    privateKey.set(CKA_CLASS, bytesOf(privateClass));
    for (Attributes* key : {&publicKey, &privateKey}) {
        key->set(CKA_KEY_TYPE, bytesOf(type));
        key->set(CKA_MODULUS, modulus);
        key->setUnlessThere(CKA_PUBLIC_EXPONENT, exponent);
    }
    KeyPair pair;
    pair.publicKey = createObject(handle, std::move(publicKey));
    pair.privateKey = createObject(handle, std::move(privateKey));
    return pair;
}

void Module::startSigning(CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE key) {
    const SharedAttributes found = object(handle, key);
    demand(found->number(CKA_CLASS) == CKO_PRIVATE_KEY && found->find(CKA_MODULUS), CKR_KEY_TYPE_INCONSISTENT);
    auto& size = openedSession(handle).signatureSize;
    demand(!size, CKR_OPERATION_ACTIVE);
    size = static_cast<CK_ULONG>(found->find(CKA_MODULUS)->size());
}

CK_ULONG Module::signatureSize(CK_SESSION_HANDLE handle) const {
    const auto size = session(handle).signatureSize;
    demand(size.has_value(), CKR_OPERATION_NOT_INITIALIZED);
    return *size;
}

void Module::endSigning(CK_SESSION_HANDLE handle) { openedSession(handle).signatureSize.reset(); }

} // namespace panelkit::testing
