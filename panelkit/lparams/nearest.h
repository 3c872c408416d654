// SPDX-License-Identifier: MIT
//
// "Did you mean ...?": the candidate that differs least from what was typed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace panelkit {

// The nearest candidate, the first of equally near ones: by the number of characters to insert, remove, replace or swap
// with their neighbour, ASCII case apart, at most a third of the longer text; else the first that begins with `typed`.
// Empty when nothing is near.
std::string nearest(std::string_view typed, const std::vector<std::string_view>& candidates);

} // namespace panelkit
