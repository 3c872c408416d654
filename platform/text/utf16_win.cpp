// SPDX-License-Identifier: MIT
#include <platform/text/utf16.h>

#include <windows.h>

namespace platform {

std::wstring toUtf16(std::string_view utf8) {
    const int size = static_cast<int>(utf8.size());
    std::wstring text(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()));
    return text;
}

std::string toUtf8(std::wstring_view utf16) {
    const int size = static_cast<int>(utf16.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, utf16.data(), size, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, utf16.data(), size, text.data(), needed, nullptr, nullptr);
    return text;
}

std::string systemErrorText(unsigned long error) {
    wchar_t buffer[512];
    const DWORD size = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                      buffer, 512, nullptr);
    std::wstring_view text(buffer, size);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L'.')) {
        text.remove_suffix(1);
    }
    return text.empty() ? "error " + std::to_string(error) : toUtf8(text);
}

} // namespace platform
