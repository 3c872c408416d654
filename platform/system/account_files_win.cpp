// SPDX-License-Identifier: MIT
#include <platform/system/account_files.h>

#include <platform/system/files.h>
#include <platform/system/host.h>
#include <platform/text/utf16.h>

#include <windows.h>

namespace platform {

namespace {

std::string ownName() {
    wchar_t name[257];
    DWORD size = 257;
    return GetUserNameW(name, &size) ? toUtf8(std::wstring_view(name, size - 1)) : std::string();
}

} // namespace

std::string readFileAs(const std::string& userName, const std::string& path, std::uint64_t limit) {
    const std::string account = userName.empty() ? std::string() : userId(userName);
    if (!account.empty() && account != userId(ownName())) {
        throw FileError(path, "Windows does not let a program read it with the rights of \"" + userName +
                                  "\"; this user has to activate the policy");
    }
    return readFile(path, limit);
}

} // namespace platform
