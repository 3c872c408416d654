// SPDX-License-Identifier: MIT
//
// Reads a whole file, or standard input.
#pragma once

#include <cstddef>
#include <string>

namespace panelctl {

// The name of a file for people: "-" is standard input.
std::string inputName(const std::string& utf8Path);

// Reads the whole file; "-" is standard input. It may hold secrets, so memory that is freed meanwhile is wiped.
// Throws CommandError when the file can't be opened, and (Exit::tooLarge) when it has more than `limit` bytes.
std::string readInput(const std::string& utf8Path, std::size_t limit);

} // namespace panelctl
