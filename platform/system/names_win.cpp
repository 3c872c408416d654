// SPDX-License-Identifier: MIT
#include <platform/system/names_win.h>

#include <platform/system/files.h>
#include <platform/text/utf16.h>

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace platform {

namespace {

constexpr std::wstring_view prefix = L"\\\\?\\", sharePrefix = L"\\\\?\\UNC\\", devicePrefix = L"\\\\.\\";

// Folders may have 248 characters without the prefix, and their files 12 more.
constexpr std::size_t longestPlain = 247;

std::wstring absoluteName(const std::string& path) {
    const std::wstring given = toUtf16(path);
    std::wstring full(GetFullPathNameW(given.c_str(), 0, nullptr, nullptr), L'\0'); // with its zero
    const DWORD size = GetFullPathNameW(given.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (size == 0 || size >= full.size()) throw FileError(path, systemErrorText(GetLastError()));
    full.resize(size);
    return full;
}

} // namespace

std::wstring longName(const std::string& utf8Path) {
    if (utf8Path.empty()) throw FileError(utf8Path, "the path is empty", true);
    if (utf8Path.find('\0') != utf8Path.npos) throw FileError(utf8Path, "a zero byte is in the path");
    std::wstring name = absoluteName(utf8Path);
    if (name.starts_with(prefix) || name.starts_with(devicePrefix)) return name;
    if (name.starts_with(L"\\\\")) return std::wstring(sharePrefix) + name.substr(2);
    return std::wstring(prefix) + name;
}

std::wstring programName(const std::string& utf8Path) {
    if (utf8Path.find_first_of("\\/") == utf8Path.npos) return toUtf16(utf8Path);
    const std::wstring name = longName(utf8Path);
    return name.size() > longestPlain ? name : toUtf16(plainName(name));
}

std::string plainName(const std::wstring& name) {
    const std::wstring_view whole(name);
    if (whole.starts_with(sharePrefix)) return toUtf8(L"\\\\" + name.substr(sharePrefix.size()));
    return toUtf8(whole.starts_with(prefix) ? whole.substr(prefix.size()) : whole);
}

} // namespace platform
