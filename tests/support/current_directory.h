// SPDX-License-Identifier: MIT
//
// A directory of a test's own that is the current one as long as the object lives. Paths are UTF-8.
#pragma once

#include <filesystem>
#include <string>

class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& name);
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    // The path as the system reports it.
    std::string path() const;

    // Makes another directory the current one.
    void enter(const std::string& path) const;

    // Makes a directory under this one the current one, and removes it. Not on Windows, which does not allow it.
    void enterAndRemove(const std::string& name) const;

    // Makes a directory under this one whose path has exactly so many bytes the current one, and returns the path.
    std::string enterDeep(std::size_t length) const;

private:
    std::filesystem::path former_, parent_, path_;
};

// The result of make_abs_path, in a buffer of exactly the size that its header requires.
std::string absolutePath(const std::string& path);
