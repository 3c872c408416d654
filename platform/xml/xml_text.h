// SPDX-License-Identifier: MIT
//
// Text as it stands in an XML file, and as it is meant. Internal to platform/xml.
#pragma once

#include <string>
#include <string_view>

namespace platform::xml {

// Whether the text is UTF-8 and holds only characters that XML 1.0 allows. `offset` gets the place of the first that
// is not.
bool isXmlText(std::string_view text, std::size_t& offset);

// Appends the raw text to `meant` with its references resolved and its line ends as '\n'. False, with a part appended,
// when an ampersand begins no reference that can be resolved here.
bool decodeText(std::string_view raw, std::string& meant);

// The text with what has a meaning in XML, and what a reader would change, written as references.
std::string encodeText(std::string_view meant);

} // namespace platform::xml
