// SPDX-License-Identifier: MIT
//
// Nothing is deleted without confirmation: a person types the name of the object, a script says --yes.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace panelctl {

// Adds --yes to a verb.
void addYes(CLI::App& verb, bool& yes);

// Returns when the deletion is confirmed. `warning` says what will be lost, `name` has to be typed; neither is escaped
// yet. Throws CommandError.
void confirmDeletion(const std::string& warning, const std::string& name, bool yes);

} // namespace panelctl
