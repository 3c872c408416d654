// SPDX-License-Identifier: MIT
#include <platform/system/current_directory.h>

#include <platform/system/utf16.h>

#include <windows.h>

#include <cstring>

namespace platform {

bool currentDirectory(char* buffer, std::size_t size) {
    std::wstring path(GetCurrentDirectoryW(0, nullptr), L'\0'); // with its zero
    const DWORD length = GetCurrentDirectoryW(static_cast<DWORD>(path.size()), path.data());
    if (length == 0 || length >= path.size()) return false;
    path.resize(length);
    const std::string text = toUtf8(path);
    if (text.size() >= size) return false;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

} // namespace platform
