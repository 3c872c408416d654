// SPDX-License-Identifier: MIT
//
// The numbers by which panelkitd says why it refused a command, or what it remarks on one that it answered. They travel
// beside the texts for people (bridge::Failure::detail, bridge::Remark::code), so that a front end can act on the
// reason in any language. Never to change.
#pragma once

#include <cstdint>

namespace vocabulary {

enum class Refused : std::uint32_t {
    // clang-format off
    none             = 0,

    // PINs and log-in
    wrongPin         = 1,  // the PIN is not the token's
    pinLocked        = 2,  // too many wrong PINs; the token takes none any more
    finalTry         = 3,  // a wrong PIN would lock the token, and the command does not say that it may be tried
    unfitPin         = 4,  // a new PIN is too short, too long, or has characters that the token does not take
    notLoggedIn      = 5,
    otherUserIsIn    = 6,  // the other of user and security officer is logged in

    // what a command names
    noSuchToken      = 10, // not there, or not there any more
    ambiguousToken   = 11,
    noSuchProvider   = 12,
    noSuchObject     = 13,
    notInitialised   = 14, // the token has to be initialised first
    wouldErase       = 15, // the token is initialised, and the command does not say that it may be erased
    incomplete       = 16, // a token could not be read, so the answer would leave out what is on it

    // providers
    embeddedProvider = 20, // the service's own; it can't be unloaded
    alreadyLoaded    = 21,
    modulePath       = 22, // the path breaks the rules for modules
    moduleUnfit      = 23, // the probe crashed, hung, or got nonsense answers
    providerProblem  = 24, // in listings: what follows is why the provider that it names is not loaded

    // tokens as devices
    writeProtected   = 30,
    tokenFull        = 31,
    notSupported     = 32, // by the token or its module
    deviceError      = 33,

    // input
    badInput         = 40,
    unknownFormat    = 41, // a file is damaged, or of a format that is not known
    wrongPassword    = 42, // of a file; or it is missing
    nothingUsable    = 43, // a file is understood, and holds nothing that can be imported
    tooCostly        = 44, // reading a file would take too long

    // certificates
    alreadyThere     = 50,
    olderThanPresent = 51, // the token has a newer list of the same issuer
    badSignature     = 52,
    keyStays         = 53, // a private key that may not leave its token, or is not there
    notVerified      = 54, // what is wrong with a certificate of the chain
    chainLink        = 55, // of a certificate that verifies: how its chain goes
    notCounted       = 56, // of a certificate that verifies: what was found, and did not count

    // policies
    policyLine       = 60, // what is wrong with, or remarkable about, a line of a policy file; its number comes first
    policyCopy       = 61, // the copy that was kept is in force, not the file
    credentials      = 62, // a certificate or preshared key that the policy needs is missing, or of no use

    // the service's own state
    notStored        = 70, // it can't be written to disk; everything is as it was
    // clang-format on
};

} // namespace vocabulary
