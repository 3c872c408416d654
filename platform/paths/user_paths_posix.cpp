// SPDX-License-Identifier: MIT
#include <platform/paths/user_folders.h>
#include <platform/paths/user_paths.h>

#include <platform/system/host.h>

#include <unistd.h>

#include <cstdlib>

namespace platform::paths {

namespace {

std::string home() {
    std::string folder = folderFromEnvironment("HOME");
    return folder.empty() ? platform::userHome(std::to_string(::geteuid())) : folder;
}

std::string xdgFolder(const char* variable, const char* inHome) {
    std::string folder = folderFromEnvironment(variable);
    if (!folder.empty()) return folder;
    std::string above = home();
    return above.empty() ? above : above + inHome;
}

} // namespace

std::string folderFromEnvironment(const char* variable) {
    const char* value = std::getenv(variable);
    return value && *value == '/' ? value : "";
}

std::string settingsFolder() { return xdgFolder("XDG_CONFIG_HOME", "/.config"); }
std::string dataFolder() { return xdgFolder("XDG_DATA_HOME", "/.local/share"); }

} // namespace platform::paths

std::string curproc_userName() {
    const std::string id = std::to_string(::geteuid());
    const std::string name = platform::userName(id);
    return name.empty() ? id : name;
}
