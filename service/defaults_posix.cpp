// SPDX-License-Identifier: MIT
#include <service/defaults.h>

#include <platform/system/files.h>

#include <unistd.h>

#include <array>
#include <cstdlib>

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

std::string installedEmbeddedModule() {
    constexpr std::array candidates{"/usr/lib/softhsm/libsofthsm2.so", "/usr/lib64/softhsm/libsofthsm2.so",
                                    "/usr/lib64/pkcs11/libsofthsm2.so"};
    for (const char* path : candidates) {
        if (::access(path, R_OK) == 0) return path;
    }
    return {};
}

void configureEmbeddedModule(const std::string& folder) {
    const std::string tokens = folder + "/tokens";
    platform::makePrivateFolder(tokens);
    const std::string configuration = folder + "/softhsm2.conf";
    platform::replaceFile(configuration,
                          "directories.tokendir = " + tokens +
                              "\nobjectstore.backend = file\nlog.level = ERROR\nslots.removable = false\n",
                          true);
    ::setenv("SOFTHSM2_CONF", configuration.c_str(), 1);
}

} // namespace panelkitd
