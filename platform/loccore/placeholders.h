// SPDX-License-Identifier: MIT
//
// What a translation must have in common with its original, so that code that prints it does what it did before.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Loc {

// The printf conversions of a text in order ("%s", "%-3d", "%%"); nullopt when a % begins none, so that the text can't
// be a format. Conversions by position ("%1$s") are none: not every system's printf has them.
std::optional<std::vector<std::string_view>> conversions(std::string_view text);

// Whether a translation may stand for its original: in a format, the same conversions in the same order; in a text
// that is no format, the same markers ("%else%") in the same order, and the same places ("%1$s") in any.
bool samePlaceholders(std::string_view original, std::string_view translation);

// Whether the blanks and line feeds that lead and end both are the same. Texts are joined to lines and paragraphs by
// them.
bool sameEdges(std::string_view original, std::string_view translation);

} // namespace Loc
