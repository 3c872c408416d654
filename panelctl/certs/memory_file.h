// SPDX-License-Identifier: MIT
//
// Data that the library reads as a file, since its functions take paths: from standard input, or put together from
// several files. It may have private keys, so it never gets into a folder of other users, and is removed with the
// object. On Linux it is in memory only.
#pragma once

#include <string>

namespace panelctl {

class MemoryFile {
public:
    // Throws CommandError.
    explicit MemoryFile(const std::string& content);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const std::string& path() const { return path_; } // UTF-8

private:
    int descriptor_ = -1;
    std::string path_;
};

} // namespace panelctl
