// SPDX-License-Identifier: MIT
//
// The exit codes of panelctl. Scripts depend on them: a number never changes its meaning.
#pragma once

#include <platform/bridge/failure.h>
#include <vocabulary/refusals.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace panelctl {

enum class Exit : int {
    // clang-format off
    ok                 = 0,
    failed             = 1,  // something that has no code of its own
    usage              = 2,  // the command line is wrong

    // reaching the service
    noService          = 3,
    accessDenied       = 4,
    timedOut           = 5,
    connectionLost     = 6,
    versionMismatch    = 7,
    strangeService     = 8,
    overloaded         = 9,

    // what the command names or brings
    notFound           = 10,
    ambiguous          = 11,
    badInput           = 12,
    tooLarge           = 13,
    incomplete         = 14, // a token could not be read, so the answer would leave something out

    // tokens and PINs
    wrongPin           = 20,
    pinLocked          = 21,
    finalTry           = 22, // one try remains, and the command does not allow it to be used
    unfitPin           = 23,
    notLoggedIn        = 24,
    otherUserIsIn      = 25,
    notConfirmed       = 26, // something would be erased, and it was not confirmed
    notInitialised     = 27,

    // providers and devices
    providerRefused    = 30, // it can't be loaded, or must not be unloaded
    writeProtected     = 31,
    tokenFull          = 32,
    notSupported       = 33,
    deviceError        = 34,

    refused            = 40, // the service refused for another reason

    // configuration
    outOfBounds        = 50, // not a number, or a number out of bounds
    unknownChoice      = 51, // not one of the choices
    malformedValue     = 52, // not in the parameter's format
    restored           = 53, // a change failed half-way; everything is as it was before
    notRestored        = 54, // a change failed half-way, and could not be undone
    wouldChange        = 55, // --check found a difference
    interrupted        = 56, // by Ctrl-C, before anything was changed
    interruptedPartly  = 57, // by Ctrl-C, after a part was done; the message says which

    // certificates
    notVerified        = 60, // a certificate, or the signature of a CRL, does not verify
    expiring           = 61, // certificates expire within the time that was asked about
    alreadyThere       = 62, // the token already has the object, or a newer one
    wrongPassword      = 63, // of a file
    keyStays           = 64, // the token does not allow the private key to be exported

    // the policy
    policyNotActivated = 70, // the service answered that it did not activate it
    settingsNotApplied = 71, // the service answered that it rejected the settings

    // panelctl doctor
    unhealthy          = 80, // something does not work
    attention          = 81, // everything works, but something will stop working soon
    // clang-format on
};

struct ExitRow {
    Exit code;
    const char* name;    // for scripts
    const char* meaning; // for the manual page, in English
};

// Every exit code, in order.
extern const ExitRow exitRows[];
extern const std::size_t exitRowCount;

// Its name in the table; "failed" for a code that is not there.
const char* nameOf(Exit code);

Exit exitFor(bridge::FailureCode failure, vocabulary::Refused detail);
// For an answer that says no: the remark that comes first.
Exit exitFor(const bridge::Remark& remark);

// Ends a verb: the text goes to standard error, the code to the caller.
class CommandError : public std::runtime_error {
public:
    CommandError(Exit exitCode, const std::string& text, std::vector<std::string> linesBelow = {})
        : std::runtime_error(text), code(exitCode), below(std::move(linesBelow)) {}
    Exit code;
    std::vector<std::string> below; // extra lines printed after the message, such as candidates
};

// The error for a command that failed.
CommandError failureError(const bridge::Failure& failure);

// The error for the last operation of the library that returned false.
CommandError lastFailureError();

} // namespace panelctl
