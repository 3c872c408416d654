// SPDX-License-Identifier: MIT
#include <platform/system/folders.h>

#include <platform/system/files.h>

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace platform {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::error_code& error) {
    throw FileError(path, error.message(), error.value() == ENOENT);
}

} // namespace

FileType typeOf(const std::string& path) {
    std::error_code error;
    const fs::file_type type = fs::symlink_status(path, error).type();
    switch (type) {
    case fs::file_type::not_found: return FileType::missing;
    case fs::file_type::regular: return FileType::regular;
    case fs::file_type::directory: return FileType::folder;
    case fs::file_type::symlink: return FileType::link;
    case fs::file_type::none: fail(path, error);
    default: return FileType::other;
    }
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        names.push_back(at->path().filename().string());
    }
    return names;
}

void renameFile(const std::string& from, const std::string& to) {
    std::error_code error;
    fs::rename(from, to, error);
    if (error) fail(from, error);
}

void removeFile(const std::string& path) noexcept { ::unlink(path.c_str()); }

std::string canonicalPath(const std::string& path) {
    std::error_code error;
    const fs::path canonical = fs::canonical(path, error);
    if (error) fail(path, error);
    return canonical.string();
}

} // namespace platform
