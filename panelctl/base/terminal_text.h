// SPDX-License-Identifier: MIT
//
// Text for a terminal: how many columns it takes, and made harmless, so that nothing in it acts on the terminal.
#pragma once

#include <platform/text/escape.h>

#include <string>
#include <string_view>

namespace panelctl {

// The columns of a UTF-8 text: two for wide East Asian characters and emoji, none for combining marks.
int displayWidth(std::string_view utf8);

// The text, followed by blanks up to `width` columns. A longer text is not cut.
std::string padded(std::string_view utf8, int width);

// The text, or its beginning and "..." when it is wider than `width` columns.
std::string cut(const std::string& utf8, int width);

// For text that comes from tokens, certificates and files.
using platform::escaped;

} // namespace panelctl
