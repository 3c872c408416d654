// SPDX-License-Identifier: MIT
#include <service/modules/trusted_file.h>

#include <service/base/refused.h>

#include <platform/bridge/peer.h>
#include <platform/system/handle_win.h>
#include <platform/text/utf16.h>

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>

namespace panelkitd {

using vocabulary::Refused;

namespace {

// Accounts that can change everything on the machine anyway: the system, the administrators and the installer of
// Windows. The identifier that stands for the owner of an object is trusted too, because the owner itself is checked.
constexpr std::array<std::string_view, 4> trusted{
    "S-1-5-18", "S-1-5-32-544", "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", "S-1-3-4"};

constexpr DWORD writing = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_WRITE_EA | FILE_DELETE_CHILD | DELETE | WRITE_DAC |
                          WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

constexpr Refused badPath = Refused::modulePath;

constexpr DWORD reading = FILE_READ_DATA | GENERIC_READ;

[[noreturn]] void refuse(const bridge::Remark& why) { throw RefusedError({why}); }

bool isTrusted(PSID sid) {
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text)) return false;
    const platform::LocalMemory<wchar_t> owned(text);
    const std::string name = platform::toUtf8(text);
    return name == bridge::self().user || std::find(trusted.begin(), trusted.end(), name) != trusted.end();
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

enum class Place { root, folderOrFile, secretFile };

// Returns a remark when the owner of `path` is not trusted, or when other accounts can write it (or read it, for a
// secret file); else nullopt. At the root of a drive, all accounts may create folders. That is harmless, because they
// can't change the folders that exist.
std::optional<bridge::Remark> problemOf(const std::filesystem::path& path, Place place) {
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const std::string name = platform::toUtf8(path.native());
    if (GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                              &owner, nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return remark(badPath, "the owner of %s can't be found out", name);
    }
    const platform::LocalMemory<void> owned(descriptor);
    if (!isTrusted(owner))
        return remark(badPath, "%s belongs neither to the system nor to the service's account", name);
    if (place != Place::root && othersCan(writing, list)) {
        return remark(badPath, "%s can be written by other accounts", name);
    }
    if (place == Place::secretFile && othersCan(reading, list)) {
        return remark(badPath, "%s can be read by other accounts", name);
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> resolve(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path resolved = std::filesystem::canonical(path, error);
    if (error || !std::filesystem::is_regular_file(resolved, error)) return std::nullopt;
    return resolved;
}

} // namespace

std::string trustedPath(const std::string& path, const std::vector<std::string>& allowed) {
    const std::filesystem::path given(platform::toUtf16(path));
    if (path.empty()) refuse(remark(badPath, "no path is given"));
    if (!given.is_absolute()) refuse(remark(badPath, "its path is not absolute: %s", path));
    const std::optional<std::filesystem::path> resolved = resolve(given);
    if (!resolved) refuse(remark(badPath, "%s is not a regular file", path));
    const std::string name = platform::toUtf8(resolved->native());
    if (std::find(allowed.begin(), allowed.end(), name) != allowed.end()) return name;
    for (std::filesystem::path part = *resolved;; part = part.parent_path()) {
        const bool isRoot = part == part.root_path();
        if (const auto why = problemOf(part, isRoot ? Place::root : Place::folderOrFile)) refuse(*why);
        if (isRoot) return name;
    }
}

void requirePrivate(const std::string& trustedPath) {
    if (const auto why = problemOf(platform::toUtf16(trustedPath), Place::secretFile)) refuse(*why);
}

} // namespace panelkitd
