// SPDX-License-Identifier: MIT
//
// Nothing is deleted unasked: a person types the name of what goes, a script says --yes.
#pragma once

#include <string>

namespace panelctl {

// Returns when the deletion is confirmed. `warning` says what will be lost, `name` is what has to be typed; both as
// they came. Throws CommandError.
void confirmDeletion(const std::string& warning, const std::string& name, bool yes);

} // namespace panelctl
