// SPDX-License-Identifier: MIT
//
// The documents that are made from the texts of library and front end, and from the library's parameters. All are UTF-8
// with plain line feeds, and the same for the same library.
#pragma once

#include <string>

namespace documents {

std::string translationTemplate();
std::string frontEndTranslationTemplate();
std::string parameterReference();
std::string configurationSchema();

} // namespace documents
