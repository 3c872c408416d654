// SPDX-License-Identifier: MIT
//
// The few things about terminals and command lines that differ between the systems.
#pragma once

#include <string>
#include <vector>

namespace panelctl {

// The arguments in UTF-8, without the program's name.
std::vector<std::string> utf8Arguments(int argc, char** argv);

bool inputIsTerminal();
bool outputIsTerminal();
bool errorIsTerminal();

// Whether escape sequences for colours work on standard output; switches them on where that is needed.
bool coloursWork();

// From now on, line ends go to standard output as they are.
void useBinaryOutput();

// Whether this error of a failed write (errno) means that the reader of standard output has left.
bool readerLeft(int error);

// What was typed at the console, in UTF-8.
std::string typedToUtf8(std::string typed);

// A file opened for reading, closed with the object. Throws CommandError when it can't be opened.
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

// Reads one byte from a descriptor without buffering, so that nothing of a secret stays behind. -1 at the end.
int readByte(int descriptor);

} // namespace panelctl
