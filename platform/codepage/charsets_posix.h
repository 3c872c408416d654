// SPDX-License-Identifier: MIT
//
// Code pages by the names that POSIX systems know them by: what iconv and locales call a character set. POSIX only.
#pragma once

#include <cstdint>
#include <string_view>

namespace platform {

// The name of the page for iconv; null when the page is not known.
const char* charsetOfPage(std::uint32_t page);

// The page of a character set as a locale names it, in any case ("UTF-8" is 65001, "KOI8-R" 20866); 0 when it has
// none that is known.
std::uint32_t pageOfCharset(std::string_view charset);

} // namespace platform
