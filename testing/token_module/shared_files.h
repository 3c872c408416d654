// SPDX-License-Identifier: MIT
//
// Files that several processes share: read whole, replaced whole, and guarded by the folder's lock. Nothing here
// keeps a file open between calls, and no buffer of ours outlives a call: the files may hold secrets.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace panelkit::testing {

// Keeps every other lock of the same folder out, those of this process too, as long as it lives. Without a folder,
// or when the folder is gone, there is nothing to guard and it holds nothing. Throws std::runtime_error when the
// system refuses the lock.
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

// The whole file; nothing when it can't be opened.
std::optional<std::string> readFile(const std::filesystem::path& file);

// Writes beside the file and renames, so that a reader sees the old bytes or the new ones. Throws
// std::runtime_error when it can't.
void replaceFile(const std::filesystem::path& file, std::string_view bytes);

// Throws std::runtime_error when it can't.
void appendToFile(const std::filesystem::path& file, std::string_view bytes);

// What the variable PANELKIT_TEST_TOKEN_DIR says; empty when it is unset. Setting it concerns this process and
// those that it starts.
std::filesystem::path folderFromEnvironment();
void setFolderInEnvironment(const std::filesystem::path& folder);

} // namespace panelkit::testing
