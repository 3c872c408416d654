// SPDX-License-Identifier: MIT
//
// The places of files that a test does not make itself. Only one source has the paths: all others compile to the same
// result wherever the tree is, so that a compiler cache serves every clone.
#pragma once

#include <string>

// A file of the source tree: sourceFile("docs/wire-format.md").
std::string sourceFile(const std::string& name);

// The built translations, in the layout of /usr/share/locale.
const char* localeFolder();
