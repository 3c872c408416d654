// SPDX-License-Identifier: MIT
//
// Tokens that the service could not read for a listing: one whose module does not answer, say. What was not seen must
// not be taken for what is not there.
#pragma once

#include <panelctl/base/exit_codes.h>

#include <string>
#include <vector>

namespace panelctl {

// Keeps what the service remarked on the listing that it has just answered. For each listing, before the next command.
void noteUnseen();

// "There are none", unless something was not seen.
void printNone(const std::string& text);

// For a verb that lists, after it has printed what was seen. Throws CommandError (Exit::incomplete) with what was not.
void requireAllSeen();

// The error for a name that was not found: `notFound`, unless the listings before it have left something out.
CommandError notFoundError(const std::string& text);

} // namespace panelctl
