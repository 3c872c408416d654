// SPDX-License-Identifier: MIT
//
// A transcript of what this process and the service say to each other, for people who look for a fault: a line of JSON
// for each command, with the fields of its request and its reply by name and offset. `panelctl transcript FILE` prints
// it. A reply that ends early is explained there: which field of which record, and at what offset.
//
//   PANELKIT_TRANSCRIPT=/home/anna/panelkit.log frontend    # without a change to the front end
//
//   panelkit::startTranscript("/home/anna/panelkit.log");   // or by the front end itself
//   controller.EnumProviders(providers);
//   panelkit::stopTranscript();
//
// Secrets are not written: those that the table of commands has as such (SecretText in commands.h), and parameters that
// are secrets by their kind. Their lengths can be seen from the offsets. Names of tokens, users and certificates, and
// texts from the service, are written; of long texts the first 200 bytes, of long lists the first 500 fields.
//
// The file is for this account only: a new one gets mode 0600 (on Windows an access list for the owner and the system).
// Lines are added at its end, by several processes at once too; it grows until somebody removes it.
#pragma once

#include <platform/export.h>

#include <string>

namespace panelkit {

// Begins to write to the file, at `path` in UTF-8, instead of to another one. Throws std::runtime_error, whose text
// names the file and the reason, when it can't be opened, is a link or no regular file, belongs to another account, or
// may be read by others; nothing changes then. Any thread may call it, but not while a group of parameters is
// constructed (registerText).
PANELKIT_EXPORT void startTranscript(const std::string& path);

// Commands that are under way may still be written. Any thread may call it.
PANELKIT_EXPORT void stopTranscript();

// Called before the first command of the process: starts a transcript to the file that the environment variable
// PANELKIT_TRANSCRIPT names, if it is set. A file that can't be used is reported once, on standard error. The variable
// is ignored in a program that runs with more rights than the account that started it.
void obeyTranscriptVariable();

} // namespace panelkit
