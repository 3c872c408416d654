// SPDX-License-Identifier: MIT
#include <service/modules/host_process.h>

#include <platform/system/handle_win.h>

#include <vector>

namespace panelkitd {

// Removes every privilege of the account except the one to pass through folders, which all accounts have.
void dropPrivileges() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    HANDLE handle = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &handle)) return;
    const platform::Handle token(handle);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenPrivileges, nullptr, 0, &size);
    std::vector<char> memory(size);
    if (!GetTokenInformation(token.get(), TokenPrivileges, memory.data(), size, &size)) return;
    auto* const privileges = reinterpret_cast<TOKEN_PRIVILEGES*>(memory.data());
    LUID passThrough{};
    LookupPrivilegeValueW(nullptr, L"SeChangeNotifyPrivilege", &passThrough);
    for (DWORD i = 0; i < privileges->PrivilegeCount; ++i) {
        LUID_AND_ATTRIBUTES& one = privileges->Privileges[i];
        const bool kept = one.Luid.LowPart == passThrough.LowPart && one.Luid.HighPart == passThrough.HighPart;
        if (!kept) one.Attributes = SE_PRIVILEGE_REMOVED;
    }
    AdjustTokenPrivileges(token.get(), FALSE, privileges, size, nullptr, nullptr);
}

} // namespace panelkitd
