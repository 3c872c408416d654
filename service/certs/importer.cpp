// SPDX-License-Identifier: MIT
#include <service/certs/importer.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/certs/token_key.h>
#include <service/certs/x509_text.h>
#include <service/tokens/pin.h>

#include <algorithm>

namespace panelkitd {

using vocabulary::CertImport;
using vocabulary::ImportCert;
using vocabulary::Refused;

namespace {

// The objects that one import makes, and what they are tied to.
class Import {
public:
    Import(const OpenToken& token, const ParsedFile& file, FactsCache& cache)
        : file_(file),
          made_(token),
          there_{{}, readCertificates(token, cache), readKeys(token), readPublicKeys(token), {}} {}

    // Each says whether there was anything to add.
    bool addCertificate(const FileCertificate& certificate);
    bool addKey(const FileCertificate& certificate, bool extractable);
    void keep() { made_.keep(); }

private:
    const StoredCertificate* stored(const FileCertificate& certificate) const;
    std::string idFor(const FileCertificate& certificate) const;
    static std::string labelOf(const FileCertificate& certificate) {
        return certificate.name.empty() ? certificate.facts->shortName : certificate.name;
    }

    const ParsedFile& file_;
    ObjectsMade made_;
    const TokenObjects there_;
};

const StoredCertificate* Import::stored(const FileCertificate& certificate) const {
    const auto same = std::find_if(there_.certificates.begin(), there_.certificates.end(),
                                   [&](const StoredCertificate& other) { return other.der == certificate.der; });
    return same == there_.certificates.end() ? nullptr : &*same;
}

// Certificate and key share their CKA_ID: that of the half which the token has already.
std::string Import::idFor(const FileCertificate& certificate) const {
    const StoredCertificate* same = stored(certificate);
    if (same && !same->id.empty()) return same->id;
    const StoredKey* key = there_.keyOf(*certificate.facts, {});
    return key && !key->id.empty() ? key->id : certificate.facts->keyId;
}

bool Import::addCertificate(const FileCertificate& certificate) {
    if (stored(certificate)) return false;
    ObjectTemplate object;
    object.number(CKA_CLASS, CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, CKC_X_509);
    object.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false);
    object.bytes(CKA_LABEL, labelOf(certificate)).bytes(CKA_ID, idFor(certificate));
    object.bytes(CKA_SUBJECT, certificate.facts->subject).bytes(CKA_ISSUER, certificate.facts->issuer);
    object.bytes(CKA_SERIAL_NUMBER, certificate.facts->serial).bytes(CKA_VALUE, certificate.der);
    made_.create(object);
    return true;
}

bool Import::addKey(const FileCertificate& certificate, bool extractable) {
    const std::string id = idFor(certificate);
    if (there_.keyOf(*certificate.facts, id)) return false;
    const EVP_PKEY* key = file_.keys[*certificate.key].key.get();
    const KeyNames names{labelOf(certificate), id, certificate.facts->subject};
    ObjectTemplate privateKey, publicKey;
    describePrivateKey(key, names, extractable, privateKey);
    describePublicKey(key, names, publicKey);
    made_.create(privateKey);
    made_.create(publicKey);
    return true;
}

bool has(std::uint32_t modes, CertImport mode) { return (modes >> static_cast<std::uint32_t>(mode) & 1U) != 0; }

} // namespace

LoginForOnce::LoginForOnce(HeldToken& token, const std::string* pin) : token_(token) {
    if (!pin || token.loggedIn()) return;
    guardFinalTry(token.flags(), PinOf::user, false);
    token.login(*pin);
    ours_ = true;
}

LoginForOnce::~LoginForOnce() {
    if (!ours_) return;
    try {
        token_.logout();
    } catch (const RefusedError& error) { // it was pulled out
        logDetail(std::string("log-out after an import: ") + error.what());
    }
}

void requireWritable(const HeldToken& token) {
    const CK_FLAGS flags = token.flags();
    if (flags & CKF_WRITE_PROTECTED) throw RefusedError(Refused::writeProtected, "the token is write-protected");
    if ((flags & CKF_LOGIN_REQUIRED) && !token.loggedIn()) {
        throw RefusedError(Refused::notLoggedIn, "not logged in to the token");
    }
}

std::uint32_t possibleModes(const ParsedFile& file, std::size_t item) {
    const auto bit = [](CertImport mode) { return std::uint32_t{1} << static_cast<std::uint32_t>(mode); };
    std::uint32_t modes = bit(CertImport::certificateOnly);
    if (file.certificates[item].key) modes |= bit(CertImport::withPrivateKey);
    if (!file.issuersOf(item, 1).empty()) modes |= bit(CertImport::withChain);
    return modes;
}

Outcome<ImportCert> importCertificate(const HeldToken& held, const ParsedFile& file, const ImportWish& wish,
                                      FactsCache& cache) {
    if (!has(possibleModes(file, wish.item), wish.mode)) {
        return {ImportCert::modeUnfit,
                remark(Refused::badInput, "the file does not have what this way of importing needs")};
    }
    const FileCertificate& certificate = file.certificates[wish.item];
    const bool withKey = certificate.key && wish.mode != CertImport::certificateOnly;
    if (withKey && !keyWorks(file.keys[*certificate.key].key.get())) {
        return {ImportCert::modeUnfit, remark(Refused::unknownFormat, "the file's private key is damaged")};
    }
    requireWritable(held);
    const OpenToken token(held, TokenSession::Mode::readWrite);
    Import import(token, file, cache);
    bool added = withKey && import.addKey(certificate, wish.extractable);
    added |= import.addCertificate(certificate);
    if (wish.mode == CertImport::withChain) {
        for (const std::size_t issuer : file.issuersOf(wish.item)) {
            added |= import.addCertificate(file.certificates[issuer]);
        }
    }
    import.keep();
    if (!added) return {ImportCert::alreadyThere, remark(Refused::alreadyThere, "the token has it already")};
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
