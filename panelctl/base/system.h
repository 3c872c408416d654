// SPDX-License-Identifier: MIT
//
// What panelctl asks the operating system: terminals, command lines, files with secrets, and the surroundings of the
// program.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace panelctl {

// ---- terminals and command lines

// The arguments in UTF-8, without the program's name; they come in the character set of the locale. The name of a file
// that exists stays as it is.
std::vector<std::string> utf8Arguments(int argc, char** argv);

bool inputIsTerminal();
bool outputIsTerminal();
bool errorIsTerminal();

// The columns of the terminal on standard output; 0 when it is none, or does not say.
int terminalWidth();

// Whether escape sequences for colours work on standard output; switches them on where that is needed.
bool coloursWork();

// From now on, line ends are written to standard output without conversion.
void useBinaryOutput();

// Whether this error of a failed write (errno) means that the reader of standard output has gone.
bool readerLeft(int error);

// Text that was typed at the console, converted to UTF-8. It may be a secret.
std::string typedToUtf8(std::string typed);

// ---- files, by UTF-8 names of any length; std::filesystem asks Windows in ways that fail above 260 characters

enum class FileKind : unsigned char { missing, regular, folder, other };

struct FileFacts {
    FileKind kind = FileKind::missing;
    std::uintmax_t size = 0; // bytes, of a regular file
};

// What the path leads to, all links followed. Throws CommandError when the system does not say.
FileFacts factsOf(const std::string& utf8Path);

// The path in the form for functions that open files.
std::filesystem::path openable(const std::string& utf8Path);

// The absolute path, with all links resolved as far as it exists; the path itself when that is not possible.
std::string resolvedPath(const std::string& utf8Path);

// A file opened for reading, or standard input for "-"; closed with the object. Throws CommandError when it can't be
// opened.
class OpenedFile {
public:
    explicit OpenedFile(const std::string& utf8Path);
    ~OpenedFile();
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;
    int descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

// Reads one byte from a descriptor without a buffer, in which a part of a secret could remain. Returns -1 at the end.
int readByte(int descriptor);

// Reads up to `size` bytes from a descriptor, without a buffer. Returns 0 at the end, and when it can't be read.
std::size_t readSome(int descriptor, char* into, std::size_t size);

// ---- the program and its surroundings

// Replaces standard streams that were closed when the program started by something that can be neither read nor
// written. Otherwise the next socket or file that is opened gets the number of the stream, and receives what is printed
// for people. Must be called before anything else.
void occupyStandardStreams();

// The folder that holds this program.
std::filesystem::path programFolder();

// The locale for characters from the environment; empty when none is set. Nothing on Windows, where consoles do not use
// it.
std::optional<std::string> environmentLocale();

} // namespace panelctl
