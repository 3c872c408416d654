// SPDX-License-Identifier: MIT
//
// "Did you mean ...?": the name that was probably meant. Errors of the library and of front ends use the same rule, so
// that two of them never suggest different names for one mistake.
//
//   panelkit::nearest("lst", {"list", "login"}); // "list"
#pragma once

#include <platform/export.h>

#include <string>
#include <string_view>
#include <vector>

namespace panelkit {

// The nearest candidate, the first of equally near ones: by the number of characters to insert, remove, replace or swap
// with their neighbour, whatever the case of ASCII letters, at most a third of the longer text. People shorten
// "Office Berlin" to "Office", so the first word of a candidate counts too. If nothing is that near, the first
// candidate that begins with the three or more characters in `typed`. Empty if there is none, and for a `typed` that is
// empty or longer than 200 bytes. Any thread may call this.
PANELKIT_EXPORT std::string nearest(std::string_view typed, const std::vector<std::string_view>& candidates);

// The same, for texts in any range.
template <class Range>
std::string nearest(std::string_view typed, const Range& candidates) {
    return nearest(typed, std::vector<std::string_view>(candidates.begin(), candidates.end()));
}

} // namespace panelkit
