// SPDX-License-Identifier: MIT
//
// The manual page of panelctl, made from the model that parses command lines and from the table of exit codes, so that
// it can't say anything else than these. `panelctl --manual` prints it; docs/man/panelctl.1 is what it prints.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace panelctl {

inline constexpr const char* manualRequest = "--manual";

// As source for man(1).
std::string manual(const CLI::App& program);

} // namespace panelctl
