// SPDX-License-Identifier: MIT
#include <panelctl/base/host.h>

#include <windows.h>

namespace panelctl {

void occupyStandardStreams() {} // streams are handles here: nothing else gets the place of a missing one

std::filesystem::path programFolder() {
    std::wstring name(32768, L'\0'); // the longest path of the system
    name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return std::filesystem::path(name).parent_path();
}

std::optional<std::string> environmentLocale() { return std::nullopt; }

} // namespace panelctl
