// SPDX-License-Identifier: MIT
#include <platform/paths/user_paths.h>

#include <platform/paths/user_folders.h>
#include <platform/system/files.h>

#include <filesystem>

namespace {

using platform::paths::folderFromEnvironment;
using platform::paths::overridingVariable;

std::string ours(const std::string& folder, const std::string& inside) {
    constexpr auto separator = static_cast<char>(std::filesystem::path::preferred_separator);
    if (folder.empty()) return {};
    std::string path = folder;
    if (path.back() != '/' && path.back() != separator) path += separator;
    return inside.empty() ? path : path + inside + separator;
}

} // namespace

std::string userDataDir_utf8() {
    const std::string instead = folderFromEnvironment(overridingVariable);
    return instead.empty() ? ours(platform::paths::settingsFolder(), "panelkit") : ours(instead, "");
}

std::string userDataBaseDir_utf8() {
    const std::string instead = folderFromEnvironment(overridingVariable);
    return instead.empty() ? ours(platform::paths::dataFolder(), "panelkit") : ours(instead, "base");
}

std::string userDataDirForWrite_utf8() {
    std::string folder = userDataDir_utf8();
    if (folder.empty()) return folder;
    try {
        platform::makePrivateFolder(folder.substr(0, folder.size() - 1));
    } catch (const platform::FileError&) { // the caller gets the error when it writes there
    }
    return folder;
}
