// SPDX-License-Identifier: MIT
//
// The switches have no default: a result without its row does not compile. Values that the library produces itself
// are answered before one gets there.
#include <panelctl/certs/cert_outcomes.h>

namespace panelctl {

using vocabulary::ExportCert;
using vocabulary::ImportCert;
using vocabulary::ImportCrl;
using vocabulary::MakeRequest;
using vocabulary::ParseResult;

namespace {

constexpr Outcome unknown{Exit::refused, Say::resultUnknown}; // a newer service knows more results

template <class ServiceResult, class LibraryResult>
CommandError explained(LibraryResult result, const Answered& answered) {
    if (result == LibraryResult::notCarriedOut) return lastFailureError();
    const Outcome outcome = outcomeOf(static_cast<ServiceResult>(result));
    std::string line = outcome.why == Say::resultUnknown
                           ? phrase(outcome.why, {std::to_string(static_cast<std::uint32_t>(result))})
                           : phrase(outcome.why, {answered.object, answered.token});
    if (!answered.reason.empty()) line += ": " + std::string(answered.reason);
    return {outcome.code, line};
}

} // namespace

// clang-format off
Outcome outcomeOf(ParseResult result) {
    switch (result) {
    case ParseResult::parsed:        return {};
    case ParseResult::unknownFormat: return {Exit::badInput,      Say::fileUnknownFormat};
    case ParseResult::passwordWrong: return {Exit::wrongPassword, Say::filePasswordWrong};
    case ParseResult::nothingUsable: return {Exit::badInput,      Say::fileNothingUsable};
    case ParseResult::tooCostly:     return {Exit::tooLarge,      Say::fileTooCostly};
    }
    return unknown;
}

Outcome outcomeOf(ImportCert result) {
    switch (result) {
    case ImportCert::imported:       return {};
    case ImportCert::refusedByToken: return {Exit::refused,        Say::objectRefused};
    case ImportCert::noSuchItem:     return {Exit::notFound,       Say::itemGone};
    case ImportCert::alreadyThere:   return {Exit::alreadyThere,   Say::certAlreadyThere};
    case ImportCert::notLoggedIn:    return {Exit::notLoggedIn,    Say::importNeedsLogin};
    case ImportCert::wrongPin:       return {Exit::wrongPin,       Say::importWrongPin};
    case ImportCert::tokenFull:      return {Exit::tokenFull,      Say::tokenIsFull};
    case ImportCert::modeUnfit:      return {Exit::badInput,       Say::importModeUnfit};
    case ImportCert::noSuchToken:    return {Exit::notFound,       Say::tokenIsGone};
    case ImportCert::writeProtected: return {Exit::writeProtected, Say::tokenWriteProtected};
    case ImportCert::notSupported:   return {Exit::notSupported,   Say::keyNotSupported};
    case ImportCert::pinLocked:      return {Exit::pinLocked,      Say::importPinLocked};
    }
    return unknown;
}

Outcome outcomeOf(ImportCrl result) {
    switch (result) {
    case ImportCrl::imported:         return {};
    case ImportCrl::refusedByToken:   return {Exit::refused,        Say::objectRefused};
    case ImportCrl::noSuchItem:       return {Exit::notFound,       Say::itemGone};
    case ImportCrl::alreadyThere:     return {Exit::alreadyThere,   Say::crlAlreadyThere};
    case ImportCrl::olderThanPresent: return {Exit::alreadyThere,   Say::crlOlder};
    case ImportCrl::signatureWrong:   return {Exit::notVerified,    Say::crlSignatureWrong};
    case ImportCrl::notLoggedIn:      return {Exit::notLoggedIn,    Say::tokenNeedsLogin};
    case ImportCrl::tokenFull:        return {Exit::tokenFull,      Say::tokenIsFull};
    case ImportCrl::noSuchToken:      return {Exit::notFound,       Say::tokenIsGone};
    case ImportCrl::writeProtected:   return {Exit::writeProtected, Say::tokenWriteProtected};
    }
    return unknown;
}

Outcome outcomeOf(ExportCert result) {
    switch (result) {
    case ExportCert::exported:          return {};
    case ExportCert::noSuchCertificate: return {Exit::notFound,    Say::certGone};
    case ExportCert::formatUnfit:       return {Exit::badInput,    Say::exportFormatUnfit};
    case ExportCert::keyNotExtractable: return {Exit::keyStays,    Say::exportKeyStays};
    case ExportCert::passwordUnfit:     return {Exit::badInput,    Say::exportPasswordUnfit};
    case ExportCert::notLoggedIn:       return {Exit::notLoggedIn, Say::tokenNeedsLogin};
    }
    return unknown;
}

Outcome outcomeOf(MakeRequest result) {
    switch (result) {
    case MakeRequest::made:           return {};
    case MakeRequest::refusedByToken: return {Exit::refused,     Say::objectRefused};
    case MakeRequest::keyUnfit:       return {Exit::badInput,    Say::requestKeyUnfit};
    case MakeRequest::subjectUnfit:   return {Exit::badInput,    Say::requestSubjectUnfit};
    case MakeRequest::notLoggedIn:    return {Exit::notLoggedIn, Say::tokenNeedsLogin};
    case MakeRequest::noSuchKey:      return {Exit::notFound,    Say::requestNoSuchKey};
    case MakeRequest::tokenFull:      return {Exit::tokenFull,   Say::tokenIsFull};
    case MakeRequest::noSuchToken:    return {Exit::notFound,    Say::tokenIsGone};
    }
    return unknown;
}
// clang-format on

CommandError errorOf(ParseCertFileResult result, const Answered& answered) {
    if (result == ParseCertFileResult::fileUnreadable) {
        return {Exit::badInput, phrase(Say::fileUnreadable, {answered.object})};
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
