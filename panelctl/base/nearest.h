// SPDX-License-Identifier: MIT
//
// The candidate that was probably meant, and the sentence that names it.
#pragma once

#include <string>
#include <vector>

namespace panelctl {

// The candidate that differs from `word` in the fewest letters, as a whole or in its first word, regardless of case.
// Empty when all differ too much.
std::string nearest(const std::string& word, const std::vector<std::string>& candidates);

// The end of a message that names it: "; did you mean "list"?". Empty when `candidate` is.
std::string didYouMean(const std::string& candidate);

} // namespace panelctl
