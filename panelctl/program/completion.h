// SPDX-License-Identifier: MIT
//
// What a shell may offer for a command line that is being typed. It is found in the model that parses command lines, so
// that it can't lag behind, and, for the names of tokens and the like, asked of the service.
//
//   panelctl --complete WORD...     the words behind "panelctl", the last one being what is typed so far
//
// prints a line for each candidate: the word, a tab, and a description where there is one. Whatever fails on the way, a
// service that does not run for instance, leaves candidates out and nothing else.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace panelctl {

inline constexpr const char* completionRequest = "--complete";

struct Candidate {
    std::string word;
    std::string description;
};

// The candidates for the last of `words`.
std::vector<Candidate> complete(const CLI::App& program, std::span<const std::string> words);

// Answers a request as above.
void printCandidates(const CLI::App& program, std::span<const std::string> words);

} // namespace panelctl
