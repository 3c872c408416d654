// SPDX-License-Identifier: MIT
#include <platform/system/files.h>

#include <platform/system/access_win.h>
#include <platform/system/names_win.h>
#include <platform/text/utf16.h>

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <utility>

namespace platform {

namespace {

[[noreturn]] void fail(const std::string& path, DWORD error) {
    throw FileError(path, systemErrorText(error), error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND);
}

// Another process may be reading or replacing the file now. So an attempt that fails for that reason is repeated for a
// time. After "access denied" the time is short, because the same error also means that this account has no access.
template <class Attempt>
bool patiently(const Attempt& attempt) {
    constexpr ULONGLONG patience = 2000, patienceWhenDenied = 300; // milliseconds
    constexpr DWORD pause = 5;
    const ULONGLONG begin = GetTickCount64();
    while (!attempt()) {
        const DWORD error = GetLastError();
        const ULONGLONG waited = GetTickCount64() - begin;
        const bool isShared = error == ERROR_SHARING_VIOLATION && waited < patience;
        const bool isDenied = error == ERROR_ACCESS_DENIED && waited < patienceWhenDenied;
        if (!isShared && !isDenied) return false;
        Sleep(pause);
    }
    return true;
}

// Returns a name for a temporary file in the folder of the file that it will replace. An earlier process with the same
// number may have left a file of this name.
std::wstring nameBeside(const std::wstring& target) {
    static std::atomic<unsigned> counter{0};
    return target + toUtf16(unfinishedMark) + std::to_wstring(GetCurrentProcessId()) + L"x" +
           std::to_wstring(++counter);
}

bool writeAll(const Handle& file, const std::string& content) {
    std::size_t written = 0;
    while (written < content.size()) {
        DWORD count = 0;
        const auto wanted = static_cast<DWORD>(std::min<std::size_t>(content.size() - written, 1U << 30));
        if (!WriteFile(file.get(), content.data() + written, wanted, &count, nullptr)) return false;
        written += count;
    }
    return FlushFileBuffers(file.get()) != 0;
}

// Throws when something that is not an own file has the path. A file that is missing is accepted.
void requireOwn(const std::string& path) {
    const DWORD attributes = GetFileAttributesW(longName(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return;
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) throw FileError(path, "is a folder");
    if (attributes & FILE_ATTRIBUTE_REPARSE_POINT) throw FileError(path, "is a symbolic link or another reparse point");
}

std::string readAll(const Handle& file, std::string content, const std::string& path) {
    std::size_t filled = 0;
    while (filled < content.size()) {
        DWORD count = 0;
        const auto wanted = static_cast<DWORD>(std::min<std::size_t>(content.size() - filled, 1U << 30));
        if (!ReadFile(file.get(), content.data() + filled, wanted, &count, nullptr)) fail(path, GetLastError());
        if (count == 0) throw FileError(path, "ends early: it is being written, or it is not a file on a disk");
        filled += count;
    }
    return content;
}

// Throws when the handle is that of a reparse point, which FILE_FLAG_OPEN_REPARSE_POINT opens instead of its target, or
// not of a file on a disk.
void requireRegular(const Handle& file, const std::string& path) {
    BY_HANDLE_FILE_INFORMATION facts{};
    if (GetFileType(file.get()) != FILE_TYPE_DISK) throw FileError(path, "not a regular file");
    if (!GetFileInformationByHandle(file.get(), &facts)) fail(path, GetLastError());
    if (facts.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) {
        throw FileError(path, "is a symbolic link or another reparse point");
    }
}

std::string readOpened(const std::string& path, DWORD noFollow, std::uint64_t limit) {
    const std::wstring name = longName(path);
    const DWORD attributes = GetFileAttributesW(name.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && attributes & FILE_ATTRIBUTE_DIRECTORY) {
        throw FileError(path, "is a folder");
    }
    Handle file;
    const bool opened = patiently([&] {
        file.reset(CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               FILE_FLAG_SEQUENTIAL_SCAN | noFollow, nullptr));
        return valid(file);
    });
    if (!opened) fail(path, GetLastError());
    if (noFollow) requireRegular(file, path);
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file.get(), &size)) fail(path, GetLastError());
    if (static_cast<std::uint64_t>(size.QuadPart) > limit) {
        throw tooLargeFile(path, static_cast<std::uint64_t>(size.QuadPart), limit);
    }
    return readAll(file, std::string(static_cast<std::size_t>(size.QuadPart), '\0'), path);
}

