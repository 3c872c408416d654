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

// The key that an import brings with the certificate; null when it brings none.
EVP_PKEY* keyFor(const ParsedFile& file, const ImportWish& wish) {
    const auto& key = file.certificates[wish.item].key;
    return key && wish.mode != CertImport::certificateOnly ? file.keys[*key].key.get() : nullptr;
}

// The objects that one or several imports create, and the identifiers that link them.
class Import {
public:
    Import(HeldToken& token, ImportTarget& target, FactsCache& cache, std::size_t imports)
        : token_(token), target_(target), cache_(cache) {
        target_.begin(token_, imports);
    }
    // What was added and not stored is not there.
    ~Import() {
        if (!objects_.empty()) target_.forget(token_);
    }
    Import(const Import&) = delete;
    Import& operator=(const Import&) = delete;

    // Adds what an import needs and the token does not have. Returns whether there is anything. `wish` is possible.
    bool add(const ParsedFile& file, const ImportWish& wish);

    // Stores all that was added, or nothing.
    void store();

private:
    void addCertificate(const FileCertificate& certificate);
    void addKey(const FileCertificate& certificate, const EVP_PKEY* key, bool extractable);

    static std::string labelOf(const FileCertificate& certificate) {
        return certificate.name.empty() ? certificate.facts->shortName : certificate.name;
    }

    HeldToken& token_;
    ImportTarget& target_;
    FactsCache& cache_;
    std::vector<HostTemplate> objects_;
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
    target_.willHave(token_, {certificate.facts, present.id, false});
    cache_.keep(certificate.der, certificate.facts); // the next listing needs them
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
    target_.willHave(token_, {certificate.facts, present.id, true});
}

bool Import::add(const ParsedFile& file, const ImportWish& wish) {
    const std::size_t before = objects_.size();
    const FileCertificate& certificate = file.certificates[wish.item];
    if (const EVP_PKEY* const key = keyFor(file, wish)) addKey(certificate, key, wish.extractable);
    addCertificate(certificate);
    if (wish.mode == CertImport::withChain) {
        for (const std::size_t issuer : file.issuersOf(wish.item)) addCertificate(file.certificates[issuer]);
    }
    return objects_.size() > before;
}

void Import::store() {
    if (objects_.empty()) return;
    token_.create(objects_);
    objects_.clear();
    target_.stored(token_);
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

namespace {

std::optional<ImportOutcome> unfit(const ParsedFile& file, const ImportWish& wish) {
    if (wish.item >= file.certificates.size()) return noSuchItem<ImportCert>();
    if ((possibleModes(file, wish.item) & bitOf(wish.mode)) == 0) {
        return ImportOutcome{ImportCert::modeUnfit,
                             remark(Refused::badInput, "the file does not have what this way of importing needs")};
    }
    EVP_PKEY* const key = keyFor(file, wish);
    if (key && !keyWorks(key)) {
        return ImportOutcome{ImportCert::modeUnfit,
                             remark(Refused::unknownFormat, "the file's private key is damaged")};
    }
    return std::nullopt;
}

ImportOutcome planned(Import& import, const ParsedFile& file, const ImportWish& wish) {
    if (import.add(file, wish)) return ImportCert::imported;
    return {ImportCert::alreadyThere, remark(Refused::alreadyThere, "the token has it already")};
}

bool endsImports(const ImportOutcome& outcome) {
    return outcome.result != ImportCert::imported && outcome.result != ImportCert::alreadyThere;
}

// Returns nothing when one of them can't be prepared, or the token refuses the whole. The token is then as before.
std::optional<std::vector<ImportOutcome>> importTogether(HeldToken& token, ImportTarget& target, const ParsedFile& file,
                                                         const std::vector<ImportWish>& wishes, FactsCache& cache) {
    try {
        std::vector<ImportOutcome> outcomes;
        Import import(token, target, cache, wishes.size());
        for (const ImportWish& wish : wishes) {
            const auto reason = unfit(file, wish);
            outcomes.push_back(reason ? *reason : planned(import, file, wish));
            if (endsImports(outcomes.back())) break;
        }
        import.store();
        return outcomes;
    } catch (const RefusedError& error) {
        logDetail("several certificates could not be stored together: " + std::string(error.what()));
        return std::nullopt;
    }
}

ImportOutcome importAlone(HeldToken& token, ImportTarget& target, const ParsedFile& file, const ImportWish& wish,
                          FactsCache& cache) {
    if (const auto reason = unfit(file, wish)) return *reason;
    try {
        Import import(token, target, cache, 1);
        ImportOutcome outcome = planned(import, file, wish);
        import.store();
        return outcome;
    } catch (const RefusedError& refused) {
        return {importResult(refused.reason), refused.remarks};
    }
}

} // namespace

// A token is asked once for all. Only when it refuses is each stored by itself, to find the one that it does not take.
std::vector<ImportOutcome> importCertificates(HeldToken& token, ImportTarget& target, const ParsedFile& file,
                                              const std::vector<ImportWish>& wishes, FactsCache& cache) {
    if (wishes.size() > 1) {
        if (auto outcomes = importTogether(token, target, file, wishes, cache)) return std::move(*outcomes);
    }
    std::vector<ImportOutcome> outcomes;
    for (const ImportWish& wish : wishes) {
        outcomes.push_back(importAlone(token, target, file, wish, cache));
        if (endsImports(outcomes.back())) break;
    }
    return outcomes;
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
