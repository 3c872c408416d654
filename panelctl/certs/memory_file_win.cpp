// SPDX-License-Identifier: MIT
//
// The library opens the file by its name, so it has one: in the user's own folder for temporary files.
#include <panelctl/certs/memory_file.h>

#include <panelctl/certs/new_file.h>

#include <platform/text/utf8_path.h>

#include <filesystem>
#include <random>

namespace panelctl {

namespace {

std::string freshName() {
    std::random_device random; // the system's generator
    std::string name = "panelctl-";
    for (int i = 0; i < 4; ++i) name += std::to_string(random());
    return platform::fromPath(std::filesystem::temp_directory_path() / platform::toPath(name));
}

} // namespace

MemoryFile::MemoryFile(const std::string& content) : path_(freshName()) { writeNewFile(path_, content); }

MemoryFile::~MemoryFile() {
    std::error_code ignored; // the next clean-up of the folder removes it
    std::filesystem::remove(platform::toPath(path_), ignored);
}

} // namespace panelctl
