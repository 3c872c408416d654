// SPDX-License-Identifier: MIT
//
// CCLocLoader::Localization: describes a module's table of texts to the localization core. The module owns the table;
// the core writes translated texts into its cells.
#pragma once

#include <cstdint>

namespace CCLocLoader {

struct Localization {
    std::uint32_t count = 0;       // entries of the table
    std::uint32_t bitsPerUnit = 8; // texts are NUL-terminated strings of units this wide; catalogues are UTF-8, so 8
    std::uint64_t stamp = 0;       // the table's version, as seconds since 1970; a catalogue must have the same
    const char** const* index = nullptr; // `count` addresses of the table's cells, in order
    std::uint64_t reserved = 0;          // 0
};

} // namespace CCLocLoader
