// SPDX-License-Identifier: MIT
//
// The exit codes of panelctl. Scripts depend on them: a number never changes its meaning.
#pragma once

#include <platform/bridge/failure.h>
#include <vocabulary/refusals.h>

#include <stdexcept>
#include <string>

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

    // tokens and PINs
    wrongPin           = 20,
    pinLocked          = 21,
    finalTry           = 22, // one try remains, and the command does not allow to spend it
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

    // the policy
    policyNotActivated = 70, // the service answered that it did not activate it
    settingsNotApplied = 71, // the service answered that it did not take the settings over
    // clang-format on
};

struct ExitRow {
    Exit code;
    const char* name; // for the documents and for scripts
};

// Every exit code, in order.
extern const ExitRow exitRows[];
extern const std::size_t exitRowCount;

Exit exitFor(bridge::FailureCode failure, vocabulary::Refused detail);

// Ends a verb: the text goes to standard error, the code to the caller.
class CommandError : public std::runtime_error {
public:
    CommandError(Exit exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}
    Exit code;
};

// The error of the last operation of the library that answered false.
CommandError lastFailureError();

} // namespace panelctl
