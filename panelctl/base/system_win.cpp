// SPDX-License-Identifier: MIT
#include <panelctl/base/system.h>

#include <panelctl/base/exit_codes.h>

#include <platform/text/utf8_path.h>

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace panelctl {

// ---- terminals and command lines

namespace {

std::wstring decode(UINT page, const std::string& text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(page, 0, text.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(page, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string toUtf8(const std::wstring& wide) {
    const int size = static_cast<int>(wide.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, text.data(), needed, nullptr, nullptr);
    return text;
}

// To ask for what is not in the file; nobody is kept from using it.
HANDLE openToLook(const std::string& utf8Path) {
    return CreateFileW(openable(utf8Path).c_str(), FILE_READ_ATTRIBUTES,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

} // namespace

// The arguments of main were converted to a code page; the system has the line as it was typed.
std::vector<std::string> utf8Arguments(int, char**) {
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(toUtf8(wide[i]));
    LocalFree(wide);
    return arguments;
}

bool inputIsTerminal() { return _isatty(0) != 0; }
bool outputIsTerminal() { return _isatty(1) != 0; }
bool errorIsTerminal() { return _isatty(2) != 0; }

int terminalWidth() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return 0;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

bool coloursWork() {
    HANDLE const output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (!GetConsoleMode(output, &mode)) return false;
    return SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

void useBinaryOutput() { _setmode(_fileno(stdout), _O_BINARY); }

// A pipe without a reader is reported as a bad argument.
bool readerLeft(int error) { return error == EPIPE || error == EINVAL; }

std::string typedToUtf8(std::string typed) { return toUtf8(decode(GetConsoleCP(), typed)); }

// ---- files

FileFacts factsOf(const std::string& utf8Path) {
    HANDLE const file = openToLook(utf8Path);
    const DWORD error = GetLastError();
    if (file == INVALID_HANDLE_VALUE) {
        const bool missing =
            error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME;
        if (missing) return {};
        throw CommandError(Exit::badInput, utf8Path + ": " + std::system_category().message(static_cast<int>(error)));
    }
    BY_HANDLE_FILE_INFORMATION facts{};
    const bool isOnDisk = GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &facts);
    CloseHandle(file);
    if (!isOnDisk) return {FileKind::other};
    if (facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return {FileKind::folder};
    return {FileKind::regular, std::uintmax_t{facts.nFileSizeHigh} << 32U | facts.nFileSizeLow};
}

std::filesystem::path openable(const std::string& utf8Path) {
    constexpr std::size_t longestPlain = 247; // characters: what folders may have without the prefix
    std::error_code error;
    const std::filesystem::path full = std::filesystem::absolute(platform::toPath(utf8Path), error);
    if (error || full.native().size() <= longestPlain) return platform::toPath(utf8Path);
    const std::wstring name = full.lexically_normal().make_preferred().native();
    if (name.starts_with(LR"(\\?\)") || name.starts_with(LR"(\\.\)")) return name;
    return name.starts_with(LR"(\\)") ? LR"(\\?\UNC\)" + name.substr(2) : LR"(\\?\)" + name;
}

std::string resolvedPath(const std::string& utf8Path) {
    HANDLE const file = openToLook(utf8Path);
    if (file == INVALID_HANDLE_VALUE) return utf8Path;
    std::wstring name(32768, L'\0'); // the longest path of the system
    const DWORD size = GetFinalPathNameByHandleW(file, name.data(), static_cast<DWORD>(name.size()), 0);
    CloseHandle(file);
    if (size == 0 || size >= name.size()) return utf8Path;
    name.resize(size);
    if (name.starts_with(LR"(\\?\UNC\)")) return toUtf8(LR"(\\)" + name.substr(8));
    return toUtf8(name.starts_with(LR"(\\?\)") ? name.substr(4) : name);
}

OpenedFile::OpenedFile(const std::string& utf8Path)
    : descriptor_(utf8Path == "-" ? _dup(0) : _wopen(openable(utf8Path).c_str(), _O_RDONLY | _O_BINARY)) {
    if (descriptor_ < 0) {
        throw CommandError(Exit::badInput, utf8Path + ": " + std::generic_category().message(errno));
    }
}

OpenedFile::~OpenedFile() { _close(descriptor_); }

int readByte(int descriptor) {
    unsigned char byte = 0;
    return _read(descriptor, &byte, 1) == 1 ? byte : -1;
}

std::size_t readSome(int descriptor, char* into, std::size_t size) {
    constexpr std::size_t most = 1U << 30; // the function takes an unsigned int and returns an int
    const int count = _read(descriptor, into, static_cast<unsigned>(std::min(size, most)));
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

// ---- the program and its surroundings

void occupyStandardStreams() {} // streams are handles here: nothing else gets the place of a missing one

std::filesystem::path programFolder() {
    std::wstring name(32768, L'\0'); // the longest path of the system
    name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return std::filesystem::path(name).parent_path();
}

std::optional<std::string> environmentLocale() { return std::nullopt; }

} // namespace panelctl
