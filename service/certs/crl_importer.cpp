// SPDX-License-Identifier: MIT
//
// Storing a CRL. A token keeps the newest list of each issuer: an older list is deleted when a newer one is stored.
#include <service/certs/importer.h>

#include <service/base/refused.h>
#include <service/certs/x509_text.h>

#include <algorithm>

namespace panelkitd {

using vocabulary::ImportCrl;
using vocabulary::Refused;

CertOutcome<ImportCrl> importCrl(HeldToken& token, const FileCrl& crl, const Holdings& everything, FactsCache& cache) {
    if (!everything.isSignedByItsIssuer(*crl.facts)) {
        return {ImportCrl::signatureWrong,
                remark(Refused::badSignature, "the list's issuer is on a token and did not sign it")};
    }
    std::vector<StoredCrl> present = readCrls(token, cache);
    std::erase_if(present, [&](const StoredCrl& other) { return other.facts->scope != crl.facts->scope; });
    const auto any = [&](auto matches) { return std::any_of(present.begin(), present.end(), matches); };
    if (any([&](const StoredCrl& other) { return other.der == crl.der; })) {
        return {ImportCrl::alreadyThere, remark(Refused::alreadyThere, "the token has it already")};
    }
    if (any([&](const StoredCrl& other) { return other.facts->info.thisUpdate > crl.facts->info.thisUpdate; })) {
        return {ImportCrl::olderThanPresent,
                remark(Refused::olderThanPresent, "the token has a newer list of its issuer")};
    }
    ObjectTemplate object;
    object.number(CKA_CLASS, CKO_DATA).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false);
    object.bytes(CKA_LABEL, shortName(X509_CRL_get_issuer(crl.facts->crl.get())));
    object.bytes(CKA_APPLICATION, crlApplication).bytes(CKA_VALUE, crl.der);
    token.create({object});
    std::vector<std::uint64_t> older;
    for (const StoredCrl& other : present) older.push_back(other.object);
    if (!older.empty()) token.destroy(older); // the newer list stays, even if this fails
    return ImportCrl::imported;
}

ImportCrl importCrlResult(Refused reason) {
    switch (reason) {
    case Refused::notLoggedIn: return ImportCrl::notLoggedIn;
    case Refused::tokenFull: return ImportCrl::tokenFull;
    case Refused::noSuchToken:
    case Refused::ambiguousToken:
    case Refused::noSuchProvider: return ImportCrl::noSuchToken;
    case Refused::writeProtected: return ImportCrl::writeProtected;
    default: return ImportCrl::refusedByToken;
    }
}

} // namespace panelkitd
