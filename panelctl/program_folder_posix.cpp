// SPDX-License-Identifier: MIT
#include <panelctl/program_folder.h>

#include <system_error>

namespace panelctl {

std::filesystem::path programFolder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

} // namespace panelctl
