// SPDX-License-Identifier: MIT
//
// CCLocLoader::Localization: what a module tells the localization core about its table of texts. The table itself is
// the module's; the core writes translated texts into its cells.
#pragma once

#include <cstdint>

namespace CCLocLoader {

struct Localization {
    std::uint32_t count = 0;       // entries of the table
    std::uint32_t bitsPerUnit = 8; // texts are NUL-terminated strings of units this wide; catalogues are UTF-8, so 8
    std::uint64_t stamp = 0;       // the table's edition, as seconds since 1970; a catalogue must carry the same
    const char** const* index = nullptr; // `count` addresses, the i-th that of the table's i-th cell
    std::uint64_t reserved = 0;          // 0
};

} // namespace CCLocLoader
