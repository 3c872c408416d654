// SPDX-License-Identifier: MIT
//
// The documents that are made from the library's texts, parameters and commands. All are UTF-8
// with plain line feeds, and the same for the same library.
#pragma once

#include <string>

namespace documents {

std::string commandTable();
std::string translationTemplate();
std::string parameterReference();
std::string configurationSchema();

} // namespace documents
