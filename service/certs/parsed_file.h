// SPDX-License-Identifier: MIT
//
// What a file that somebody wants to import holds: certificates, CRLs and private keys, from PEM, DER, PKCS#7 and
// PKCS#12, one or several objects in a file. The bytes of certificates and CRLs are kept as they stand in the file.
#pragma once

#include <service/certs/derivation_budget.h>
#include <service/certs/object_facts.h>

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
    std::string name; // that the file gives it; often empty
    CertificateFactsPtr facts;
    std::optional<std::size_t> key; // its place in the keys
};

struct FileCrl {
    std::string der;
    CrlFactsPtr facts;
};

struct ParsedFile {
    std::vector<FileCertificate> certificates;
    std::vector<FileCrl> crls;
    std::vector<FileKey> keys;

    // The CAs of the file that a certificate of it needs, nearest first; at most so many.
    std::vector<std::size_t> issuersOf(std::size_t certificate, std::size_t most = 16) const;

private:
    std::optional<std::size_t> issuerOf(std::size_t certificate) const;
};

// Throws ParseError with the result and the reason. What is there twice is taken once.
ParsedFile parseFile(const std::string& content, const std::string& password, FactsCache& cache);

// What the readers of the formats put objects into.
class FileCollector {
public:
    FileCollector(std::string password, FactsCache& cache) : password_(std::move(password)), cache_(cache) {}
    ~FileCollector();
    FileCollector(const FileCollector&) = delete;
    FileCollector& operator=(const FileCollector&) = delete;

    const std::string& password() const { return password_; }
    ParseBudget& budget() { return budget_; }

    // Throw ParseError when the bytes are no such object.
    void addCertificate(std::string der, const std::string& name = {});
    void addCrl(std::string der);
    void addKey(KeyHandle key);
    void addEncryptedKey(const X509_SIG* key);
    void addPkcs7(const PKCS7* container);

    // What was collected, keys tied to certificates. Throws ParseError when that is nothing.
    ParsedFile finish();

private:
    std::string password_;
    FactsCache& cache_;
    ParseBudget budget_;
    ParsedFile file_;
};

// Of the file's formats.
void readPem(const std::string& content, FileCollector& into);
void readDerObjects(std::string_view content, FileCollector& into);
void readPkcs12(PKCS12* container, FileCollector& into);

} // namespace panelkitd
