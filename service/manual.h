// SPDX-License-Identifier: MIT
//
// The manual page of panelkitd, made from the model that parses its command line, so that it can't say anything else.
// `panelkitd --manual` prints it; docs/man/panelkitd.8 is what it prints.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace panelkitd {

inline constexpr const char* manualRequest = "--manual";

// As source for man(1). It is the same for every account: defaults that depend on who runs the service are told by
// their rule.
std::string manual(const CLI::App& program);

} // namespace panelkitd
