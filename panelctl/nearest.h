// SPDX-License-Identifier: MIT
//
// The candidate that was probably meant.
#pragma once

#include <string>
#include <vector>

namespace panelctl {

// The candidate nearest to `word`, by the letters that would have to be changed in it or in its first word,
// regardless of case; empty when none is near.
std::string nearest(const std::string& word, const std::vector<std::string>& candidates);

} // namespace panelctl
