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
    {Exit::ok,                 "ok",                    "success"},
    {Exit::failed,             "failed",                "something that has no code of its own"},
    {Exit::usage,              "usage",                 "the command line is wrong"},
    {Exit::noService,          "no-service",            "the service is not running"},
    {Exit::accessDenied,       "access-denied",         "this account may not do it"},
    {Exit::timedOut,           "timed-out",             "the service did not answer in time"},
    {Exit::connectionLost,     "connection-lost",       "the connection broke, or a reply ended early"},
    {Exit::versionMismatch,    "version-mismatch",      "the service speaks no version of the protocol that panelctl knows"},
    {Exit::strangeService,     "strange-service",       "another account than expected runs the service"},
    {Exit::overloaded,         "overloaded",            "the service has too much to do, or too many connections"},
    {Exit::notFound,           "not-found",             "nothing has that name"},
    {Exit::ambiguous,          "ambiguous",             "several things have that name"},
    {Exit::badInput,           "bad-input",             "a file or a value that the command was given is unusable"},
    {Exit::tooLarge,           "too-large",             "a file or a value is too large"},
    {Exit::incomplete,         "incomplete",            "a token could not be read, so the answer would leave something out"},
    {Exit::wrongPin,           "wrong-pin",             "the PIN is wrong"},
    {Exit::pinLocked,          "pin-locked",            "the PIN is locked"},
    {Exit::finalTry,           "final-try",             "one PIN try remains, and the command does not allow it to be used"},
    {Exit::unfitPin,           "unfit-pin",             "the token does not accept the new PIN"},
    {Exit::notLoggedIn,        "not-logged-in",         "nobody is logged in to the token"},
    {Exit::otherUserIsIn,      "other-user-is-in",      "somebody else is logged in to the token"},
    {Exit::notConfirmed,       "not-confirmed",         "something would be erased, and it was not confirmed"},
    {Exit::notInitialised,     "not-initialised",       "the token is not initialised"},
    {Exit::providerRefused,    "provider-refused",      "the provider can't be loaded, or must not be unloaded"},
    {Exit::writeProtected,     "write-protected",       "the token is write-protected"},
    {Exit::tokenFull,          "token-full",            "the token is full"},
    {Exit::notSupported,       "not-supported",         "the token or its module can't do it"},
    {Exit::deviceError,        "device-error",          "the token or its module failed"},
    {Exit::refused,            "refused",               "the service refused for another reason"},
    {Exit::outOfBounds,        "out-of-bounds",         "not a number, or a number out of bounds"},
    {Exit::unknownChoice,      "unknown-choice",        "not one of the choices"},
    {Exit::malformedValue,     "malformed-value",       "not in the parameter's format"},
    {Exit::restored,           "restored",              "a change failed half-way; everything is as it was before"},
    {Exit::notRestored,        "not-restored",          "a change failed half-way, and could not be undone"},
    {Exit::wouldChange,        "would-change",          "--check found a difference"},
    {Exit::interrupted,        "interrupted",           "interrupted before anything was changed"},
    {Exit::interruptedPartly,  "interrupted-partly",    "interrupted after a part was done; the message says which"},
    {Exit::notVerified,        "not-verified",          "a certificate, or the signature of a CRL, does not verify"},
    {Exit::expiring,           "expiring",              "certificates expire within the time that was asked about"},
    {Exit::alreadyThere,       "already-there",         "the token already has the object, or a newer one"},
    {Exit::wrongPassword,      "wrong-password",        "the password of a file is wrong"},
    {Exit::keyStays,           "key-stays",             "the token does not allow the private key to be exported"},
    {Exit::policyNotActivated, "policy-not-activated",  "the service did not activate the policy"},
    {Exit::settingsNotApplied, "settings-not-applied",  "the service rejected the settings"},
    {Exit::unhealthy,          "unhealthy",             "doctor: something does not work"},
    {Exit::attention,          "attention",             "doctor: everything works, but something will stop working soon"},
};
// clang-format on
const std::size_t exitRowCount = std::size(exitRows);

const char* nameOf(Exit code) {
    for (const ExitRow& row : exitRows) {
        if (row.code == code) return row.name;
    }
    return nameOf(Exit::failed);
}

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
    case Refused::damagedBlock:
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
    case Refused::notInForce:
    case Refused::engineState:
    case Refused::tunnelIsUp:
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
    case FailureCode::exhausted: break;
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
