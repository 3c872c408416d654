// SPDX-License-Identifier: MIT
#include <platform/system/accounts.h>

#include <platform/system/utf16.h>

#include <windows.h>

#include <sddl.h>

#include <vector>

namespace platform {

namespace {

std::string accountName(const std::string& sidText) {
    PSID sid = nullptr;
    if (!ConvertStringSidToSidW(toUtf16(sidText).c_str(), &sid)) return {};
    wchar_t name[256];
    wchar_t domain[256];
    DWORD nameSize = 256;
    DWORD domainSize = 256;
    SID_NAME_USE use{};
    const bool found = LookupAccountSidW(nullptr, sid, name, &nameSize, domain, &domainSize, &use);
    LocalFree(sid);
    return found ? toUtf8(std::wstring_view(name, nameSize)) : std::string();
}

std::string accountSid(const std::string& name) {
    std::vector<char> sid(256);
    wchar_t domain[256];
    DWORD sidSize = static_cast<DWORD>(sid.size());
    DWORD domainSize = 256;
    SID_NAME_USE use{};
    if (!LookupAccountNameW(nullptr, toUtf16(name).c_str(), sid.data(), &sidSize, domain, &domainSize, &use)) return {};
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(sid.data(), &text)) return {};
    std::string result = toUtf8(text);
    LocalFree(text);
    return result;
}

} // namespace

std::string userName(const std::string& userId) { return accountName(userId); }
std::string userId(const std::string& userName) { return accountSid(userName); }
std::string groupId(const std::string& groupName) { return accountSid(groupName); }
std::string userHome(const std::string&) { return {}; }

} // namespace platform
