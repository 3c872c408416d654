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
    Import(HeldToken& token, ImportTarget& target, FactsCache& cache) : token_(token), target_(target), cache_(cache) {
        target_.begin(token_);
    }

    void addCertificate(const FileCertificate& certificate);
    void addKey(const FileCertificate& certificate, const EVP_PKEY* key, bool extractable);

    // Stores the objects that were added and are not on the token yet. Returns false when there are none.
    bool store();

private:
    static std::string labelOf(const FileCertificate& certificate) {
        return certificate.name.empty() ? certificate.facts->shortName : certificate.name;
    }

    HeldToken& token_;
    ImportTarget& target_;
    FactsCache& cache_;
    std::vector<HostTemplate> objects_;
    std::vector<ImportTarget::Made> made_;
};

void Import::addCertificate(const FileCertificate& certificate) {
    const ImportTarget::Present present = target_.of(token_, certificate, cache_);
    if (present.certificate) return;
    ObjectTemplate object;
    object.number(CKA_CLASS, CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, CKC_X_509);
    object.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false);
    object.bytes(CKA_LABEL, labelOf(certificate)).bytes(CKA_ID, present.id);
    object.bytes(CKA_SUBJECT, certificate.facts->subject).bytes(CKA_ISSUER, certificate.facts->issuer);
    object.bytes(CKA_SERIAL_NUMBER, certificate.facts->serial).bytes(CKA_VALUE, certificate.der);
    objects_.push_back(object);
    made_.push_back({certificate.facts, present.id, false});
}

void Import::addKey(const FileCertificate& certificate, const EVP_PKEY* key, bool extractable) {
    const ImportTarget::Present present = target_.of(token_, certificate, cache_);
    if (present.key) return;
    const KeyNames names{labelOf(certificate), present.id, certificate.facts->subject};
    ObjectTemplate privateKey, publicKey;
    describePrivateKey(key, names, extractable, privateKey);
    describePublicKey(key, names, publicKey);
    objects_.push_back(privateKey);
    objects_.push_back(publicKey);
    made_.push_back({certificate.facts, present.id, true});
}

bool Import::store() {
    if (objects_.empty()) return false;
    token_.create(objects_);
    target_.made(token_, made_);
    return true;
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

CertOutcome<ImportCert> importCertificate(HeldToken& token, ImportTarget& target, const ParsedFile& file,
                                          const ImportWish& wish, FactsCache& cache) {
    if ((possibleModes(file, wish.item) & bitOf(wish.mode)) == 0) {
        return {ImportCert::modeUnfit,
                remark(Refused::badInput, "the file does not have what this way of importing needs")};
    }
    const FileCertificate& certificate = file.certificates[wish.item];
    const bool withKey = certificate.key && wish.mode != CertImport::certificateOnly;
    EVP_PKEY* const key = withKey ? file.keys[*certificate.key].key.get() : nullptr;
    if (withKey && !keyWorks(key)) {
        return {ImportCert::modeUnfit, remark(Refused::unknownFormat, "the file's private key is damaged")};
    }
    Import import(token, target, cache);
    if (withKey) import.addKey(certificate, key, wish.extractable);
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
