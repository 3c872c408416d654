// SPDX-License-Identifier: MIT
#include <panelctl/base/exit_codes.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/say.h>

#include <iterator>

namespace panelctl {

using bridge::FailureCode;
using vocabulary::Refused;

// clang-format off
const ExitRow exitRows[] = {
    {Exit::ok,                 "ok"},
    {Exit::failed,             "failed"},
    {Exit::usage,              "usage"},
    {Exit::noService,          "no-service"},
    {Exit::accessDenied,       "access-denied"},
    {Exit::timedOut,           "timed-out"},
    {Exit::connectionLost,     "connection-lost"},
    {Exit::versionMismatch,    "version-mismatch"},
    {Exit::strangeService,     "strange-service"},
    {Exit::overloaded,         "overloaded"},
    {Exit::notFound,           "not-found"},
    {Exit::ambiguous,          "ambiguous"},
    {Exit::badInput,           "bad-input"},
    {Exit::tooLarge,           "too-large"},
    {Exit::incomplete,         "incomplete"},
    {Exit::wrongPin,           "wrong-pin"},
    {Exit::pinLocked,          "pin-locked"},
    {Exit::finalTry,           "final-try"},
    {Exit::unfitPin,           "unfit-pin"},
    {Exit::notLoggedIn,        "not-logged-in"},
    {Exit::otherUserIsIn,      "other-user-is-in"},
    {Exit::notConfirmed,       "not-confirmed"},
    {Exit::notInitialised,     "not-initialised"},
    {Exit::providerRefused,    "provider-refused"},
    {Exit::writeProtected,     "write-protected"},
    {Exit::tokenFull,          "token-full"},
    {Exit::notSupported,       "not-supported"},
    {Exit::deviceError,        "device-error"},
    {Exit::refused,            "refused"},
    {Exit::outOfBounds,        "out-of-bounds"},
    {Exit::unknownChoice,      "unknown-choice"},
    {Exit::malformedValue,     "malformed-value"},
    {Exit::restored,           "restored"},
    {Exit::notRestored,        "not-restored"},
    {Exit::wouldChange,        "would-change"},
    {Exit::interrupted,        "interrupted"},
    {Exit::notVerified,        "not-verified"},
    {Exit::expiring,           "expiring"},
    {Exit::alreadyThere,       "already-there"},
    {Exit::wrongPassword,      "wrong-password"},
    {Exit::keyStays,           "key-stays"},
    {Exit::policyNotActivated, "policy-not-activated"},
    {Exit::settingsNotApplied, "settings-not-applied"},
    {Exit::unhealthy,          "unhealthy"},
    {Exit::attention,          "attention"},
};
// clang-format on
const std::size_t exitRowCount = std::size(exitRows);

namespace {

// No default: a reason without its code does not compile.
Exit exitForRefusal(Refused reason) {
    switch (reason) {
    case Refused::none: return Exit::refused;
    case Refused::wrongPin: return Exit::wrongPin;
    case Refused::pinLocked: return Exit::pinLocked;
    case Refused::finalTry: return Exit::finalTry;
    case Refused::unfitPin: return Exit::unfitPin;
    case Refused::notLoggedIn: return Exit::notLoggedIn;
    case Refused::inUseByAnother:
    case Refused::otherUserIsIn: return Exit::otherUserIsIn;
    case Refused::noSuchToken:
    case Refused::noSuchProvider:
    case Refused::noSuchObject: return Exit::notFound;
    case Refused::ambiguousToken: return Exit::ambiguous;
    case Refused::notInitialised: return Exit::notInitialised;
    case Refused::wouldErase: return Exit::notConfirmed;
    case Refused::incomplete: return Exit::incomplete;
    case Refused::embeddedProvider:
    case Refused::alreadyLoaded:
    case Refused::modulePath:
    case Refused::moduleUnfit: return Exit::providerRefused;
    case Refused::writeProtected: return Exit::writeProtected;
    case Refused::tokenFull: return Exit::tokenFull;
    case Refused::notSupported: return Exit::notSupported;
    case Refused::moduleFailed:
    case Refused::moduleBusy:
    case Refused::deviceError: return Exit::deviceError;
    case Refused::badInput: return Exit::badInput;
    case Refused::overBudget:
    case Refused::keyShared:
    case Refused::notStored: return Exit::refused;
    case Refused::unknownFormat:
    case Refused::nothingUsable:
    case Refused::tooCostly:
    case Refused::policyLine: return Exit::badInput;
    case Refused::wrongPassword: return Exit::wrongPassword;
    case Refused::alreadyThere:
    case Refused::olderThanPresent: return Exit::alreadyThere;
    case Refused::keyStays: return Exit::keyStays;
    case Refused::badSignature:
    case Refused::notVerified: return Exit::notVerified;
    case Refused::providerProblem: // remarks on answers, which are not refused
    case Refused::chainLink:
    case Refused::notCounted:
    case Refused::trusted:
    case Refused::policyCopy:
    case Refused::policyReplaced:
    case Refused::credentials: return Exit::refused;
    }
    return Exit::refused; // from a newer service, which has more reasons
}

} // namespace

Exit exitFor(FailureCode failure, Refused detail) {
    switch (failure) {
    case FailureCode::none: return Exit::failed;
    case FailureCode::accessDenied: return Exit::accessDenied;
    case FailureCode::versionMismatch: return Exit::versionMismatch;
    case FailureCode::timedOut: return Exit::timedOut;
    case FailureCode::connectionLost: return Exit::connectionLost;
    case FailureCode::noService: return Exit::noService;
    case FailureCode::refused: return exitForRefusal(detail);
    case FailureCode::tooLarge: return Exit::tooLarge;
    case FailureCode::strangeService: return Exit::strangeService;
    case FailureCode::overloaded: return Exit::overloaded;
    case FailureCode::badEndpoint: return Exit::usage;
    }
    return Exit::failed;
}

Exit exitFor(const bridge::Remark& remark) { return exitForRefusal(static_cast<Refused>(remark.code)); }

CommandError failureError(const bridge::Failure& failure) {
    if (failure.code == FailureCode::none) { // the service answered, but not with success
        return {Exit::refused, say("the service did not carry out the command and gave no reason")};
    }
    return {exitFor(failure.code, static_cast<Refused>(failure.detail)), failureText(failure)};
}

CommandError lastFailureError() { return failureError(bridge::lastFailure()); }

} // namespace panelctl
