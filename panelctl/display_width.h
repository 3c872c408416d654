// SPDX-License-Identifier: MIT
//
// Text as it stands on a terminal: how many columns it takes, and with nothing in it that acts on the terminal.
#pragma once

#include <string>
#include <string_view>

namespace panelctl {

// The columns of a UTF-8 text: two for wide East Asian characters and emoji, none for combining marks.
int displayWidth(std::string_view utf8);

// The text with blanks behind it up to `width` columns; never cut.
std::string padded(std::string_view utf8, int width);

// Text that comes from tokens, certificates and files, made harmless: control characters, line ends, marks that turn
// the direction of writing, and bytes that are no UTF-8 are shown as \x1B or \u{202E}.
std::string escaped(std::string_view text);

} // namespace panelctl
