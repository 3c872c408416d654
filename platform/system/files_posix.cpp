// SPDX-License-Identifier: MIT
#include <platform/system/files.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

namespace platform {

namespace {

constexpr mode_t ownMode = 0600;

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

[[noreturn]] void fail(const std::string& path, int error) {
    throw FileError(path, std::generic_category().message(error), error == ENOENT);
}

std::string folderOf(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

// Returns the target of a rename. A symbolic link is followed, so that the link itself is kept.
std::string followLink(const std::string& path) {
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? resolved : path;
}

void writeAll(int file, const std::string& content, const std::string& path) {
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = ::write(file, content.data() + written, content.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(path, errno);
        written += static_cast<std::size_t>(count);
    }
    if (::fsync(file) != 0) fail(path, errno);
}

// Flushes the folder, so that the rename is not lost in a crash. The new content is in place already, so a failure must
// not be reported as if the old one were.
void flushFolder(const std::string& folder) {
    const Descriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.get() >= 0) ::fsync(directory.get());
}

std::string readAll(const Descriptor& file, std::string content, const std::string& path) {
    std::size_t filled = 0;
    while (filled < content.size()) {
        const ssize_t count = ::read(file.get(), content.data() + filled, content.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(path, errno);
        if (count == 0) throw FileError(path, "ends early: it is being written, or it is not a file on a disk");
        filled += static_cast<std::size_t>(count);
    }
    return content;
}

// O_NONBLOCK: opening a pipe must not wait for a writer.
std::string readOpened(const std::string& path, int noFollow, std::uint64_t limit) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | noFollow));
    if (file.get() < 0 && errno == ELOOP && noFollow) throw FileError(path, "is a symbolic link");
    if (file.get() < 0 && errno == ENXIO) throw FileError(path, "not a regular file");
    if (file.get() < 0) fail(path, errno);
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) fail(path, errno);
    if (S_ISDIR(status.st_mode)) fail(path, EISDIR);
    if (!S_ISREG(status.st_mode)) throw FileError(path, "not a regular file");
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > limit) throw tooLargeFile(path, size, limit);
    ::flock(file.get(), LOCK_SH | LOCK_NB); // shuts out writers that ask; the system offers no more
    return readAll(file, std::string(static_cast<std::size_t>(size), '\0'), path);
}

// Returns the mode for the new content of a user's file.
mode_t modeFor(const std::string& target, bool onlyOwner) {
    struct stat existing {};
    if (::stat(target.c_str(), &existing) == 0) return existing.st_mode & 07777U;
    if (onlyOwner) return ownMode;
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666U & ~mask;
}

// With the rights that the process has now, not those with which it was started.
bool may(const std::string& path, int mode) { return ::faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0; }

// Writes and flushes a new file beside the target, and returns its name.
std::string writeBeside(const std::string& target, const std::string& content, mode_t mode) {
    std::string beside = target + unfinishedMark + "XXXXXX";
    Descriptor file(::mkostemp(beside.data(), O_CLOEXEC));
    if (file.get() < 0) fail(beside, errno);
    try {
        if (mode != ownMode) ::fchmod(file.get(), mode); // it was created with ownMode
        writeAll(file.get(), content, beside);
        if (::close(file.release()) != 0) fail(beside, errno);
    } catch (...) {
        ::unlink(beside.c_str());
        throw;
    }
    return beside;
}

// Throws when something that must not be replaced has the name of an own file.
void requireOwn(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) fail(path, errno);
    } else if (!S_ISREG(status.st_mode)) {
        throw FileError(path, "is not replaced, because it is not a regular file");
    }
}

} // namespace

std::string readFile(const std::string& path, std::uint64_t limit) { return readOpened(path, 0, limit); }

std::string readOwnFile(const std::string& path, std::uint64_t limit) { return readOpened(path, O_NOFOLLOW, limit); }

void replaceFile(const std::string& path, const std::string& content, bool onlyOwner) {
    const std::string target = followLink(path);
    // Renaming needs rights on the folder alone, so it would replace a file that its owner has made read-only.
    if (!may(target, W_OK) && errno != ENOENT) fail(target, errno);
    const std::string beside = writeBeside(target, content, modeFor(target, onlyOwner));
    if (::rename(beside.c_str(), target.c_str()) != 0) {
        const int error = errno;
        ::unlink(beside.c_str());
        fail(target, error);
    }
    flushFolder(folderOf(target));
}

