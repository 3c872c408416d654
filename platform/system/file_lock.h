// SPDX-License-Identifier: MIT
//
// A lock that one process at a time holds, by a file of its own. The system drops it with the process, however that
// ends; the file stays, and says nothing.
#pragma once

#include <memory>
#include <string>

namespace platform {

class FileLock {
public:
    // Takes the lock, and makes the file if needed, for this account only. Nothing when somebody else holds it, another
    // object of this process too. Throws FileError when the file can't be used.
    static std::unique_ptr<FileLock> take(const std::string& path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    struct Held;
    explicit FileLock(std::unique_ptr<Held> held);
    std::unique_ptr<Held> held_;
};

} // namespace platform
