// SPDX-License-Identifier: MIT
//
// Where a test finds what it does not make itself. The paths are known to one source only: all others compile to the
// same wherever the tree lies, so that a compiler cache serves every clone.
#pragma once

#include <string>

// A file of the source tree: sourceFile("docs/wire-format.md").
std::string sourceFile(const std::string& name);

// The translations that were built, laid out as /usr/share/locale is.
const char* localeFolder();
