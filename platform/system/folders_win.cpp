// SPDX-License-Identifier: MIT
#include <platform/system/folders.h>

#include <platform/system/access_win.h>
#include <platform/system/files.h>
#include <platform/system/folders_win.h>
#include <platform/system/names_win.h>
#include <platform/text/utf16.h>

#include <windows.h>

#include <aclapi.h>

#include <cstring>

namespace platform {

namespace {

bool isMissing(DWORD error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND; }

[[noreturn]] void fail(const std::string& path, DWORD error) {
    throw FileError(path, systemErrorText(error), isMissing(error));
}

// Makes the folder, and those above it that are missing, with the access list of the folder in which each is made.
// Returns false if it is there already. `attributes` are those of the innermost.
bool makeFolder(const std::string& path, SECURITY_ATTRIBUTES* attributes) {
    const std::wstring name = longName(path);
    if (CreateDirectoryW(name.c_str(), attributes)) return true;
    const DWORD error = GetLastError();
    if (error == ERROR_ALREADY_EXISTS) return false;
    const std::size_t above = name.find_last_of(L'\\');
    if (error != ERROR_PATH_NOT_FOUND || above == name.npos || above + 1 == name.size()) fail(path, error);
    makeFolder(plainName(name.substr(0, above)), nullptr);
    if (!CreateDirectoryW(name.c_str(), attributes)) fail(path, GetLastError());
    return true;
}

// `owner` is "O:" and an account, or empty for the usual one.
LocalMemory<void> descriptorFor(const std::string& path, const std::string& owner, const std::string& account) {
    LocalMemory<void> descriptor =
        descriptorOf(owner + "D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;" + account + ")");
    if (!descriptor) fail(path, GetLastError());
    return descriptor;
}

AccessOfOthers requireOurs(const std::string& path) {
    if (typeOf(path) != FileType::folder) throw FileError(path, "not a folder, or a link to one");
    const AccessOfOthers others = accessOfOthers(longName(path));
    if (!others.isKnown) throw FileError(path, "its owner can't be found out");
    if (others.ownsIt) throw FileError(path, "belongs to another account");
    return others;
}

} // namespace

// ---- looking, renaming, removing

FileType typeOf(const std::string& path) {
    const DWORD attributes = GetFileAttributesW(longName(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD error = GetLastError();
        if (isMissing(error)) return FileType::missing;
        fail(path, error);
    }
    if (attributes & FILE_ATTRIBUTE_REPARSE_POINT) return FileType::link;
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) return FileType::folder;
    return attributes & FILE_ATTRIBUTE_DEVICE ? FileType::other : FileType::regular;
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    WIN32_FIND_DATAW found{};
    HANDLE const search = FindFirstFileW((longName(folder) + L"\\*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return names;
    do {
        const std::wstring_view name = found.cFileName;
        if (name != L"." && name != L"..") names.push_back(toUtf8(name));
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return names;
}

void renameFile(const std::string& from, const std::string& to) {
    constexpr DWORD how = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    if (!MoveFileExW(longName(from).c_str(), longName(to).c_str(), how)) fail(from, GetLastError());
}

void removeFile(const std::string& path) noexcept {
    try {
        DeleteFileW(longName(path).c_str());
    } catch (const std::exception&) {} // it has no such name
}

std::string canonicalPath(const std::string& path) {
    const Handle file(CreateFileW(longName(path).c_str(), FILE_READ_ATTRIBUTES,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!valid(file)) fail(path, GetLastError());
    std::wstring name(32768, L'\0');
    const DWORD size = GetFinalPathNameByHandleW(file.get(), name.data(), static_cast<DWORD>(name.size()), 0);
    if (size == 0 || size >= name.size()) fail(path, GetLastError());
    return plainName(name.substr(0, size));
}

// ---- private folders

// The folders of programs' data let every account read what is made in them, so the list is not inherited.
void makePrivateFolder(const std::string& path) {
    const LocalMemory<void> descriptor = descriptorFor(path, "", ownAccount());
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    if (makeFolder(path, &attributes)) return;
    if (requireOurs(path).canWrite) throw FileError(path, "can be written by other accounts");
}

// The administrators own it, whoever of them makes it: then the other account trusts the folder.
void makePrivateFolderFor(const std::string& path, const std::string& account) {
    const std::string administrators = std::string("O:") + administratorsGroup;
    const LocalMemory<void> descriptor = descriptorFor(path, administrators, account);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    if (makeFolder(path, &attributes)) return;
    requireOurs(path);
    BOOL present = FALSE, isDefault = FALSE;
    PACL list = nullptr;
    PSID owner = nullptr;
    GetSecurityDescriptorDacl(descriptor.get(), &present, &list, &isDefault);
    GetSecurityDescriptorOwner(descriptor.get(), &owner, &isDefault);
    constexpr SECURITY_INFORMATION both =
        OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
    const DWORD error =
        SetNamedSecurityInfoW(longName(path).data(), SE_FILE_OBJECT, both, owner, nullptr, list, nullptr);
    if (error != ERROR_SUCCESS) fail(path, error);
}

// ---- this process

std::string executablePath() {
    std::wstring name(32768, L'\0');
    name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return plainName(name);
}

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
