// SPDX-License-Identifier: MIT
#include <platform/system/handle_win.h>
#include <platform/text/utf16.h>
#include <testing/token_module/shared_files.h>

#include <windows.h>

#include <cstdlib>
#include <stdexcept>

namespace panelkit::testing {

namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* variable = L"PANELKIT_TEST_TOKEN_DIR";
constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

platform::Handle open(const fs::path& file, DWORD access, DWORD how) {
    return platform::Handle(CreateFileW(file.c_str(), access, shareAll, nullptr, how, FILE_ATTRIBUTE_NORMAL, nullptr));
}

[[noreturn]] void fail(const std::string& what, const fs::path& file) {
    throw std::runtime_error("can't " + what + " " + platform::toUtf8(file.native()) + ": " +
                             platform::systemErrorText(GetLastError()));
}

void writeAll(const fs::path& file, DWORD access, DWORD how, std::string_view bytes) {
    const platform::Handle handle = open(file, access, how);
    DWORD written = 0;
    if (!platform::valid(handle) ||
        !WriteFile(handle.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
        fail("write", file);
    }
}

} // namespace

struct FolderLock::Held {
    platform::Handle handle;
};

FolderLock::FolderLock(const fs::path& folder) {
    if (folder.empty()) return;
    held_ = std::make_unique<Held>(Held{open(folder / L"lock", GENERIC_READ, OPEN_ALWAYS)});
    if (!platform::valid(held_->handle)) return;
    OVERLAPPED start{};
    if (!LockFileEx(held_->handle.get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &start)) fail("lock", folder);
}

// Closing a handle releases its lock too, but possibly later.
FolderLock::~FolderLock() {
    if (!held_ || !platform::valid(held_->handle)) return;
    OVERLAPPED start{};
    UnlockFileEx(held_->handle.get(), 0, 1, 0, &start);
}

std::optional<std::string> readFile(const fs::path& file) {
    const platform::Handle handle = open(file, GENERIC_READ, OPEN_EXISTING);
    LARGE_INTEGER size{};
    if (!platform::valid(handle) || !GetFileSizeEx(handle.get(), &size)) return std::nullopt;
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD got = 0;
    if (!ReadFile(handle.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr)) return std::nullopt;
    bytes.resize(got);
    return bytes;
}

void replaceFile(const fs::path& file, std::string_view bytes) {
    fs::path beside = file;
    beside += L".new";
    writeAll(beside, GENERIC_WRITE, CREATE_ALWAYS, bytes);
    // Programs that do not use our lock (a virus scanner, an editor) may have the file open for a moment.
    for (int attempt = 0; !MoveFileExW(beside.c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING); ++attempt) {
        const DWORD error = GetLastError();
        const bool inUse = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION;
        if (!inUse || attempt == 50) fail("write", file);
        Sleep(20);
    }
}

void appendToFile(const fs::path& file, std::string_view bytes) {
    writeAll(file, FILE_APPEND_DATA, OPEN_ALWAYS, bytes);
}

// Asks the system: the C run-time library has a copy of the environment from the start of the process.
fs::path folderFromEnvironment() {
    std::wstring folder(GetEnvironmentVariableW(variable, nullptr, 0), L'\0');
    folder.resize(GetEnvironmentVariableW(variable, folder.data(), static_cast<DWORD>(folder.size())));
    return folder;
}

void setFolderInEnvironment(const fs::path& folder) {
    _wputenv((std::wstring(variable) + L"=" + folder.native()).c_str());
}

} // namespace panelkit::testing
