// SPDX-License-Identifier: MIT
//
// Converts between text as it is written in an XML file and its meaning. Internal to platform/xml.
#pragma once

#include <string>
#include <string_view>

namespace platform::xml {

// Whether the text is UTF-8 and has only characters that XML 1.0 allows. `offset` receives the position of the first
// other one.
bool isXmlText(std::string_view text, std::size_t& offset);

// Appends the raw text to `meant` with its references resolved and its line ends as '\n'. Returns false, with a part
// appended, when an ampersand does not begin a reference that can be resolved here.
bool decodeText(std::string_view raw, std::string& meant);

// Returns the text with all characters written as references that have a meaning in XML or that a reader would change.
std::string encodeText(std::string_view meant);

} // namespace platform::xml
