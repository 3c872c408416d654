// SPDX-License-Identifier: MIT
//
// How a command can fail, and the remarks of the service on a command that it answers. Both are codes and arguments for
// programs; texts for people are made from them where they are shown.
//
//   if (!controller.TokenLogin(token, pin, false, nullptr)) {
//       const bridge::Failure& failure = bridge::lastFailure();
//       std::fprintf(stderr, "%s\n", failure.text().c_str());
//   }
#pragma once

#include <platform/export.h>
#include <platform/loccore/phrase.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bridge {

// Callers test for code 5 on a session that is not broken to find out that the service isn't running. The numbers are
// part of the interface and never change.
enum class FailureCode : std::uint32_t {
    none = 0,
    accessDenied = 1,    // the service, or the operating system, does not admit this user
    versionMismatch = 2, // the service speaks another version of the protocol
    timedOut = 3,        // connected, but without a sign of life for longer than the session's wait setting
    connectionLost = 4,  // the service disconnected, or sent a malformed frame
    noService = 5,       // nothing listens at the endpoint, or no connection can be made to it
    refused = 6,         // the module, or the dispatcher, refused the command
    tooLarge = 7,        // the request is above the frame limit; nothing was sent
    strangeService = 8,  // the endpoint is served by an account that is not trusted; nothing was sent
    overloaded = 9,      // the service has too many sessions already, or is stopping
    badEndpoint = 10,    // the endpoint setting can't be used
    exhausted = 11,      // this program has no memory or thread left; the service may carry the command out
};

struct Failure {
    FailureCode code = FailureCode::none;
    std::vector<Loc::Phrase> phrases; // what happened, then why; empty when only the code is known
    std::uint32_t detail = 0;         // of `refused`: the module's own number for the reason

    // In English, for people; empty when there was no failure. To show it in another language, translate the wording
    // of each phrase (or describe(code) when there is none) and fill in the phrase's arguments.
    PANELKIT_EXPORT std::string text() const;
};

// A remark of the service on a command, sent beside its answer: why it was refused; why an operation was not carried
// out although its command was answered; or what an answer leaves out. If the answer has a text for people, its remarks
// state the same for programs.
struct Remark {
    std::uint32_t code = 0; // the service's number of the remark (vocabulary/refusals.h); 0 when it has none
    Loc::Phrase phrase;     // always has a wording

    bool operator==(const Remark&) const = default;
};

// Whether a failure with that code marks the session as broken, so that the pool opens a new one. After other failures
// the session stays usable: the next command connects again, or uses the same connection.
bool breaksSession(FailureCode code);

// The text for a failure when nothing more precise is known.
PANELKIT_EXPORT const char* describe(FailureCode code);

// The outcome of the last command that the calling thread sent, over any session. A front end uses it to find out why
// an operation returned false. A progress command leaves its outcome with the thread that executed it.
PANELKIT_EXPORT const Failure& lastFailure();

// The service's remarks on that command, in its order: first what, then why. Empty for most commands, and always with a
// service that speaks version 1 of the protocol. The remarks on a refusal are its reasons.
PANELKIT_EXPORT const std::vector<Remark>& lastRemarks();

// The outcome of a command, and how it is stored for the calling thread.
struct SendOutcome {
    Failure failure;
    std::vector<Remark> remarks;
};
const SendOutcome& lastOutcome();
void setLastOutcome(SendOutcome outcome);

} // namespace bridge
