// SPDX-License-Identifier: MIT
//
// Finds catalogues: <folder>/<language>/LC_MESSAGES/<module>.mo, as in /usr/share/locale.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Loc {

// A catalogue has some ten thousand bytes; a file that is larger than this is not read.
inline constexpr std::size_t largestCatalogue = std::size_t{4} << 20;

struct CatalogueFile {
    std::string path, bytes;
};

// Returns the catalogue of a module for a language. The language may be the name of a locale: for "ru_RU.UTF-8" it
// tries "ru_RU", then "ru". `folder` is UTF-8. Returns nullopt, with the reason in `error`, when there is none or it
// can't be read.
std::optional<CatalogueFile> findCatalogue(const std::string& folder, const std::string& language,
                                           const std::string& module, std::string& error);

} // namespace Loc
