// SPDX-License-Identifier: MIT
//
// What is in folders: files and folders are found, listed, renamed and removed by UTF-8 name of any length. Use these
// instead of the functions of std::filesystem that ask the system, which on Windows fail for names above 260
// characters. Any thread may call these functions.
#pragma once

#include <string>
#include <vector>

namespace platform {

enum class FileType : unsigned char { missing, regular, folder, link, other };

// Returns what has that path: a link itself (on Windows any reparse point), not what it leads to. Throws FileError when
// the system does not say.
FileType typeOf(const std::string& path);

// Returns the names in a folder, without "." and "..", in no order. Empty when the folder can't be read.
std::vector<std::string> namesIn(const std::string& folder);

// Renames a file, in the place of one that has the new name. Throws FileError.
void renameFile(const std::string& from, const std::string& to);

// Removes a file, if it can be removed.
void removeFile(const std::string& path) noexcept;

// Returns the one absolute path of a file or folder, with all links resolved. Throws FileError, also if it is missing.
std::string canonicalPath(const std::string& path);

} // namespace platform
