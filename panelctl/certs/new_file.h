// SPDX-License-Identifier: MIT
//
// Files that panelctl writes for people: new ones, never over one that exists, and only for their owner to read.
#pragma once

#include <string>

namespace panelctl {

// Writes a new file, all of it or none. Throws CommandError when there is one of that name, or it can't be written.
void writeNewFile(const std::string& utf8Path, const std::string& content);

} // namespace panelctl
