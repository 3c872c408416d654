// SPDX-License-Identifier: MIT
#include <service/certs/parsed_file.h>

#include <service/certs/x509_text.h>

#include <platform/system/wipe.h>

#include <openssl/err.h>

#include <algorithm>

namespace panelkitd {

using vocabulary::ParseResult;

namespace {

std::string keyIdOf(EVP_PKEY* key) {
    X509_PUBKEY* raw = nullptr;
    if (!X509_PUBKEY_set(&raw, key)) return {};
    const std::unique_ptr<X509_PUBKEY, Release<X509_PUBKEY_free>> encoded(raw);
    const unsigned char* bits = nullptr;
    int size = 0;
    X509_PUBKEY_get0_param(nullptr, &bits, &size, nullptr, encoded.get());
    return sha1({reinterpret_cast<const char*>(bits), static_cast<std::size_t>(size)});
}

// Finds the issuers of certificates in the same file. OpenSSL takes long to decode a certificate, so each is decoded
// once, when it is needed.
class Issuers {
public:
    explicit Issuers(const std::vector<FileCertificate>& certificates)
        : certificates_(certificates), decoded_(certificates.size()) {}

    // A hostile file may have thousands of certificates of one name: comparing each pair would take hours.
    std::optional<std::size_t> of(std::size_t certificate) {
        constexpr int mostTries = 8;
        const std::string& name = certificates_[certificate].facts->issuer;
        int tries = 0;
        for (std::size_t i = 0; i < certificates_.size() && tries < mostTries; ++i) {
            if (i == certificate || certificates_[i].facts->subject != name) continue;
            ++tries;
            if (signedBy(decoded(certificate), decoded(i))) return i;
        }
        return std::nullopt;
    }

private:
    static bool signedBy(X509* certificate, X509* issuer) {
        const bool signedIt = X509_check_issued(issuer, certificate) == X509_V_OK &&
                              X509_verify(certificate, X509_get0_pubkey(issuer)) == 1;
        ERR_clear_error();
        return signedIt;
    }
    X509* decoded(std::size_t certificate) {
        CertificateHandle& handle = decoded_[certificate];
        if (!handle) handle = certificateFrom(certificates_[certificate].der);
        return handle.get();
    }

    const std::vector<FileCertificate>& certificates_;
    std::vector<CertificateHandle> decoded_;
};

} // namespace

void FileCollector::addCertificate(std::string der, const std::string& name) {
    budget_.spendObject();
    CertificateFactsPtr facts = std::make_shared<const CertificateFacts>(readCertificateFacts(der));
    if (!facts->readable) throw ParseError(ParseResult::unknownFormat, "a certificate in it is damaged");
    const auto same = [&](const FileCertificate& other) { return other.der == der; };
    if (std::any_of(file_.certificates.begin(), file_.certificates.end(), same)) return;
    file_.certificates.push_back({std::move(der), name, std::move(facts), std::nullopt, std::nullopt});
}

void FileCollector::addCrl(std::string der) {
    budget_.spendObject();
    CrlFactsPtr facts = std::make_shared<const CrlFacts>(readCrlFacts(der));
    if (!facts->readable) throw ParseError(ParseResult::unknownFormat, "a CRL in it is damaged");
    const auto same = [&](const FileCrl& other) { return other.der == der; };
    if (std::any_of(file_.crls.begin(), file_.crls.end(), same)) return;
    file_.crls.push_back({std::move(der), std::move(facts)});
}

void FileCollector::addKey(KeyHandle key) {
    budget_.spendObject();
    if (!key) throw ParseError(ParseResult::unknownFormat, "a private key in it is damaged");
    std::string id = keyIdOf(key.get());
    file_.keys.push_back({std::move(key), std::move(id)});
}

void FileCollector::addEncryptedKey(const X509_SIG* key) {
    if (!key) throw ParseError(ParseResult::unknownFormat, "an encrypted private key in it is damaged");
    const X509_ALGOR* algorithm = nullptr;
    X509_SIG_get0(key, &algorithm, nullptr);
    budget_.spendDerivation(algorithm);
    const std::unique_ptr<PKCS8_PRIV_KEY_INFO, Release<PKCS8_PRIV_KEY_INFO_free>> info(
        PKCS8_decrypt(key, password_.c_str(), static_cast<int>(password_.size())));
    if (!info) throw ParseError(ParseResult::passwordWrong, "the password does not open its private key");
    addKey(KeyHandle(EVP_PKCS82PKEY(info.get())));
}

void FileCollector::addPkcs7(const PKCS7* container) {
    const bool isSigned = OBJ_obj2nid(container->type) == NID_pkcs7_signed && container->d.sign;
    const STACK_OF(X509)* certificates = isSigned ? container->d.sign->cert : nullptr;
    const STACK_OF(X509_CRL)* crls = isSigned ? container->d.sign->crl : nullptr;
    for (int i = 0; i < sk_X509_num(certificates); ++i) {
        addCertificate(derOf(sk_X509_value(certificates, i), i2d_X509));
    }
    for (int i = 0; i < sk_X509_CRL_num(crls); ++i) addCrl(derOf(sk_X509_CRL_value(crls, i), i2d_X509_CRL));
}

ParsedFile FileCollector::finish() {
    Issuers issuers(file_.certificates);
    for (std::size_t i = 0; i < file_.certificates.size(); ++i) {
        FileCertificate& certificate = file_.certificates[i];
        certificate.issuer = issuers.of(i);
        const auto key = std::find_if(file_.keys.begin(), file_.keys.end(), [&](const FileKey& candidate) {
            return candidate.id == certificate.facts->keyId;
        });
        if (key != file_.keys.end()) certificate.key = static_cast<std::size_t>(key - file_.keys.begin());
    }
    if (file_.certificates.empty() && file_.crls.empty()) {
        throw ParseError(ParseResult::nothingUsable, "it holds neither a certificate nor a CRL");
    }
    return std::move(file_);
}

std::vector<std::size_t> ParsedFile::issuersOf(std::size_t certificate, std::size_t most) const {
    std::vector<std::size_t> found;
    for (auto next = certificates[certificate].issuer; next && found.size() < most; next = certificates[*next].issuer) {
        if (*next == certificate || std::find(found.begin(), found.end(), *next) != found.end()) break;
        found.push_back(*next);
    }
    return found;
}

ParsedFile parseFile(const std::string& content, const platform::Secret& password) {
    FileCollector collector(password);
    if (content.find("-----BEGIN ") != std::string::npos) {
        readPem(content, collector);
    } else {
        readDerObjects(content, collector);
    }
    ERR_clear_error();
    return collector.finish();
}

} // namespace panelkitd
