// SPDX-License-Identifier: MIT
//
// The candidate that was probably meant, and how that is said.
#pragma once

#include <string>
#include <vector>

namespace panelctl {

// The candidate nearest to `word`, by the letters that would have to be changed in it or in its first word,
// regardless of case; empty when none is near.
std::string nearest(const std::string& word, const std::vector<std::string>& candidates);

// The end of a message that names it: "; did you mean "list"?". Empty when `candidate` is.
std::string didYouMean(const std::string& candidate);

} // namespace panelctl
