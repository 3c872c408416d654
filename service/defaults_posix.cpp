// SPDX-License-Identifier: MIT
#include <service/defaults.h>

#include <service/state/state_folder.h>

#include <platform/system/files.h>

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace panelkitd {

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace

std::string defaultStateFolder(bool systemWide) {
    if (systemWide) return "/var/lib/panelkit";
    const std::string home = environment("XDG_STATE_HOME");
    return (home.empty() ? environment("HOME") + "/.local/state" : home) + "/panelkit";
}

std::string defaultUsersGroup() { return "panelkit"; }

void makeEndpointFolder(const std::string& endpoint) {
    const std::string folder = endpoint.substr(0, endpoint.rfind('/'));
    const int made = ::mkdir(folder.c_str(), 0755);
    if (made != 0 && errno == EEXIST) return;
    if (made != 0 || ::chmod(folder.c_str(), 0755) != 0) { // the umask of the process may be stricter
        throw platform::FileError(folder, std::generic_category().message(errno));
    }
}

std::string installedEmbeddedModule() {
    constexpr std::array candidates{"/usr/lib/softhsm/libsofthsm2.so", "/usr/lib64/softhsm/libsofthsm2.so",
                                    "/usr/lib64/pkcs11/libsofthsm2.so"};
    for (const char* path : candidates) {
        if (::access(path, R_OK) == 0) return path;
    }
    return {};
}

std::map<std::string, std::string> configureEmbeddedModule(const std::string& folder) {
    const std::string tokens = folder + "/tokens";
    platform::makePrivateFolder(tokens);
    provideFile(folder, "softhsm2.conf",
                "directories.tokendir = " + tokens +
                    "\nobjectstore.backend = file\nlog.level = ERROR\nslots.removable = false\n");
    return {{"SOFTHSM2_CONF", folder + "/softhsm2.conf"}};
}

} // namespace panelkitd
