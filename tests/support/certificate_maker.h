// SPDX-License-Identifier: MIT
//
// Makes keys, certificates, CRLs and containers for tests, including unusual ones: any validity, serial number, kind of
// string and set of extensions. Throws std::runtime_error on failure.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

using Key = std::shared_ptr<EVP_PKEY>;

Key rsaKey(unsigned bits);
Key ecKey(const char* curve = "P-256");
Key edwardsKey();
Key pssKey(); // no token takes it

struct Identity {
    std::string der; // the certificate
    Key key;
};

struct CertificateSpec {
    std::vector<std::pair<std::string, std::string>> subject; // {"CN", "gate"}, ...
    int stringKind = MBSTRING_UTF8;                           // V_ASN1_BMPSTRING: the subject is used unchanged
    std::string serial = "1";                                 // decimal
    std::string notBefore = "20250101000000Z";
    std::string notAfter = "20400101000000Z";
    std::vector<std::pair<std::string, std::string>> extensions; // as in OpenSSL's configuration
    int version = 3;
};

std::vector<std::pair<std::string, std::string>> authorityExtensions();

// Signed by the issuer, or by its own key.
Identity makeCertificate(const CertificateSpec& spec, const Key& key, const Identity* issuer = nullptr);
Identity makeAuthority(const std::string& name, const Identity* issuer = nullptr);
Identity makeUser(const std::string& name, const Identity& issuer);

struct CrlSpec {
    std::vector<long> revoked; // serial numbers
    long number = 1;
    std::string thisUpdate = "20250601000000Z";
    std::string nextUpdate = "20390101000000Z";
    std::vector<long> released;                                  // serial numbers whose hold has ended
    std::vector<std::pair<std::string, std::string>> extensions; // as in OpenSSL's configuration
};
std::string makeCrl(const CrlSpec& spec, const Identity& issuer);

std::string pkcs12(const Identity& identity, const std::vector<std::string>& others, const std::string& password,
                   int rounds = 2048, const std::string& name = "friendly");
std::string pkcs7(const std::vector<std::string>& certificates);
std::string pem(const std::string& der, const char* name = "CERTIFICATE");
std::string keyPem(const Key& key, const std::string& password = {});

// The request as OpenSSL shows it. Throws when its signature is wrong.
std::string requestText(const std::string& requestPem);

// The request's certificate: as a CA would make it. Throws when its signature is wrong.
std::string answerRequest(const std::string& requestPem, const Identity& issuer);

// All the certificates of a PEM file, as DER.
std::vector<std::string> certificatesOf(const std::string& pemText);

// An encrypted PKCS#8 key whose key is derived from the password with so many rounds.
std::string encryptedKey(const Key& key, const std::string& password, int rounds);
