// SPDX-License-Identifier: MIT
#include <service/modules/trusted_file.h>

#include <service/base/refused.h>

#include <platform/system/access_win.h>
#include <platform/system/files.h>
#include <platform/system/folders.h>
#include <platform/system/names_win.h>
#include <platform/text/utf8_path.h>

#include <algorithm>
#include <filesystem>
#include <optional>

namespace panelkitd {

using vocabulary::Refused;

namespace {

constexpr Refused badPath = Refused::modulePath;

[[noreturn]] void refuse(const bridge::Remark& why) { throw RefusedError({why}); }

enum class Place { root, folderOrFile, secretFile };

// Returns a remark when the owner of `path` is not trusted, or when other accounts can write it (or read it, for a
// secret file); else nullopt. At the root of a drive, all accounts may create folders. That is harmless, because they
// can't change the folders that exist.
std::optional<bridge::Remark> problemOf(const std::string& path, Place place) {
    const platform::AccessOfOthers others = platform::accessOfOthers(platform::longName(path));
    if (!others.isKnown) return remark(badPath, "the owner of %s can't be found out", path);
    if (others.ownsIt) return remark(badPath, "%s belongs neither to the system nor to the service's account", path);
    if (place != Place::root && others.canWrite) return remark(badPath, "%s can be written by other accounts", path);
    if (place == Place::secretFile && others.canRead) return remark(badPath, "%s can be read by other accounts", path);
    return std::nullopt;
}

// Returns the path with all links resolved, if it leads to a regular file.
std::optional<std::string> resolve(const std::string& path) {
    try {
        std::string resolved = platform::canonicalPath(path);
        if (platform::typeOf(resolved) == platform::FileType::regular) return resolved;
    } catch (const platform::FileError&) {} // then it is none
    return std::nullopt;
}

} // namespace

std::string trustedPath(const std::string& path, const std::vector<std::string>& allowed) {
    if (path.empty()) refuse(remark(badPath, "no path is given"));
    if (!platform::toPath(path).is_absolute()) refuse(remark(badPath, "its path is not absolute: %s", path));
    const std::optional<std::string> resolved = resolve(path);
    if (!resolved) refuse(remark(badPath, "%s is not a regular file", path));
    if (std::find(allowed.begin(), allowed.end(), *resolved) != allowed.end()) return *resolved;
    for (std::filesystem::path part = platform::toPath(*resolved);; part = part.parent_path()) {
        const bool isRoot = part == part.root_path();
        const auto why = problemOf(platform::fromPath(part), isRoot ? Place::root : Place::folderOrFile);
        if (why) refuse(*why);
        if (isRoot) return *resolved;
    }
}

void requirePrivate(const std::string& trustedPath) {
    if (const auto why = problemOf(trustedPath, Place::secretFile)) refuse(*why);
}

} // namespace panelkitd
