// SPDX-License-Identifier: MIT
//
// Tokens that the service could not read for a listing, for example because their module does not answer. A verb must
// not report that something does not exist when it may be on such a token. One thread calls these functions.
#pragma once

#include <panelctl/base/exit_codes.h>

#include <string>
#include <vector>

namespace panelctl {

// Keeps the remarks that the service made on the last listing. Call it after each listing, before the next command to
// the service.
void noteUnseen();

// Prints `text`, which says that there are none. Prints nothing when a listing of this run has left something out.
void printNone(const std::string& text);

// Called by a verb that lists, after it has printed what was read. Throws CommandError (Exit::incomplete) that names
// the tokens that could not be read, if there are any.
void requireAllSeen();

// Returns the error for a name that was not found, with `text`. Its code is Exit::notFound, or Exit::incomplete when a
// listing before it has left something out.
CommandError notFoundError(const std::string& text);

} // namespace panelctl
