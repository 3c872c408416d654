// SPDX-License-Identifier: MIT
//
// The manual page of panelctl. It is made from the model that parses command lines and from the table of exit codes, so
// it always agrees with them. `panelctl --manual` prints it; docs/man/panelctl.1 is a copy.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace panelctl {

inline constexpr const char* manualRequest = "--manual";

// The source text for man(1).
std::string manual(const CLI::App& program);

} // namespace panelctl
