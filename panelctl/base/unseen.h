// SPDX-License-Identifier: MIT
//
// What the service could not see for a listing: tokens that could not be read, for example because their module does
// not answer, and tokens to which nobody is logged in, whose private objects are hidden. A verb must not report that
// something does not exist when it may be on such a token. One thread calls these functions.
#pragma once

#include <panelctl/base/exit_codes.h>

#include <string>
#include <vector>

namespace panelctl {

// Whether a list that leaves out only what needs a log-in is an error as well (--strict).
void setStrict(bool strict);

// Keeps the remarks that the service made on the last listing. Call it after each listing, before the next command to
// the service.
void noteUnseen();

// Forgets the remarks, before the listings are made again.
void forgetUnseen();

// Prints `text`, which says that there are none. Prints nothing when a listing of this run has left something out.
void printNone(const std::string& text);

// Called by a verb that lists, after it has printed what was read. Names the tokens that were not seen, if there are
// any. Throws CommandError (Exit::incomplete) when one of them could not be read, or with --strict.
void requireAllSeen();

// Returns the error for a name that was not found, with `text`. Its code is Exit::notFound, or Exit::incomplete when a
// listing before it has left something out.
CommandError notFoundError(const std::string& text);

} // namespace panelctl
