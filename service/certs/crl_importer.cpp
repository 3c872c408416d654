// SPDX-License-Identifier: MIT
//
// Storing a CRL. A token keeps the newest list of each issuer: an older one goes when a newer one comes.
#include <service/certs/importer.h>

#include <service/base/refused.h>
#include <service/certs/x509_text.h>

#include <algorithm>

namespace panelkitd {

using vocabulary::ImportCrl;
using vocabulary::Refused;

namespace {

CK_OBJECT_HANDLE store(const FileCrl& crl, ObjectsMade& made) {
    ObjectTemplate object;
    object.number(CKA_CLASS, CKO_DATA).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false);
    object.bytes(CKA_LABEL, shortName(X509_CRL_get_issuer(crl.facts->crl.get())));
    object.bytes(CKA_APPLICATION, crlApplication).bytes(CKA_VALUE, crl.der);
    return made.create(object);
}

} // namespace

Outcome<ImportCrl> importCrl(const HeldToken& held, const FileCrl& crl, const Holdings& everything, FactsCache& cache) {
    if (!everything.isSignedByItsIssuer(*crl.facts)) {
        return {ImportCrl::signatureWrong,
                remark(Refused::badSignature, "the list's issuer is on a token and did not sign it")};
    }
    requireWritable(held);
    const OpenToken token(held, TokenSession::Mode::readWrite);
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
    ObjectsMade made(token);
    store(crl, made);
    made.keep(); // from here on the newer list stays, even if an older one can't be removed
    for (const StoredCrl& older : present) token.destroy(older.object);
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
