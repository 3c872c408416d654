// SPDX-License-Identifier: MIT
#include <panelctl/base/system.h>

#include <panelctl/base/exit_codes.h>

#include <platform/system/wipe.h>

#include <fcntl.h>
#include <iconv.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

namespace panelctl {

// ---- terminals and command lines

namespace {

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// From the character set of the environment's locale.
class ToUtf8 {
public:
    ToUtf8() {
        const locale_t locale = ::newlocale(LC_CTYPE_MASK, "", nullptr);
        if (!locale) return; // not installed
        const std::string_view charset = ::nl_langinfo_l(CODESET, locale);
        if (charset != "UTF-8" && charset != "ANSI_X3.4-1968") converter_ = ::iconv_open("UTF-8", charset.data());
        ::freelocale(locale);
    }
    ~ToUtf8() {
        if (works()) ::iconv_close(converter_);
    }
    ToUtf8(const ToUtf8&) = delete;
    ToUtf8& operator=(const ToUtf8&) = delete;

    // Bytes that are not text in the character set stay as they are. The text may be a secret.
    std::string operator()(std::string text) const {
        if (!works() || isPlain(text)) return text;
        std::string converted(4 * text.size(), '\0');
        char* from = text.data();
        char* into = converted.data();
        std::size_t left = text.size(), room = converted.size();
        ::iconv(converter_, nullptr, nullptr, nullptr, nullptr); // to the initial state
        if (::iconv(converter_, &from, &left, &into, &room) == static_cast<std::size_t>(-1)) return text;
        platform::wipe(text);
        converted.resize(converted.size() - room);
        return converted;
    }

private:
    bool works() const { return converter_ != none(); }
    static iconv_t none() {
        return reinterpret_cast<iconv_t>(-1);
    } // NOLINT(performance-no-int-to-ptr): as POSIX has it

    iconv_t converter_ = none();
};

bool isFile(const char* path) {
    struct stat status {};
    return ::lstat(path, &status) == 0;
}

} // namespace

// Names of files are bytes, whatever the locale: one that exists stays as it is, so that it can be opened.
std::vector<std::string> utf8Arguments(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (std::all_of(arguments.begin(), arguments.end(), isPlain)) return arguments; // reading the locale takes a while
    const ToUtf8 toUtf8;
    for (std::string& argument : arguments) {
        if (!isFile(argument.c_str())) argument = toUtf8(argument);
    }
    return arguments;
}

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

std::string typedToUtf8(std::string typed) { return ToUtf8()(std::move(typed)); }

// ---- files

FileFacts factsOf(const std::string& utf8Path) {
    struct stat status {};
    if (::stat(utf8Path.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return {};
        throw CommandError(Exit::badInput, utf8Path + ": " + std::generic_category().message(errno));
    }
    if (S_ISDIR(status.st_mode)) return {FileKind::folder};
    if (!S_ISREG(status.st_mode)) return {FileKind::other};
    return {FileKind::regular, static_cast<std::uintmax_t>(status.st_size)};
}

std::filesystem::path openable(const std::string& utf8Path) { return utf8Path; }

std::string resolvedPath(const std::string& utf8Path) {
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::weakly_canonical(utf8Path, error);
    return error ? utf8Path : whole.string();
}

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
