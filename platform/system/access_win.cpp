// SPDX-License-Identifier: MIT
#include <platform/system/access_win.h>

#include <platform/text/utf16.h>

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace platform {

namespace {

// Besides the system and the administrators: the installer of Windows, and the identifier that stands for the owner,
// because the owner itself is looked at.
constexpr std::array<std::string_view, 4> trusted{
    systemAccount, administratorsGroup, "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", "S-1-3-4"};

constexpr DWORD writing = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_WRITE_EA | FILE_DELETE_CHILD | DELETE | WRITE_DAC |
                          WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
constexpr DWORD reading = FILE_READ_DATA | GENERIC_READ | GENERIC_ALL;

bool isTrusted(PSID sid) {
    const std::string name = sidText(sid);
    return !name.empty() && (name == ownAccount() || std::find(trusted.begin(), trusted.end(), name) != trusted.end());
}

bool othersCan(DWORD what, PACL list) {
    for (DWORD i = 0; list && i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry)) return true;
        auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        if (allowed->Header.AceType != ACCESS_ALLOWED_ACE_TYPE || allowed->Header.AceFlags & INHERIT_ONLY_ACE) continue;
        if (allowed->Mask & what && !isTrusted(&allowed->SidStart)) return true;
    }
    return !list; // no list at all lets everybody in
}

} // namespace

std::string sidText(PSID sid) {
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text)) return {};
    const LocalMemory<wchar_t> owned(text);
    return toUtf8(text);
}

std::string ownAccount() {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return {};
    const Handle token(opened);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    std::vector<char> bytes(std::max<std::size_t>(size, sizeof(TOKEN_USER)));
    if (!GetTokenInformation(token.get(), TokenUser, bytes.data(), static_cast<DWORD>(bytes.size()), &size)) return {};
    return sidText(reinterpret_cast<const TOKEN_USER*>(bytes.data())->User.Sid);
}

LocalMemory<void> descriptorOf(const std::string& text) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(toUtf16(text).c_str(), SDDL_REVISION_1, &descriptor, nullptr);
    return LocalMemory<void>(descriptor);
}

AccessOfOthers accessOfOthers(const std::wstring& name) {
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoW(name.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                              &owner, nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return {};
    }
    const LocalMemory<void> owned(descriptor);
    const bool ownsIt = !isTrusted(owner);
    return {.isKnown = true,
            .ownsIt = ownsIt,
            .canWrite = ownsIt || othersCan(writing, list),
            .canRead = ownsIt || othersCan(reading, list)};
}

} // namespace platform
