// SPDX-License-Identifier: MIT
//
// Files and folders by UTF-8 name, with the two properties that plain streams lack: reading shuts other writers out
// where the system can, and writing replaces a file whole or not at all.
//
// What fails throws FileError: its text names the file and the system's reason.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace platform {

class FileError : public std::runtime_error {
public:
    FileError(const std::string& path, std::string why, bool isMissing = false)
        : std::runtime_error(path + ": " + why), reason(std::move(why)), missing(isMissing) {}
    std::string reason; // without the path
    bool missing;       // there is no such file
};

// Reads a whole regular file of at most `limit` bytes. One that ends before the size it announced fails too.
std::string readFile(const std::string& path, std::uint64_t limit);

// Puts `content` in place of the file: written beside it, flushed, and renamed over it, so that a crash leaves the old
// file or the new one. A new file gets mode 0600 (`onlyOwner`) or what the process's mask allows; an existing one keeps
// its mode. A symbolic link is followed.
void replaceFile(const std::string& path, const std::string& content, bool onlyOwner);

// As replaceFile, but where the file can be written and its folder can't, the file is rewritten in place. A crash then
// may leave a mix of old and new.
void replaceOrRewriteFile(const std::string& path, const std::string& content, bool onlyOwner);

// Removes what replaceFile left beside the file because the process was ended in the middle of it. Only where no other
// process replaces the file.
void removeUnfinished(const std::string& path);

// Makes a folder that only this account can enter, and those above it as needed; one that exists must belong to this
// account and be writable by nobody else.
void makePrivateFolder(const std::string& path);

// The path of this process's executable. Once that is replaced or removed, on Linux, a path that starts it all the
// same.
std::string executablePath();

} // namespace platform
