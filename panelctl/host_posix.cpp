// SPDX-License-Identifier: MIT
#include <panelctl/host.h>

#include <cstdlib>
#include <system_error>

namespace panelctl {

std::filesystem::path programFolder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

std::optional<std::string> environmentLocale() {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) return value;
    }
    return "";
}

} // namespace panelctl