// Writes and flushes a new file beside the target, and returns its name. Windows has no file modes: the access list of
// the folder decides who can read it.
std::wstring writeBeside(const std::string& path, const std::string& content) {
    const std::wstring target = longName(path);
    Handle file;
    std::wstring beside;
    do {
        beside = nameBeside(target);
        file.reset(CreateFileW(beside.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    } while (!valid(file) && GetLastError() == ERROR_FILE_EXISTS);
    if (!valid(file)) fail(path, GetLastError());
    if (writeAll(file, content)) return beside;
    const DWORD error = GetLastError();
    file.reset();
    DeleteFileW(beside.c_str());
    fail(path, error);
}

bool rename(const std::wstring& from, const std::wstring& to) {
    return patiently(
        [&] { return MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0; });
}

} // namespace

std::string readFile(const std::string& path, std::uint64_t limit) { return readOpened(path, 0, limit); }

std::string readOwnFile(const std::string& path, std::uint64_t limit) {
    return readOpened(path, FILE_FLAG_OPEN_REPARSE_POINT, limit);
}

void replaceFile(const std::string& path, const std::string& content, bool) {
    const std::wstring beside = writeBeside(path, content);
    if (rename(beside, longName(path))) return;
    const DWORD error = GetLastError();
    DeleteFileW(beside.c_str());
    fail(path, error);
}

OwnFileDraft::OwnFileDraft(std::string path, const std::string& content) : path_(std::move(path)) {
    requireOwn(path_);
    beside_ = toUtf8(writeBeside(path_, content));
}

OwnFileDraft::~OwnFileDraft() {
    if (!beside_.empty()) DeleteFileW(toUtf16(beside_).c_str());
}

void OwnFileDraft::publish() {
    requireOwn(path_);
    if (!rename(toUtf16(beside_), longName(path_))) fail(path_, GetLastError());
    beside_.clear();
}

struct OwnFileLog::Opened {
    Handle file;
};

// A new file is for its owner and the system alone. Without FILE_WRITE_DATA, each write goes to the end.
OwnFileLog::OwnFileLog(const std::string& path) : opened_(std::make_unique<Opened>()) {
    const LocalMemory<void> descriptor = descriptorOf("D:P(A;;FA;;;OW)(A;;FA;;;SY)");
    if (!descriptor) fail(path, GetLastError());
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    opened_->file.reset(CreateFileW(longName(path).c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &attributes, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!valid(opened_->file)) fail(path, GetLastError());
    requireRegular(opened_->file, path);
}

OwnFileLog::~OwnFileLog() = default;

bool OwnFileLog::add(std::string_view lines) noexcept {
    DWORD written = 0;
    return WriteFile(opened_->file.get(), lines.data(), static_cast<DWORD>(lines.size()), &written, nullptr) &&
           written == lines.size();
}

void replaceOrRewriteFile(const std::string& path, const std::string& content, bool onlyOwner) {
    const std::wstring target = longName(path);
    Handle probe(CreateFileW(nameBeside(target).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                             FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    const bool folderRefuses = !valid(probe) && GetLastError() == ERROR_ACCESS_DENIED;
    probe.reset();
    if (!folderRefuses) return replaceFile(path, content, onlyOwner);
    const Handle file(CreateFileW(target.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!valid(file)) fail(path, GetLastError());
    if (!writeAll(file, content) || !SetEndOfFile(file.get())) fail(path, GetLastError());
}

// ---- locks

struct FileLock::Held {
    Handle file;
};

FileLock::FileLock(std::unique_ptr<Held> held) : held_(std::move(held)) {}
FileLock::~FileLock() = default;

std::unique_ptr<FileLock> FileLock::take(const std::string& path) {
    // The file is opened so that it can't be opened a second time. That is the lock.
    Handle file(CreateFileW(longName(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!valid(file)) {
        const DWORD error = GetLastError();
        if (error == ERROR_SHARING_VIOLATION) return nullptr;
        throw FileError(path, systemErrorText(error));
    }
    auto held = std::make_unique<Held>();
    held->file = std::move(file);
    return std::unique_ptr<FileLock>(new FileLock(std::move(held)));
}

} // namespace platform
