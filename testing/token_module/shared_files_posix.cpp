// SPDX-License-Identifier: MIT
#include <testing/token_module/shared_files.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace panelkit::testing {

namespace {

namespace fs = std::filesystem;

constexpr const char* variable = "PANELKIT_TEST_TOKEN_DIR";
constexpr mode_t readableByAll = 0644; // the module may be probed under another user, who must see the faults too

class Descriptor {
public:
    Descriptor(const fs::path& file, int how) : number_(::open(file.c_str(), how | O_CLOEXEC, readableByAll)) {}
    ~Descriptor() {
        if (valid()) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    bool valid() const { return number_ >= 0; }
    int number() const { return number_; }

private:
    int number_;
};

[[noreturn]] void fail(const std::string& what, const fs::path& file) {
    throw std::runtime_error("can't " + what + " " + file.string() + ": " + std::generic_category().message(errno));
}

void writeAll(const fs::path& file, int how, std::string_view bytes) {
    const Descriptor descriptor(file, O_WRONLY | O_CREAT | how);
    if (!descriptor.valid()) fail("write", file);
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor.number(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) fail("write", file);
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

struct FolderLock::Held {
    explicit Held(const fs::path& file) : descriptor(file, O_RDONLY | O_CREAT) {}
    Descriptor descriptor;
};

FolderLock::FolderLock(const fs::path& folder) {
    if (folder.empty()) return;
    held_ = std::make_unique<Held>(folder / "lock");
    if (!held_->descriptor.valid()) return;
    while (::flock(held_->descriptor.number(), LOCK_EX) != 0) {
        if (errno != EINTR) fail("lock", folder);
    }
}

FolderLock::~FolderLock() = default; // closing the descriptor releases the lock

std::optional<std::string> readFile(const fs::path& file) {
    const Descriptor descriptor(file, O_RDONLY);
    struct stat status {};
    if (!descriptor.valid() || ::fstat(descriptor.number(), &status) != 0) return std::nullopt;
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t size = 0;
    while (size < bytes.size()) {
        const ssize_t got = ::read(descriptor.number(), bytes.data() + size, bytes.size() - size);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        size += static_cast<std::size_t>(got);
    }
    bytes.resize(size);
    return bytes;
}

void replaceFile(const fs::path& file, std::string_view bytes) {
    fs::path beside = file;
    beside += ".new";
    writeAll(beside, O_TRUNC, bytes);
    if (::rename(beside.c_str(), file.c_str()) != 0) fail("write", file);
}

void appendToFile(const fs::path& file, std::string_view bytes) { writeAll(file, O_APPEND, bytes); }

fs::path folderFromEnvironment() {
    const char* folder = std::getenv(variable);
    return folder ? folder : "";
}

void setFolderInEnvironment(const fs::path& folder) { ::setenv(variable, folder.c_str(), 1); }

} // namespace panelkit::testing
