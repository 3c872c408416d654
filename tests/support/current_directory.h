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

    // As the system says it.
    std::string path() const;

    // Makes another directory the current one.
    void enter(const std::string& path) const;

    // Makes a directory under this one the current one, and removes it. Not on Windows, which does not allow it.
    void enterAndRemove(const std::string& name) const;

    // Makes a directory under this one whose path has just so many bytes the current one, and gives the path.
    std::string enterDeep(std::size_t length) const;

private:
    std::filesystem::path former_, parent_, path_;
};

// What make_abs_path makes of a path, in a buffer of the size that its header asks for and no larger.
std::string absolutePath(const std::string& path);
