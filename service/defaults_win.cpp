// SPDX-License-Identifier: MIT
#include <service/defaults.h>

#include <service/state/state_folder.h>

#include <platform/system/files.h>
#include <platform/system/folders.h>
#include <platform/text/utf16.h>

#include <cstdlib>

namespace panelkitd {

namespace {

std::string environment(const wchar_t* name) {
    const wchar_t* value = _wgetenv(name);
    return value ? platform::toUtf8(value) : "";
}

} // namespace

std::string defaultStateFolder(bool systemWide) {
    return environment(systemWide ? L"ProgramData" : L"LOCALAPPDATA") + "\\panelkit";
}

std::string defaultUsersGroup() { return "S-1-5-32-545"; } // the built-in group of users, independent of the language

void makeEndpointFolder(const std::string&) {}

std::string installedEmbeddedModule() {
    const std::string path = environment(L"ProgramFiles") + "\\SoftHSM2\\lib\\softhsm2-x64.dll";
    return platform::typeOf(path) == platform::FileType::regular ? path : std::string();
}

std::map<std::string, std::string> configureEmbeddedModule(const std::string& folder) {
    const std::string tokens = folder + "\\tokens";
    platform::makePrivateFolder(tokens);
    provideFile(folder, "softhsm2.conf",
                "directories.tokendir = " + tokens + "\nobjectstore.backend = file\nlog.level = ERROR\n");
    return {{"SOFTHSM2_CONF", folder + "\\softhsm2.conf"}};
}

} // namespace panelkitd