OwnFileDraft::OwnFileDraft(std::string path, const std::string& content) : path_(std::move(path)) {
    requireOwn(path_);
    beside_ = writeBeside(path_, content, ownMode);
}

OwnFileDraft::~OwnFileDraft() {
    if (!beside_.empty()) ::unlink(beside_.c_str());
}

void OwnFileDraft::publish() {
    requireOwn(path_);
    if (::rename(beside_.c_str(), path_.c_str()) != 0) fail(path_, errno);
    beside_.clear();
    flushFolder(folderOf(path_));
}

struct OwnFileLog::Opened {
    explicit Opened(int number) : file(number) {}
    Descriptor file;
};

OwnFileLog::OwnFileLog(const std::string& path) {
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK;
    opened_ = std::make_unique<Opened>(::open(path.c_str(), flags, ownMode));
    const int file = opened_->file.get();
    struct stat status {};
    if (file < 0 && errno == ELOOP) throw FileError(path, "is a symbolic link");
    if (file < 0 || ::fstat(file, &status) != 0) fail(path, errno);
    if (!S_ISREG(status.st_mode)) throw FileError(path, "not a regular file");
    if (status.st_uid != ::geteuid()) throw FileError(path, "belongs to another account");
    if (status.st_mode & 077U) throw FileError(path, "may be read or written by other accounts");
}

OwnFileLog::~OwnFileLog() = default;

bool OwnFileLog::add(std::string_view lines) noexcept {
    ssize_t written = 0;
    do {
        written = ::write(opened_->file.get(), lines.data(), lines.size());
    } while (written < 0 && errno == EINTR);
    return written == static_cast<ssize_t>(lines.size());
}

void replaceOrRewriteFile(const std::string& path, const std::string& content, bool onlyOwner) {
    const std::string target = followLink(path);
    const bool onlyInPlace = !may(folderOf(target), W_OK | X_OK) && may(target, W_OK);
    if (!onlyInPlace) return replaceFile(path, content, onlyOwner);
    const Descriptor file(::open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
    if (file.get() < 0) fail(path, errno);
    writeAll(file.get(), content, path);
    if (::ftruncate(file.get(), static_cast<off_t>(content.size())) != 0) fail(path, errno);
}

void makePrivateFolder(const std::string& path) {
    const std::string above = folderOf(path);
    struct stat status {};
    if (::stat(above.c_str(), &status) != 0 && errno == ENOENT && above != path) makePrivateFolder(above);
    if (::mkdir(path.c_str(), 0700) == 0) return;
    if (errno != EEXIST) fail(path, errno);
    if (::lstat(path.c_str(), &status) != 0) fail(path, errno);
    if (!S_ISDIR(status.st_mode)) fail(path, ENOTDIR);
    if (status.st_uid != ::geteuid()) throw FileError(path, "belongs to another account");
    if (status.st_mode & 022U) throw FileError(path, "can be written by other accounts");
}

std::string executablePath() {
    constexpr const char* self = "/proc/self/exe";
    std::error_code error;
    const std::filesystem::path path = std::filesystem::read_symlink(self, error);
    // An update has put another file at this path. The link still leads to the file of this process.
    return error || !std::filesystem::exists(path, error) ? self : path.string();
}

// ---- the folder of the process

bool currentDirectory(char* buffer, std::size_t size) { return ::getcwd(buffer, size) != nullptr; }

// ---- locks

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
    auto held =
        std::make_unique<Held>(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, ownMode));
    struct stat status {};
    if (held->file < 0 || ::fstat(held->file, &status) != 0) fail();
    if (!S_ISREG(status.st_mode)) throw FileError(path, "not a regular file");
    if (::flock(held->file, LOCK_EX | LOCK_NB) == 0) return std::unique_ptr<FileLock>(new FileLock(std::move(held)));
    if (errno != EWOULDBLOCK) fail();
    return nullptr;
}

} // namespace platform
