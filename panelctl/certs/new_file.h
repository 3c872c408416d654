// SPDX-License-Identifier: MIT
//
// Files that panelctl writes for people: always new ones, which only their owner can read.
#pragma once

#include <string>

namespace panelctl {

// Writes a whole new file or nothing. Throws CommandError when a file of that name exists, or it can't be written.
void writeNewFile(const std::string& utf8Path, const std::string& content);

} // namespace panelctl
