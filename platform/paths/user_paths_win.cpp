// SPDX-License-Identifier: MIT
#include <platform/paths/user_folders.h>
#include <platform/paths/user_paths.h>

#include <platform/text/utf16.h>

#include <windows.h>

#include <knownfolders.h>
#include <lmcons.h>
#include <shlobj.h>

#include <filesystem>
#include <memory>

namespace platform::paths {

namespace {

struct TaskMemoryFreer {
    void operator()(wchar_t* memory) const { CoTaskMemFree(memory); }
};

std::string knownFolder(const KNOWNFOLDERID& id) {
    wchar_t* path = nullptr;
    const HRESULT result = SHGetKnownFolderPath(id, KF_FLAG_CREATE, nullptr, &path);
    const std::unique_ptr<wchar_t, TaskMemoryFreer> owner(path); // must be freed even when the call failed
    return SUCCEEDED(result) ? toUtf8(path) : std::string();
}

} // namespace

std::string folderFromEnvironment(const char* variable) {
    const std::wstring name = toUtf16(variable);
    std::wstring value(GetEnvironmentVariableW(name.c_str(), nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size())));
    return std::filesystem::path(value).is_absolute() ? toUtf8(value) : std::string();
}

std::string settingsFolder() { return knownFolder(FOLDERID_RoamingAppData); }
std::string dataFolder() { return knownFolder(FOLDERID_LocalAppData); }

} // namespace platform::paths

std::string curproc_userName() {
    wchar_t name[UNLEN + 1];
    DWORD size = UNLEN + 1;
    return GetUserNameW(name, &size) && size > 0 ? platform::toUtf8(std::wstring_view(name, size - 1)) : std::string();
}
