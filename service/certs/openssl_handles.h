// SPDX-License-Identifier: MIT
//
// Owning handles for OpenSSL's objects, and OpenSSL's readers and writers for byte strings.
#pragma once

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>
#include <string_view>

namespace panelkitd {

template <auto release>
struct Release {
    template <class T>
    void operator()(T* object) const {
        release(object);
    }
};

inline void freeCertificates(STACK_OF(X509) * stack) { sk_X509_pop_free(stack, X509_free); }
inline void freeExtensions(STACK_OF(X509_EXTENSION) * stack) { sk_X509_EXTENSION_pop_free(stack, X509_EXTENSION_free); }
inline void freeBags(STACK_OF(PKCS12_SAFEBAG) * stack) { sk_PKCS12_SAFEBAG_pop_free(stack, PKCS12_SAFEBAG_free); }
inline void freeSafes(STACK_OF(PKCS7) * stack) { sk_PKCS7_pop_free(stack, PKCS7_free); }

// clang-format off
using BioHandle         = std::unique_ptr<BIO, Release<BIO_free_all>>;
using CertificateHandle = std::unique_ptr<X509, Release<X509_free>>;
using CertificatesHandle = std::unique_ptr<STACK_OF(X509), Release<freeCertificates>>;
using CrlHandle         = std::unique_ptr<X509_CRL, Release<X509_CRL_free>>;
using KeyHandle         = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using Pkcs7Handle       = std::unique_ptr<PKCS7, Release<PKCS7_free>>;
using Pkcs12Handle      = std::unique_ptr<PKCS12, Release<PKCS12_free>>;
// clang-format on

inline const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// Returns a stream that reads the text, which must outlive it.
inline BioHandle readingBio(std::string_view text) {
    return BioHandle(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

// Returns a stream that collects its output, for takenText().
inline BioHandle collectingBio() { return BioHandle(BIO_new(BIO_s_mem())); }

inline std::string takenText(const BioHandle& bio) {
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
}

// Returns the DER of an object, made with OpenSSL's function for its type; empty when that fails.
template <class Object, class Encode>
std::string derOf(Object* object, Encode encode) {
    unsigned char* bytes = nullptr;
    const int size = encode(object, &bytes);
    if (size <= 0) return {};
    std::string der(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
    OPENSSL_clear_free(bytes, static_cast<std::size_t>(size));
    return der;
}

// Reads the object at the start of `text` and removes it. Returns null, with `text` unchanged, when there is none.
template <class Handle, class Decode>
Handle readDer(std::string_view& text, Decode decode) {
    const unsigned char* at = bytesOf(text);
    Handle object(decode(nullptr, &at, static_cast<long>(text.size())));
    if (object) text.remove_prefix(static_cast<std::size_t>(at - bytesOf(text)));
    return object;
}

// Returns a certificate from its DER; null when it is not one.
inline CertificateHandle certificateFrom(std::string_view der) { return readDer<CertificateHandle>(der, d2i_X509); }
inline CrlHandle crlFrom(std::string_view der) { return readDer<CrlHandle>(der, d2i_X509_CRL); }

} // namespace panelkitd
