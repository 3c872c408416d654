// SPDX-License-Identifier: MIT
//
// Checks what the parser accepts although it is not XML: stray ampersands, repeated attributes, text outside the root
// and more. A file with those is damaged, and reading only part of it would lose the rest when it is written back.
// Internal to platform/xml.
#pragma once

#include <pugixml.hpp>

#include <string_view>

namespace platform::xml {

// Throws XMLError unless the tree, which must be parsed from `text` without any conversion, is that of a well-formed
// document. The root is then its only element.
void checkWellFormed(const pugi::xml_document& document, std::string_view text);

} // namespace platform::xml
