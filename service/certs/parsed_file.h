// SPDX-License-Identifier: MIT
//
// The objects of a file for import: certificates, CRLs and private keys, from PEM, DER, PKCS#7 and PKCS#12, one or
// several objects in a file. Certificates and CRLs keep the bytes that they have in the file.
#pragma once

#include <service/certs/derivation_budget.h>
#include <service/certs/object_facts.h>

#include <platform/system/secret.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace panelkitd {

struct FileKey {
    KeyHandle key;
    std::string id; // as CertificateFacts::keyId
};

struct FileCertificate {
    std::string der;
    std::string name; // its name in the file; often empty
    CertificateFactsPtr facts;
    std::optional<std::size_t> key;    // index into the keys
    std::optional<std::size_t> issuer; // index of the CA certificate of the file that has signed it
};

struct FileCrl {
    std::string der;
    CrlFactsPtr facts;
};

struct ParsedFile {
    std::vector<FileCertificate> certificates;
    std::vector<FileCrl> crls;
    std::vector<FileKey> keys;

    // Returns the CA certificates of the file that are in the chain of a certificate, as indexes. The issuer of the
    // certificate comes first. There are at most `most`.
    std::vector<std::size_t> issuersOf(std::size_t certificate, std::size_t most = 16) const;
};

// Returns the objects of a file, without duplicates. `password` is for encrypted keys and PKCS#12, and may be empty.
// Throws ParseError with the result and the reason. The facts of its objects are not cached: any user can send files.
ParsedFile parseFile(const std::string& content, const platform::Secret& password);

// Collects the objects that the readers of the formats find.
class FileCollector {
public:
    explicit FileCollector(const platform::Secret& password) : password_(password) {}
    FileCollector(const FileCollector&) = delete;
    FileCollector& operator=(const FileCollector&) = delete;

    const platform::Secret& password() const { return password_; }
    ParseBudget& budget() { return budget_; }

    // Add an object. Throw ParseError when the bytes are not an object of that kind.
    void addCertificate(std::string der, const std::string& name = {});
    void addCrl(std::string der);
    void addKey(KeyHandle key);
    void addEncryptedKey(const X509_SIG* key);
    void addPkcs7(const PKCS7* container);

    // Returns the objects, with keys matched to certificates. Throws ParseError when there are none.
    ParsedFile finish();

private:
    const platform::Secret password_;
    ParseBudget budget_;
    ParsedFile file_;
};

// Readers for the file formats. They add what they find to `into`, and throw ParseError when the file can't be used.
void readPem(const std::string& content, FileCollector& into);
void readDerObjects(std::string_view content, FileCollector& into);
void readPkcs12(PKCS12* container, FileCollector& into);

} // namespace panelkitd
