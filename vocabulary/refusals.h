// SPDX-License-Identifier: MIT
//
// The numbers of the reasons why panelkitd refused a command, and of its remarks on commands that it answered. They are
// sent beside the texts for people (bridge::Failure::detail, bridge::Remark::code), so that a front end can act on the
// reason in any language. They never change.
#pragma once

#include <cstdint>

namespace vocabulary {

// Why a command was refused, or what an answer leaves out: the number of a refusal and of a remark.
enum class Refused : std::uint32_t {
    // clang-format off
    none             = 0,

    // PINs and log-in
    wrongPin         = 1,  // the PIN is wrong
    pinLocked        = 2,  // too many wrong PINs; the token accepts none any more
    finalTry         = 3,  // a wrong PIN would lock the token, and the command does not allow that try
    unfitPin         = 4,  // a new PIN is too short, too long, or has characters that the token does not accept
    notLoggedIn      = 5,
    otherUserIsIn    = 6,  // the other of user and security officer is logged in
    inUseByAnother   = 7,  // another account is logged in to the token

    // what a command names
    noSuchToken      = 10, // not present, or removed
    ambiguousToken   = 11,
    noSuchProvider   = 12,
    noSuchObject     = 13,
    notInitialised   = 14, // the token has to be initialised first
    wouldErase       = 15, // the token is initialised, and the command does not allow to erase it
    incomplete       = 16, // a token could not be read, so the answer would lack its objects

    // providers
    embeddedProvider = 20, // the service's own; it can't be unloaded
    alreadyLoaded    = 21,
    modulePath       = 22, // the path breaks the rules for modules
    moduleUnfit      = 23, // it crashed or hung when it was started, or its answers make no sense
    providerProblem  = 24, // in listings: what follows is why the provider that it names is not loaded
    moduleFailed     = 25, // the module's process crashed, hung or answered nonsense, or is not running
    moduleBusy       = 26, // the module is at work for somebody else

    // tokens as devices
    writeProtected   = 30,
    tokenFull        = 31,
    notSupported     = 32, // by the token or its module
    deviceError      = 33,

    // input
    badInput         = 40,
    unknownFormat    = 41, // a file is damaged, or has an unknown format
    wrongPassword    = 42, // the password of a file is wrong or missing
    nothingUsable    = 43, // a file is understood, but has nothing that can be imported
    tooCostly        = 44, // reading a file would take too long
    damagedBlock     = 45, // of a PEM file; its number in the file comes first, counted from 1, then its line

    // certificates
    alreadyThere     = 50,
    olderThanPresent = 51, // the token has a newer list of the same issuer
    badSignature     = 52,
    keyStays         = 53, // a private key that must stay on its token, or is missing
    notVerified      = 54, // what is wrong with a certificate of the chain
    chainLink        = 55, // of a certificate that verifies: how its chain goes
    notCounted       = 56, // of a certificate that verifies: what was found and ignored
    trusted          = 57, // why a certificate may be the end of a chain
    keyShared        = 58, // a private key that would be deleted belongs to another certificate too

    // policies
    policyLine       = 60, // an error or a remark on a line of a policy file; the line number comes first
    policyCopy       = 61, // a stored copy is in force, not the file
    credentials      = 62, // a certificate or preshared key that the policy needs is missing or unusable
    policyReplaced   = 63, // it was accepted, and another activation came before it was in force
    notInForce       = 64, // the engine can't put it into force; what follows is why
    engineState      = 65, // what the engine does, or why it does not do it
    tunnelIsUp       = 66, // a remark: which gateway, since when, with which credential

    // the service's own state
    notStored        = 70, // it can't be written to disk; nothing has changed
    overBudget       = 71, // the account, or all together, would take more of the service than they may
    // clang-format on
};

} // namespace vocabulary
