// SPDX-License-Identifier: MIT
#include <platform/system/dynamic_library.h>

#include <platform/system/utf16.h>

#include <windows.h>

#include <stdexcept>

namespace platform {

// Only the library's own folder and the system's are searched for what it needs in turn.
DynamicLibrary::DynamicLibrary(const std::string& path)
    : handle_(LoadLibraryExW(toUtf16(path).c_str(), nullptr,
                             LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32)) {
    if (!handle_) throw std::runtime_error(path + ": " + systemErrorText(GetLastError()));
}

DynamicLibrary::~DynamicLibrary() { FreeLibrary(static_cast<HMODULE>(handle_)); }

DynamicLibrary::Function DynamicLibrary::address(const char* name) const {
    return reinterpret_cast<Function>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

} // namespace platform
