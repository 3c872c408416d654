// SPDX-License-Identifier: MIT
#include <service/certs/importer.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/certs/token_key.h>
#include <service/certs/x509_text.h>

#include <algorithm>

namespace panelkitd {

using vocabulary::CertImport;
using vocabulary::ImportCert;
using vocabulary::Refused;

namespace {

// The objects that one import creates, and the identifier that links them.
class Import {
public:
    Import(HeldToken& token, const ParsedFile& file, FactsCache& cache) : token_(token), file_(file), cache_(cache) {}

    void addCertificate(const FileCertificate& certificate);
    void addKey(const FileCertificate& certificate, bool extractable);

    // Stores the objects that were added and are not on the token yet. Returns false when there are none.
    bool store();

private:
    // Returns the objects of a certificate that are on the token already.
    struct There {
        TokenObjects objects;
        const StoredCertificate* same;

        // Certificate and key must have the same CKA_ID. If the token has one of them already, its CKA_ID is used.
        std::string idFor(const FileCertificate& certificate) const;
    };
    There there(const FileCertificate& certificate) const;
    static std::string labelOf(const FileCertificate& certificate) {
        return certificate.name.empty() ? certificate.facts->shortName : certificate.name;
    }

    HeldToken& token_;
    const ParsedFile& file_;
    FactsCache& cache_;
    std::vector<HostTemplate> objects_;
};

Import::There Import::there(const FileCertificate& certificate) const {
    There found{readRelated(token_, certificate.der, *certificate.facts, cache_), nullptr};
    for (const StoredCertificate& other : found.objects.certificates) {
        if (other.der == certificate.der) found.same = &other;
    }
    return found;
}

std::string Import::There::idFor(const FileCertificate& certificate) const {
    if (same && !same->id.empty()) return same->id;
    const StoredKey* key = objects.keyOf(*certificate.facts, {});
    return key && !key->id.empty() ? key->id : certificate.facts->keyId;
}

void Import::addCertificate(const FileCertificate& certificate) {
    const There present = there(certificate);
    if (present.same) return;
    ObjectTemplate object;
    object.number(CKA_CLASS, CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, CKC_X_509);
    object.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false);
    object.bytes(CKA_LABEL, labelOf(certificate)).bytes(CKA_ID, present.idFor(certificate));
    object.bytes(CKA_SUBJECT, certificate.facts->subject).bytes(CKA_ISSUER, certificate.facts->issuer);
    object.bytes(CKA_SERIAL_NUMBER, certificate.facts->serial).bytes(CKA_VALUE, certificate.der);
    objects_.push_back(object);
}

void Import::addKey(const FileCertificate& certificate, bool extractable) {
    const There present = there(certificate);
    const std::string id = present.idFor(certificate);
    if (present.objects.keyOf(*certificate.facts, id)) return;
    const EVP_PKEY* key = file_.keys[*certificate.key].key.get();
    const KeyNames names{labelOf(certificate), id, certificate.facts->subject};
    ObjectTemplate privateKey, publicKey;
    describePrivateKey(key, names, extractable, privateKey);
    describePublicKey(key, names, publicKey);
    objects_.push_back(privateKey);
    objects_.push_back(publicKey);
}

bool Import::store() {
    if (!objects_.empty()) token_.create(objects_);
    return !objects_.empty();
}

// The mode of a request can be any number; 0 for one that does not exist.
std::uint32_t bitOf(CertImport mode) {
    return mode <= CertImport::withChain ? std::uint32_t{1} << static_cast<std::uint32_t>(mode) : 0;
}

} // namespace

LoginForOnce::LoginForOnce(HeldToken& token, const platform::Secret* pin, const Account& who) : token_(token) {
    if (pin) ours_ = token.loginForOnce(*pin, who);
}

LoginForOnce::~LoginForOnce() {
    if (!ours_) return;
    try {
        token_.logoutAfterOnce();
    } catch (const RefusedError& error) { // it was pulled out
        logDetail(std::string("log-out after an import: ") + error.what());
    }
}

std::uint32_t possibleModes(const ParsedFile& file, std::size_t item) {
    std::uint32_t modes = bitOf(CertImport::certificateOnly);
    if (file.certificates[item].key) modes |= bitOf(CertImport::withPrivateKey);
    if (!file.issuersOf(item, 1).empty()) modes |= bitOf(CertImport::withChain);
    return modes;
}

CertOutcome<ImportCert> importCertificate(HeldToken& token, const ParsedFile& file, const ImportWish& wish,
                                          FactsCache& cache) {
    if ((possibleModes(file, wish.item) & bitOf(wish.mode)) == 0) {
        return {ImportCert::modeUnfit,
                remark(Refused::badInput, "the file does not have what this way of importing needs")};
    }
    const FileCertificate& certificate = file.certificates[wish.item];
    const bool withKey = certificate.key && wish.mode != CertImport::certificateOnly;
    if (withKey && !keyWorks(file.keys[*certificate.key].key.get())) {
        return {ImportCert::modeUnfit, remark(Refused::unknownFormat, "the file's private key is damaged")};
    }
    Import import(token, file, cache);
    if (withKey) import.addKey(certificate, wish.extractable);
    import.addCertificate(certificate);
    if (wish.mode == CertImport::withChain) {
        for (const std::size_t issuer : file.issuersOf(wish.item)) import.addCertificate(file.certificates[issuer]);
    }
    if (!import.store()) return {ImportCert::alreadyThere, remark(Refused::alreadyThere, "the token has it already")};
    return ImportCert::imported;
}

ImportCert importResult(Refused reason) {
    switch (reason) {
    case Refused::wrongPin:
    case Refused::unfitPin: return ImportCert::wrongPin;
    case Refused::pinLocked: return ImportCert::pinLocked;
    case Refused::notLoggedIn: return ImportCert::notLoggedIn;
    case Refused::tokenFull: return ImportCert::tokenFull;
    case Refused::noSuchToken:
    case Refused::ambiguousToken:
    case Refused::noSuchProvider: return ImportCert::noSuchToken;
    case Refused::writeProtected: return ImportCert::writeProtected;
    case Refused::notSupported: return ImportCert::notSupported;
    default: return ImportCert::refusedByToken;
    }
}

} // namespace panelkitd
