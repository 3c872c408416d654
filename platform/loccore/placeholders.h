// SPDX-License-Identifier: MIT
//
// What a translation must have in common with its original, so that it can be printed by the same code.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Loc {

// Returns the printf conversions of a text in order ("%s", "%-3d", "%%"); nullopt when a % does not begin a conversion,
// so that the text can't be a format. "%1$s" is not accepted: not every system's printf has it.
std::optional<std::vector<std::string_view>> conversions(std::string_view text);

// Whether a translation can replace its original: a format needs the same conversions in the same order, other texts
// the same markers ("%else%") in the same order.
bool samePlaceholders(std::string_view original, std::string_view translation);

// Whether both have the same leading and trailing blanks and line feeds. Texts are joined to lines and paragraphs by
// them.
bool sameEdges(std::string_view original, std::string_view translation);

} // namespace Loc
