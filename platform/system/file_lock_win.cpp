// SPDX-License-Identifier: MIT
#include <platform/system/file_lock.h>

#include <platform/system/files.h>
#include <platform/system/handle_win.h>
#include <platform/system/utf16.h>

#include <utility>

namespace platform {

struct FileLock::Held {
    Handle file;
};

FileLock::FileLock(std::unique_ptr<Held> held) : held_(std::move(held)) {}
FileLock::~FileLock() = default;

std::unique_ptr<FileLock> FileLock::take(const std::string& path) {
    // Opened for nobody else to open: that is the lock.
    Handle file(CreateFileW(toUtf16(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
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
