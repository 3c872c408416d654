// SPDX-License-Identifier: MIT
//
// The manual page of panelkitd, made from the model that parses its command line, so that the two always agree.
// `panelkitd --manual` prints it; docs/man/panelkitd.8 must be the same.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace panelkitd {

inline constexpr const char* manualRequest = "--manual";

// Returns the source for man(1). It is the same for every account: defaults that depend on the account are described by
// a rule.
std::string manual(const CLI::App& program);

} // namespace panelkitd
