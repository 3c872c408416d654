// SPDX-License-Identifier: MIT
//
// Files and folders by UTF-8 name, with the two properties that plain streams lack: reading shuts other writers out
// where the system can, and writing replaces a file whole or not at all.
//
// What fails throws FileError: its text names the file and the system's reason. A lock for one process at a time, and
// the current folder, are here too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
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

// ---- the folder of the process

// Writes the path of the current folder, in UTF-8 and with a terminating zero byte, to `buffer` of `size` bytes.
// Returns false if there is none or it does not fit; the content of the buffer is then undefined.
bool currentDirectory(char* buffer, std::size_t size);

// ---- locks

// A lock that one process at a time holds, by a file of its own. The system releases it when the process ends,
// however that happens. The file stays; that it exists says nothing.
class FileLock {
public:
    // Takes the lock, and makes the file if needed, for this account only. Returns null if somebody else holds
    // it, which may be another object of this process. Throws FileError when the file can't be used.
    static std::unique_ptr<FileLock> take(const std::string& path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    struct Held;
    explicit FileLock(std::unique_ptr<Held> held);
    std::unique_ptr<Held> held_;
};

// ---- for files*.cpp

// Files are named so while they are written: the name of the file that is to be replaced, this mark, and more.
inline constexpr const char* unfinishedMark = ".new-";

} // namespace platform
