// SPDX-License-Identifier: MIT
#include "environment.h"

#include <platform/text/utf16.h>

#include <windows.h>

std::optional<std::string> environmentVariable(const std::string& name) {
    const std::wstring wide = platform::toUtf16(name);
    std::wstring value(32767, L'\0');
    SetLastError(ERROR_SUCCESS);
    value.resize(GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size())));
    if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
    return platform::toUtf8(value);
}

void setEnvironmentVariable(const std::string& name, const std::optional<std::string>& value) {
    SetEnvironmentVariableW(platform::toUtf16(name).c_str(), value ? platform::toUtf16(*value).c_str() : nullptr);
}
