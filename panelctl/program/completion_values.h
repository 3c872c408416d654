// SPDX-License-Identifier: MIT
//
// The values that arguments and options can take, as far as they are known: a table with a source of values for each
// name.
#pragma once

#include <panelctl/program/completion.h>

#include <string_view>
#include <vector>

namespace panelctl {

// The values for the argument or option of that name ("token", "provider") of a command ("token login"); none for one
// that is not in the table.
std::vector<Candidate> valuesOf(std::string_view command, std::string_view argument);

// The values that the configuration's parameter of that name may have, if they are few.
std::vector<Candidate> legalValues(const std::string& parameter);

} // namespace panelctl
