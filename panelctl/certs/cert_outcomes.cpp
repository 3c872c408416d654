// SPDX-License-Identifier: MIT
//
// The switches have no default, so that a result without its row does not compile. Results of the library itself are
// handled before.
#include <panelctl/certs/cert_outcomes.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/say.h>

#include <vocabulary/refusals.h>

namespace panelctl {

using vocabulary::ExportCert;
using vocabulary::ImportCert;
using vocabulary::ImportCrl;
using vocabulary::MakeRequest;
using vocabulary::ParseResult;

namespace {

struct Outcome {
    Exit code = Exit::ok;
    std::string why;
    bool saysNoReason = false; // what the service remarks is not just the same in other words
};

// ---- what several operations have in common

template <class ServiceResult>
Outcome unknown(ServiceResult result) { // from a newer service, which has more results
    return {Exit::refused,
            say("the service answered with result %d, which this panelctl does not know",
                static_cast<std::uint32_t>(result)),
            true};
}

// clang-format off
Outcome refusedByToken(const Answered& about) { return {Exit::refused, say("token \"%s\" refused \"%s\"", about.token, about.object), true}; }
Outcome itemGone(const Answered& about) { return {Exit::notFound, say("the service no longer has the file that \"%s\" is in; import it again", about.object)}; }
Outcome needsLogin(const Answered& about) { return {Exit::notLoggedIn, say("token \"%s\" needs a log-in: use \"panelctl token login\"", about.token)}; }
Outcome tokenFull(const Answered& about) { return {Exit::tokenFull, say("token \"%s\" is full", about.token)}; }
Outcome tokenGone(const Answered& about) { return {Exit::notFound, say("token \"%s\" is no longer there", about.token)}; }
Outcome writeProtected(const Answered& about) { return {Exit::writeProtected, say("token \"%s\" is write-protected", about.token)}; }

// ---- result by result

Outcome outcomeOf(ParseResult result, const Answered& about) {
    switch (result) {
    case ParseResult::parsed:        return {};
    case ParseResult::unknownFormat: return {Exit::badInput, say("%s is neither a certificate nor a CRL in a format that the service knows", about.object), true};
    case ParseResult::passwordWrong: return {Exit::wrongPassword, say("the password of %s is wrong or missing", about.object)};
    case ParseResult::nothingUsable: return {Exit::badInput, say("%s holds neither a certificate nor a CRL", about.object)};
    case ParseResult::tooCostly:     return {Exit::tooLarge, say("%s is refused: opening it would take too long, or it holds too many objects", about.object)};
    }
    return unknown(result);
}

Outcome outcomeOf(ImportCert result, const Answered& about) {
    switch (result) {
    case ImportCert::imported:       return {};
    case ImportCert::refusedByToken: return refusedByToken(about);
    case ImportCert::noSuchItem:     return itemGone(about);
    case ImportCert::alreadyThere:   return {Exit::alreadyThere, say("certificate \"%s\" is already on token \"%s\"", about.object, about.token)};
    case ImportCert::notLoggedIn:    return {Exit::notLoggedIn, say("token \"%s\" needs a log-in: use \"panelctl token login\", or give its PIN with --pin-stdin, --pin-fd or --pin-file", about.token)};
    case ImportCert::wrongPin:       return {Exit::wrongPin, say("the PIN is wrong for token \"%s\"", about.token)};
    case ImportCert::tokenFull:      return tokenFull(about);
    case ImportCert::modeUnfit:      return {Exit::badInput, say("\"%s\" can't be imported this way: the file does not have what was asked for, or its private key is damaged", about.object), true};
    case ImportCert::noSuchToken:    return tokenGone(about);
    case ImportCert::writeProtected: return writeProtected(about);
    case ImportCert::notSupported:   return {Exit::notSupported, say("token \"%s\" does not support keys like that of \"%s\"", about.token, about.object)};
    case ImportCert::pinLocked:      return {Exit::pinLocked, say("the PIN of token \"%s\" is locked", about.token)};
    }
    return unknown(result);
}

Outcome outcomeOf(ImportCrl result, const Answered& about) {
    switch (result) {
    case ImportCrl::imported:         return {};
    case ImportCrl::refusedByToken:   return refusedByToken(about);
    case ImportCrl::noSuchItem:       return itemGone(about);
    case ImportCrl::alreadyThere:     return {Exit::alreadyThere, say("the CRL of \"%s\" is already on token \"%s\"", about.object, about.token)};
    case ImportCrl::olderThanPresent: return {Exit::alreadyThere, say("token \"%s\" already has a newer CRL of \"%s\"", about.token, about.object)};
    case ImportCrl::signatureWrong:   return {Exit::notVerified, say("the CRL is not signed by \"%s\"", about.object)};
    case ImportCrl::notLoggedIn:      return needsLogin(about);
    case ImportCrl::tokenFull:        return tokenFull(about);
    case ImportCrl::noSuchToken:      return tokenGone(about);
    case ImportCrl::writeProtected:   return writeProtected(about);
    }
    return unknown(result);
}

Outcome outcomeOf(ExportCert result, const Answered& about) {
    switch (result) {
    case ExportCert::exported:          return {};
    case ExportCert::noSuchCertificate: return {Exit::notFound, say("certificate \"%s\" is no longer on token \"%s\"", about.object, about.token)};
    case ExportCert::formatUnfit:       return {Exit::badInput, say("certificate \"%s\" can't be written in this format", about.object)};
    case ExportCert::keyNotExtractable: return {Exit::keyStays, say("token \"%s\" does not allow the private key of \"%s\" to be exported", about.token, about.object)};
    case ExportCert::passwordUnfit:     return {Exit::badInput, say("the password can't be used to export \"%s\"", about.object)};
    case ExportCert::notLoggedIn:       return needsLogin(about);
    }
    return unknown(result);
}

Outcome outcomeOf(MakeRequest result, const Answered& about) {
    switch (result) {
    case MakeRequest::made:           return {};
    case MakeRequest::refusedByToken: return refusedByToken(about);
    case MakeRequest::keyUnfit:       return {Exit::badInput, say("token \"%s\" can't make or use such a key", about.token)};
    case MakeRequest::subjectUnfit:   return {Exit::badInput, say("the request needs a name that X.509 allows")};
    case MakeRequest::notLoggedIn:    return needsLogin(about);
    case MakeRequest::noSuchKey:      return {Exit::notFound, say("there is no key pair \"%s\" on token \"%s\"", about.object, about.token)};
    case MakeRequest::tokenFull:      return tokenFull(about);
    case MakeRequest::noSuchToken:    return tokenGone(about);
    }
    return unknown(result);
}
// clang-format on

template <class ServiceResult, class LibraryResult>
CommandError explained(LibraryResult result, const Answered& answered) {
    if (result == LibraryResult::notCarriedOut) return lastFailureError();
    const auto [code, why, saysNoReason] = outcomeOf(static_cast<ServiceResult>(result), answered);
    if (answered.reason.empty() && !saysNoReason) return {code, why};
    const std::string reason = remarksText(bridge::lastRemarks(), std::string(answered.reason));
    return {code, reason.empty() ? why : why + ": " + inOneLine(reason)};
}

} // namespace

CommandError errorOf(ParseCertFileResult result, const Answered& answered) {
    if (result == ParseCertFileResult::fileUnreadable) {
        return {Exit::badInput, say("%s can't be read", answered.object)};
    }
    const std::vector<bridge::Remark>& remarks = bridge::lastRemarks();
    if (!remarks.empty() && remarks.front().code == static_cast<std::uint32_t>(vocabulary::Refused::damagedBlock)) {
        std::vector<std::string> blocks;
        for (const bridge::Remark& remark : remarks) blocks.push_back("  " + remarksText({&remark, 1}, {}));
        blocks.push_back(say("--skip-damaged imports the rest"));
        return {Exit::badInput, say("%s is damaged; nothing was imported:", answered.object), std::move(blocks)};
    }
    return explained<ParseResult>(result, answered);
}

CommandError errorOf(ImportCertResult result, const Answered& answered) {
    return explained<ImportCert>(result, answered);
}

CommandError errorOf(ImportCRLResult result, const Answered& answered) {
    return explained<ImportCrl>(result, answered);
}

CommandError errorOf(ExportCertResult result, const Answered& answered) {
    return explained<ExportCert>(result, answered);
}

CommandError errorOf(MakeCertRequestResult result, const Answered& answered) {
    return explained<MakeRequest>(result, answered);
}

} // namespace panelctl
