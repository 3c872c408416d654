// SPDX-License-Identifier: MIT
//
// The values that arguments and options can take, where they can be known: a table of their names, with where their
// values come from.
#pragma once

#include <panelctl/program/completion.h>

#include <string_view>
#include <vector>

namespace panelctl {

// What may stand for the argument or option of that name ("token", "provider") of a command ("token login"); nothing
// for one that is not known.
std::vector<Candidate> valuesOf(std::string_view command, std::string_view argument);

} // namespace panelctl
