// SPDX-License-Identifier: MIT
//
// Code pages and their names in iconv and in locales. POSIX only.
#pragma once

#include <cstdint>
#include <string_view>

namespace platform {

// The name of the page for iconv; null when the page is not known.
const char* charsetOfPage(std::uint32_t page);

// The page of a character set by its name in a locale, in any case ("UTF-8" is 65001, "KOI8-R" 20866); 0 when no page
// is known for it.
std::uint32_t pageOfCharset(std::string_view charset);

} // namespace platform
