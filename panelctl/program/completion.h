// SPDX-License-Identifier: MIT
//
// The candidates that a shell offers for a command line that is being typed. They come from the model that parses
// command lines, so that they are never out of date; the service is asked for the names of tokens and the like.
//
//   panelctl --complete WORD...     the words after "panelctl"; the last one is what was typed so far
//
// prints a line for each candidate: the word, a tab, and a description where there is one. When something fails, for
// instance because the service does not run, candidates are missing; no error is reported.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace panelctl {

inline constexpr const char* completionRequest = "--complete";

struct Candidate {
    std::string word;
    std::string description;
};

// Whether the word after an option is its value.
bool takesValue(const CLI::Option& option);

// The candidates for the last of `words`.
std::vector<Candidate> complete(const CLI::App& program, std::span<const std::string> words);

// Answers a request as above.
void printCandidates(const CLI::App& program, std::span<const std::string> words);

} // namespace panelctl
