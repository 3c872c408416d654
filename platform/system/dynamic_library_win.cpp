// SPDX-License-Identifier: MIT
#include <platform/system/dynamic_library.h>

#include <platform/system/names_win.h>
#include <platform/text/utf16.h>

#include <windows.h>

#include <stdexcept>

namespace platform {

// Libraries that this one needs are searched for only in its own folder and in the system's folder.
DynamicLibrary::DynamicLibrary(const std::string& path, AtEnd atEnd)
    : handle_(LoadLibraryExW(programName(path).c_str(), nullptr,
                             LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32)) {
    if (!handle_) throw std::runtime_error(path + ": " + systemErrorText(GetLastError()));
    if (atEnd == AtEnd::unload) return;
    HMODULE pinned = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       static_cast<LPCWSTR>(handle_), &pinned);
}

DynamicLibrary::~DynamicLibrary() { FreeLibrary(static_cast<HMODULE>(handle_)); }

DynamicLibrary::Function DynamicLibrary::address(const char* name) const {
    return reinterpret_cast<Function>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

} // namespace platform
