// SPDX-License-Identifier: MIT
//
// Files and folders by UTF-8 name, with two properties that plain streams lack. While a file is read, no other process
// can write it, on systems that support this. Writing replaces the whole file or changes nothing.
//
// Functions that fail throw FileError, whose text names the file and the system's reason. A lock that one process at a
// time can hold, and the current folder, are here too. Any thread may call these functions.
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

// Returns the content of a regular file of at most `limit` bytes. A file that turns out to be shorter than its size is
// an error too.
std::string readFile(const std::string& path, std::uint64_t limit);

// Replaces the content of the file. The content is written to a new file in the same folder, flushed, and renamed, so
// that after a crash the file has either its old or its new content. A new file gets mode 0600 (`onlyOwner`) or what
// the process's mask allows; an existing one keeps its mode. A symbolic link is followed.
void replaceFile(const std::string& path, const std::string& content, bool onlyOwner);

// Like replaceFile, but a file that can be written in a folder that can't be is rewritten in place. Then a crash may
// leave a mix of the old and new content.
void replaceOrRewriteFile(const std::string& path, const std::string& content, bool onlyOwner);

// Removes the temporary files that replaceFile has left in the folder of the file when the process was ended in the
// middle of it. Call it only when no other process can be replacing the file.
void removeUnfinished(const std::string& path);

// Creates a folder that only this account can enter, and the folders above it that are missing. If the folder exists,
// it must belong to this account, and other accounts must not be able to write it.
void makePrivateFolder(const std::string& path);

// Returns the path of this process's executable. If the file was replaced or removed since the start, on Linux this is
// a path that still starts the same program.
std::string executablePath();

// ---- the folder of the process

// Writes the path of the current folder, in UTF-8 and with a terminating zero byte, to `buffer` of `size` bytes.
// Returns false if there is none or it does not fit; the content of the buffer is then undefined.
bool currentDirectory(char* buffer, std::size_t size);

// ---- locks

// A lock that one process at a time can hold. It uses a separate file. The system releases the lock when the process
// ends, also after a crash. The file stays, so its existence does not mean that the lock is held.
class FileLock {
public:
    // Takes the lock. Creates the file if needed, for this account only. Returns null if another process, or another
    // object in this process, holds the lock. Throws FileError when the file can't be used.
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

// The name of a temporary file is the name of the file that it will replace, then this mark, then more characters.
inline constexpr const char* unfinishedMark = ".new-";

} // namespace platform
