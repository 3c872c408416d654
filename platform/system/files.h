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
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace platform {

class FileError : public std::runtime_error {
public:
    FileError(const std::string& path, std::string why, bool isMissing = false)
        : std::runtime_error(path + ": " + why), reason(std::move(why)), missing(isMissing) {}
    std::string reason;         // without the path
    bool missing;               // there is no such file
    std::uint64_t tooLarge = 0; // the size of a file that is not read because it is above the limit
};

// ---- files of users, which may be named by symbolic links; the links are followed and kept

// Returns the content of a regular file of at most `limit` bytes. A file that turns out to be shorter than its size is
// an error too.
std::string readFile(const std::string& path, std::uint64_t limit);

// Replaces the content of the file; one that may not be written is an error, also where its folder may be. The content
// is written to a new file in the same folder, flushed, and renamed, so that after a crash the file has either its old
// or its new content. A new file gets mode 0600 (`onlyOwner`) or what the process's mask allows; an existing one keeps
// its mode.
void replaceFile(const std::string& path, const std::string& content, bool onlyOwner);

// Like replaceFile, but a file that can be written in a folder that can't be is rewritten in place. Then a crash may
// leave a mix of the old and new content.
void replaceOrRewriteFile(const std::string& path, const std::string& content, bool onlyOwner);

// ---- a program's own files: regular files of mode 0600. A link (on Windows any reparse point), a folder, a pipe or a
// device that has the name of such a file is neither followed nor waited for nor replaced; that is an error.

// Returns the content of an own file of at most `limit` bytes.
std::string readOwnFile(const std::string& path, std::uint64_t limit);

// The new content of an own file, written and flushed to another file beside it. Several drafts can be made before the
// first one is published, so that a full disk changes none of their files.
class OwnFileDraft {
public:
    // Throws FileError also when something that is not an own file has the path now.
    OwnFileDraft(std::string path, const std::string& content);
    ~OwnFileDraft(); // removes a draft that was not published
    OwnFileDraft(const OwnFileDraft&) = delete;
    OwnFileDraft& operator=(const OwnFileDraft&) = delete;

    // Renames the draft, so that after a crash the file has either its old or its new content, and flushes the folder.
    // Throws FileError when the file could not be replaced; it is then unchanged.
    void publish();

private:
    const std::string path_;
    std::string beside_; // empty once it is published
};

// Writes and publishes a draft.
void replaceOwnFile(const std::string& path, const std::string& content);

// The same, unless the file has this content already. So a full disk matters only when there is something to write.
void updateOwnFile(const std::string& path, const std::string& content);

// An own file to whose end lines are added, by several processes at once too.
class OwnFileLog {
public:
    // Creates the file if needed. Throws FileError, also when other accounts may read the file (on Windows, a file that
    // exists keeps its access list).
    explicit OwnFileLog(const std::string& path);
    ~OwnFileLog();
    OwnFileLog(const OwnFileLog&) = delete;
    OwnFileLog& operator=(const OwnFileLog&) = delete;

    // Adds all of it in one piece; false when the disk is full or the like. Any thread may call it.
    bool add(std::string_view lines) noexcept;

private:
    struct Opened;
    std::unique_ptr<Opened> opened_;
};

// Removes drafts that were left in the folder when a process was ended. `isOwn` is asked with the name of the file that
// a draft would have replaced. Only regular files are removed. Call it only when no other process can be replacing
// these files.
void removeUnfinished(const std::string& folder, const std::function<bool(const std::string& name)>& isOwn);

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

FileError tooLargeFile(const std::string& path, std::uint64_t size, std::uint64_t limit);

// The name of a temporary file is the name of the file that it will replace, then this mark, then letters and digits.
inline constexpr const char* unfinishedMark = ".new-";

} // namespace platform
