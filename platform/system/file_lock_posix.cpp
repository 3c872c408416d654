// SPDX-License-Identifier: MIT
#include <platform/system/file_lock.h>

#include <platform/system/files.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace platform {

struct FileLock::Held {
    explicit Held(int number) : file(number) {}
    ~Held() {
        if (file >= 0) ::close(file);
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    int file;
};

FileLock::FileLock(std::unique_ptr<Held> held) : held_(std::move(held)) {}
FileLock::~FileLock() = default;

std::unique_ptr<FileLock> FileLock::take(const std::string& path) {
    const auto fail = [&path] { throw FileError(path, std::generic_category().message(errno)); };
    auto held = std::make_unique<Held>(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (held->file < 0) fail();
    if (::flock(held->file, LOCK_EX | LOCK_NB) == 0) return std::unique_ptr<FileLock>(new FileLock(std::move(held)));
    if (errno != EWOULDBLOCK) fail();
    return nullptr;
}

} // namespace platform
