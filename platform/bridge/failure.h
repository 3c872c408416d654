// SPDX-License-Identifier: MIT
//
// How a command can fail on its way, and what the service remarks on one that it answers: codes and arguments for
// programs, of which texts for people are made where they are shown.
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

// Code 5 on a session that is not broken is what callers test for "the service isn't there"; the numbers are part
// of the interface and never change.
enum class FailureCode : std::uint32_t {
    none = 0,
    accessDenied = 1,    // the service, or the operating system, does not let this user
    versionMismatch = 2, // the service speaks another version of the protocol
    timedOut = 3,        // connected, but silent for longer than the session's wait setting
    connectionLost = 4,  // the service disconnected, or sent a malformed frame
    noService = 5,       // nobody listens at the endpoint
    refused = 6,         // the module, or the dispatcher, refused the command
    tooLarge = 7,        // the request is above the frame limit; nothing was sent
    strangeService = 8,  // the endpoint is served by an account that is not trusted; nothing was sent
    overloaded = 9,      // the service has too many sessions already, or is stopping
    badEndpoint = 10,    // the endpoint setting can't be used
};

struct Failure {
    FailureCode code = FailureCode::none;
    std::vector<Loc::Phrase> phrases; // what happened, then why; none when the code says all that is known
    std::uint32_t detail = 0;         // of `refused`: the module's own number for the reason

    // In English, for people; empty when there was no failure. To show it in another language, translate the wording
    // of each phrase (or describe(code) when there is none) and fill in the phrase's arguments.
    PANELKIT_EXPORT std::string text() const;
};

// Something that the service says of a command beside its answer: why it was refused; why an operation was not carried
// out although its command was answered; what an answer leaves out. Where an answer carries a text for people, its
// remarks say the same to programs.
struct Remark {
    std::uint32_t code = 0; // the service's number for it (vocabulary/refusals.h); 0 when it has none
    Loc::Phrase phrase;     // never without a wording

    bool operator==(const Remark&) const = default;
};

// Whether a failure of that code marks the session broken, so that the pool opens a new one. The others leave it
// usable: the next command connects again, or goes over the connection that is still good.
bool breaksSession(FailureCode code);

// What is said of a failure when nothing more precise is known.
PANELKIT_EXPORT const char* describe(FailureCode code);

// The outcome of the last command that the calling thread sent, over whichever session; how a front end finds out
// why an operation answered false. A progress command leaves its outcome with the thread that executed it.
PANELKIT_EXPORT const Failure& lastFailure();

// What the service remarked on that command, in its order: first what, then why. Empty for most commands, and always
// with a service that speaks version 1 of the protocol. A refusal's remarks are its reasons.
PANELKIT_EXPORT const std::vector<Remark>& lastRemarks();

// What a command ended with, and how it is left with the calling thread.
struct Outcome {
    Failure failure;
    std::vector<Remark> remarks;
};
const Outcome& lastOutcome();
void setLastOutcome(Outcome outcome);

} // namespace bridge
