// SPDX-License-Identifier: MIT
//
// Files that several processes share: read and replaced as a whole, and guarded by the folder's lock. No file stays
// open between calls, and no buffer of ours is kept after a call: the files may hold secrets.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace panelkit::testing {

// Locks the folder against all other locks, including those of this process, as long as it exists. Without a folder, or
// when the folder was removed, it locks nothing. Throws std::runtime_error when the system refuses the lock.
class FolderLock {
public:
    explicit FolderLock(const std::filesystem::path& folder);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    struct Held;
    std::unique_ptr<Held> held_;
};

// Returns the whole file; nullopt when it can't be opened.
std::optional<std::string> readFile(const std::filesystem::path& file);

// Writes a new file and renames it, so that a reader sees either the old bytes or the new ones. Throws
// std::runtime_error on failure.
void replaceFile(const std::filesystem::path& file, std::string_view bytes);

// Throws std::runtime_error on failure.
void appendToFile(const std::filesystem::path& file, std::string_view bytes);

// The value of PANELKIT_TEST_TOKEN_DIR; empty when it is unset. Setting it affects this process and those that it
// starts.
std::filesystem::path folderFromEnvironment();
void setFolderInEnvironment(const std::filesystem::path& folder);

} // namespace panelkit::testing
