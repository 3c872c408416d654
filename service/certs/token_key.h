// SPDX-License-Identifier: MIT
//
// Converts key pairs between OpenSSL's form and that of PKCS#11: RSA, EC and Edwards curves.
#pragma once

#include <service/certs/openssl_handles.h>
#include <service/certs/token_attributes.h>

#include <string>

namespace panelkitd {

// The names of a key pair on its token.
struct KeyNames {
    std::string label;
    std::string id;
    std::string subject; // DER; may be empty
};

// Return the templates that store a key pair. Throw RefusedError (notSupported) for a kind of key that can't be stored
// here.
void describePrivateKey(const EVP_PKEY* key, const KeyNames& names, bool extractable, ObjectTemplate& object);
void describePublicKey(const EVP_PKEY* key, const KeyNames& names, ObjectTemplate& object);

// Returns a private key that its token allows to be read. Returns null when the token keeps it secret, or when it does
// not belong to the certificate.
KeyHandle readPrivateKey(HeldToken& token, std::uint64_t object, const X509* certificate);

// Returns whether the two halves of a key pair belong together. Signs and verifies once to find that out.
bool keyWorks(EVP_PKEY* key);

} // namespace panelkitd
