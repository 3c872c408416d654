// SPDX-License-Identifier: MIT
//
// Writes the header and the entries of a translation template.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace documents::po {

// The table that is to be translated.
struct Table {
    std::string module;
    std::uint64_t stamp = 0;
    std::size_t texts = 0;
};

std::string header(const Table& table);

// A text without translation. `uses` become comments for translators; `context` may be null.
std::string entry(const std::vector<std::string>& uses, const char* context, std::string_view wording);

} // namespace documents::po
