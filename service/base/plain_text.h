// SPDX-License-Identifier: MIT
//
// Names that front ends give to objects on tokens.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace panelkitd {

// Returns the number of characters; nullopt when the text is not UTF-8 or has control characters.
std::optional<std::size_t> plainCharacters(std::string_view text);

} // namespace panelkitd
