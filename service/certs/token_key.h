// SPDX-License-Identifier: MIT
//
// Key pairs between OpenSSL's form and PKCS#11's: RSA, EC and Edwards curves.
#pragma once

#include <service/certs/openssl_handles.h>
#include <service/certs/token_attributes.h>

#include <string>

namespace panelkitd {

// What a key pair is called on its token.
struct KeyNames {
    std::string label;
    std::string id;
    std::string subject; // DER; may be empty
};

// The templates that store a key pair. Throw RefusedError (notSupported) for a kind that PKCS#11 tokens have no form
// for here.
void describePrivateKey(const EVP_PKEY* key, const KeyNames& names, bool extractable, ObjectTemplate& object);
void describePublicKey(const EVP_PKEY* key, const KeyNames& names, ObjectTemplate& object);

// A private key that its token gives out, checked against the certificate that it belongs to; null when the token does
// not give it out or it does not belong.
KeyHandle readPrivateKey(HeldToken& token, std::uint64_t object, const X509* certificate);

// Signs and verifies once: whether the two halves of a key belong together.
bool keyWorks(EVP_PKEY* key);

} // namespace panelkitd
