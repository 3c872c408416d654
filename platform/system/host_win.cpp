// SPDX-License-Identifier: MIT
#include <platform/system/host.h>

#include <platform/system/access_win.h>
#include <platform/text/utf16.h>

#include <windows.h>

#include <bcrypt.h>
#include <sddl.h>
#include <shellapi.h>

#include <system_error>
#include <vector>

namespace platform {

// ---- accounts

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
    return sidText(sid.data());
}

} // namespace

std::string userName(const std::string& userId) { return accountName(userId); }
std::string userId(const std::string& userName) { return accountSid(userName); }
std::string groupId(const std::string& groupName) { return accountSid(groupName); }
std::string userHome(const std::string&) { return {}; }

// ---- time

std::optional<std::tm> localTime(std::int64_t seconds) {
    std::tm local{};
    if (_localtime64_s(&local, &seconds) != 0) return std::nullopt;
    return local;
}

// ---- arguments and environment

std::vector<std::string> utf8Arguments(int, char**) {
    int count = 0;
    const LocalMemory<wchar_t*> wide(CommandLineToArgvW(GetCommandLineW(), &count));
    std::vector<std::string> arguments;
    for (int i = 1; wide && i < count; ++i) arguments.push_back(toUtf8(wide.get()[i]));
    return arguments;
}

std::string trustedVariable(const char* name) {
    const std::wstring wide = toUtf16(name);
    std::wstring value(GetEnvironmentVariableW(wide.c_str(), nullptr, 0), L'\0'); // with its zero
    value.resize(GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size())));
    return toUtf8(value);
}

// ---- random bytes

void fillRandom(void* bytes, std::size_t size) {
    const NTSTATUS status =
        BCryptGenRandom(nullptr, static_cast<PUCHAR>(bytes), static_cast<ULONG>(size), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    if (status < 0) throw std::system_error(static_cast<int>(status), std::system_category(), "no random bytes");
}

// ---- memory

// Windows has no such hint for ordinary memory.
void adviseHugePages(void*, std::size_t) {}

// The heap of Windows returns large blocks in any case.
void returnFreedMemory() {}

} // namespace platform
