// SPDX-License-Identifier: MIT
#include <service/tokens/module_path.h>

#include <service/base/refused.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace panelkitd {

namespace {

[[noreturn]] void refuse(const std::string& text) {
    throw RefusedError(vocabulary::Refused::modulePath, "the module can't be loaded: " + text);
}

// What is wrong with who owns or can write `path`; empty when nothing is.
std::string problemOf(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return path + ": " + std::generic_category().message(errno);
    if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
        return path + " belongs neither to root nor to the service's account";
    }
    const bool stickyFolder = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    const bool groupWrites = (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0;
    if (!stickyFolder && (groupWrites || (status.st_mode & S_IWOTH) != 0)) {
        return path + " can be written by other accounts";
    }
    return {};
}

} // namespace

std::string checkedModulePath(const std::string& path, const std::vector<std::string>& allowed) {
    if (path.empty()) refuse("no path is given");
    if (path[0] != '/') refuse("its path is not absolute: " + path);
    char buffer[PATH_MAX];
    if (!::realpath(path.c_str(), buffer)) refuse(path + ": " + std::generic_category().message(errno));
    const std::string resolved = buffer;
    struct stat status {};
    if (::stat(resolved.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) refuse(resolved + " is no regular file");
    if (std::find(allowed.begin(), allowed.end(), resolved) != allowed.end()) return resolved;
    for (std::filesystem::path part = resolved;; part = part.parent_path()) {
        if (const std::string problem = problemOf(part.string()); !problem.empty()) refuse(problem);
        if (part == part.root_path()) return resolved;
    }
}

} // namespace panelkitd
