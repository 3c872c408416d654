// SPDX-License-Identifier: MIT
//
// A directory of a test's own that is the current one as long as the object lives. Paths are UTF-8.
#pragma once

#include "running_service.h"

#include <panelkit/cli/argv_and_paths.h>
#include <platform/text/utf8_path.h>

#include <filesystem>
#include <string>
#include <vector>

class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& name) {
        const std::filesystem::path path = folder_.path() / platform::toPath(name);
        std::filesystem::create_directories(path);
        std::filesystem::current_path(path);
    }
    ~ScratchDirectory() { std::filesystem::current_path(former_); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    // The current directory as the system reports it.
    static std::string path() { return platform::fromPath(std::filesystem::current_path()); }

private:
    std::filesystem::path former_ = std::filesystem::current_path();
    TemporaryFolder folder_;
};

// The result of make_abs_path, in a buffer of exactly the size that its header requires.
inline std::string absolutePath(const std::string& path) {
    std::vector<char> result(1024 + 1 + path.size() + 1, '#');
    make_abs_path(path.c_str(), result.data());
    return result.data();
}
