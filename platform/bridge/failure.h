// SPDX-License-Identifier: MIT
//
// How a command can fail on its way: the codes that a session reports as its last failure, and the details for
// people.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <string>

namespace bridge {

// Code 5 on a session that is not broken is what callers test for "the service isn't there"; the numbers are part
// of the interface and never change.
enum class FailureCode : std::uint32_t {
    none = 0,
    accessDenied = 1,    // the service, or the operating system, does not let this user
    versionMismatch = 2, // the service speaks another version of the protocol
    timedOut = 3,        // connected, but silent for longer than the session's wait setting
    connectionLost = 4,  // the service went away, or sent what is no frame
    noService = 5,       // nobody listens at the endpoint
    refused = 6,         // the module, or the dispatcher, refused the command
    tooLarge = 7,        // the request is above the frame limit; nothing was sent
    strangeService = 8,  // the endpoint is served by an account that is not trusted; nothing was sent
    overloaded = 9,      // the service has too many sessions already, or is stopping
    badEndpoint = 10,    // the endpoint setting can't be used
};

struct Failure {
    FailureCode code = FailureCode::none;
    std::string text;         // for people; empty when there was no failure
    std::uint32_t detail = 0; // of `refused`: the module's own number for the reason
};

// Whether a failure of that code marks the session broken, so that the pool opens a new one. The others leave it
// usable: the next command connects anew, or goes over the connection that is still good.
bool breaksSession(FailureCode code);

// What is said of a failure when nothing more precise is known.
const char* describe(FailureCode code);

// The outcome of the last command that the calling thread sent, over whichever session; how a front end finds out
// why an operation answered false. A progress command leaves its outcome with the thread that executed it.
PANELKIT_EXPORT const Failure& lastFailure();

// Sets what lastFailure() gives on this thread.
void setLastFailure(Failure failure);

} // namespace bridge
