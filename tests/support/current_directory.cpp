// SPDX-License-Identifier: MIT
#include "current_directory.h"

#include <panelkit/cli/argv_and_paths.h>
#include <platform/text/utf8_path.h>

#include <algorithm>
#include <random>
#include <vector>

namespace fs = std::filesystem;

ScratchDirectory::ScratchDirectory(const std::string& name) : former_(fs::current_path()) {
    parent_ = fs::temp_directory_path() / ("panelkit_test_" + std::to_string(std::random_device()()));
    path_ = parent_ / platform::toPath(name);
    fs::create_directories(path_);
    fs::current_path(path_);
    path_ = fs::current_path();
}

ScratchDirectory::~ScratchDirectory() {
    fs::current_path(former_);
    fs::remove_all(parent_);
}

std::string ScratchDirectory::path() const { return platform::fromPath(path_); }

void ScratchDirectory::enter(const std::string& path) const { fs::current_path(platform::toPath(path)); }

void ScratchDirectory::enterAndRemove(const std::string& name) const {
    const fs::path inner = path_ / platform::toPath(name);
    fs::create_directory(inner);
    fs::current_path(inner);
    fs::remove(inner);
}

std::string ScratchDirectory::enterDeep(std::size_t length) const {
    constexpr std::size_t longestName = 200;
    std::string path = platform::fromPath(path_);
    while (path.size() < length) {
        // At least one character must be left for the last name, after its separator.
        const std::size_t missing = length - path.size() - 1;
        const std::size_t name = missing <= longestName ? missing : std::min(longestName, missing - 2);
        path += "/" + std::string(name, 'd');
    }
    fs::create_directories(path);
    fs::current_path(path);
    return path;
}

std::string absolutePath(const std::string& path) {
    std::vector<char> result(1024 + 1 + path.size() + 1, '#');
    make_abs_path(path.c_str(), result.data());
    return result.data();
}
