// SPDX-License-Identifier: MIT
#include <service/modules/trusted_file.h>

#include <service/base/refused.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

namespace panelkitd {

using vocabulary::Refused;

namespace {

constexpr Refused badPath = Refused::modulePath;

bridge::Remark unreadable(const std::string& path, int error) {
    return remark(badPath, "%s can't be examined: %s", path, std::generic_category().message(error));
}

// Returns a remark when the owner of `path` is not trusted or other accounts can write it; else nullopt.
std::optional<bridge::Remark> problemOf(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return unreadable(path, errno);
    if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
        return remark(badPath, "%s belongs neither to root nor to the service's account", path);
    }
    const bool stickyFolder = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    const bool groupWrites = (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0;
    if (!stickyFolder && (groupWrites || (status.st_mode & S_IWOTH) != 0)) {
        return remark(badPath, "%s can be written by other accounts", path);
    }
    return std::nullopt;
}

[[noreturn]] void refuse(const bridge::Remark& why) { throw RefusedError({why}); }

} // namespace

std::string trustedPath(const std::string& path, const std::vector<std::string>& allowed) {
    if (path.empty()) refuse(remark(badPath, "no path is given"));
    if (path[0] != '/') refuse(remark(badPath, "its path is not absolute: %s", path));
    char buffer[PATH_MAX];
    if (!::realpath(path.c_str(), buffer)) refuse(unreadable(path, errno));
    const std::string resolved = buffer;
    struct stat status {};
    if (::stat(resolved.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        refuse(remark(badPath, "%s is not a regular file", resolved));
    }
    if (std::find(allowed.begin(), allowed.end(), resolved) != allowed.end()) return resolved;
    for (std::filesystem::path part = resolved;; part = part.parent_path()) {
        if (const auto why = problemOf(part.string())) refuse(*why);
        if (part == part.root_path()) return resolved;
    }
}

void requirePrivate(const std::string& trustedPath) {
    struct stat status {};
    if (::stat(trustedPath.c_str(), &status) != 0) refuse(unreadable(trustedPath, errno));
    if (status.st_mode & (S_IRWXG | S_IRWXO)) refuse(remark(badPath, "%s can be read by other accounts", trustedPath));
}

} // namespace panelkitd
