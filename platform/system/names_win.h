// SPDX-License-Identifier: MIT
//
// Names of files as the system's functions take them. Without the prefix "\\?\" the system refuses what is longer than
// 260 characters, and reads "NUL" or a blank at the end in its own way; the C library's functions, on which
// std::filesystem stands, refuse the prefix. So files are found, listed and removed by functions of the system. Windows
// only.
#pragma once

#include <string>

namespace platform {

// Makes the name absolute and normal, with the prefix. Throws FileError when it can't be one.
std::wstring longName(const std::string& utf8Path);

// The same for functions that start programs and load libraries, which other code asks for their paths: with the prefix
// only where it is needed. A name without a folder stays as it is, so that it can be searched for.
std::wstring programName(const std::string& utf8Path);

// A name of the system without the prefix, in UTF-8.
std::string plainName(const std::wstring& name);

} // namespace platform
