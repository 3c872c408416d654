// SPDX-License-Identifier: MIT
#include <panelctl/base/system.h>

#include <panelctl/base/exit_codes.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace panelctl {

// ---- terminals and command lines

std::vector<std::string> utf8Arguments(int argc, char** argv) { return {argv + 1, argv + argc}; }

bool inputIsTerminal() { return ::isatty(STDIN_FILENO) == 1; }
bool outputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }
bool errorIsTerminal() { return ::isatty(STDERR_FILENO) == 1; }

int terminalWidth() {
    struct winsize size {};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool coloursWork() {
    const char* terminal = std::getenv("TERM");
    return outputIsTerminal() && terminal && std::string_view(terminal) != "dumb";
}

void useBinaryOutput() {}

bool readerLeft(int error) { return error == EPIPE; }

std::string typedToUtf8(std::string typed) { return typed; }

OpenedFile::OpenedFile(const std::string& utf8Path)
    : descriptor_(utf8Path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                  : ::open(utf8Path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor_ < 0) {
        throw CommandError(Exit::badInput, utf8Path + ": " + std::generic_category().message(errno));
    }
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0 || !S_ISDIR(status.st_mode)) return;
    ::close(descriptor_);
    throw CommandError(Exit::badInput, utf8Path + ": " + std::generic_category().message(EISDIR));
}

OpenedFile::~OpenedFile() { ::close(descriptor_); }

int readByte(int descriptor) {
    unsigned char byte = 0;
    ssize_t count = 0;
    do {
        count = ::read(descriptor, &byte, 1);
    } while (count < 0 && errno == EINTR);
    return count == 1 ? byte : -1;
}

std::size_t readSome(int descriptor, char* into, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor, into, size);
    } while (count < 0 && errno == EINTR);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

// ---- the program and its surroundings

void occupyStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
        // The system takes the lowest free number, which is this one. It stays open; reading or writing it fails.
        [[maybe_unused]] const int taken = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

std::filesystem::path programFolder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

std::optional<std::string> environmentLocale() {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) return value;
    }
    return "";
}

} // namespace panelctl
