// SPDX-License-Identifier: MIT
//
// Where catalogues are found: <folder>/<language>/LC_MESSAGES/<module>.mo, as /usr/share/locale has them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Loc {

// A whole catalogue has some ten thousand bytes; a larger file than this is not read.
inline constexpr std::size_t largestCatalogue = std::size_t{4} << 20;

struct CatalogueFile {
    std::string path, bytes;
};

// The catalogue of a module for a language, which may be called as locales are: "ru_RU.UTF-8" is looked for as "ru_RU",
// then as "ru". `folder` is UTF-8. Returns nothing, and the reason in `error`, when there is none or it can't be read.
std::optional<CatalogueFile> findCatalogue(const std::string& folder, const std::string& language,
                                           const std::string& module, std::string& error);

} // namespace Loc
