// SPDX-License-Identifier: MIT
//
// What the parser lets pass and XML does not. It forgives stray ampersands, doubled attributes, text around the root
// and more; a file with those is damaged, and to take it half would lose the rest when it is written back. Internal to
// platform/xml.
#pragma once

#include <pugixml.hpp>

#include <string_view>

namespace platform::xml {

// Throws XMLError unless the tree, as parsed without any conversion from `text`, is that of a well-formed document.
// The root is then its one element.
void checkWellFormed(const pugi::xml_document& document, std::string_view text);

} // namespace platform::xml
