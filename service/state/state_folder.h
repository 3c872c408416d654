// SPDX-License-Identifier: MIT
//
// The folder for the service's persistent state. Only the service's account can enter it. Its files: state_file.h.
#pragma once

#include <platform/system/files.h>

#include <memory>
#include <string>

namespace panelkitd {

class StateFolder {
public:
    // Makes the folder if needed, and locks it: two services would overwrite each other's files. Throws
    // platform::FileError when it can't be used, or another service uses it.
    explicit StateFolder(std::string path);

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const;
    // Returns the path of a folder in it, which is made if needed.
    std::string folder(const std::string& name) const;

private:
    std::string path_;
    std::unique_ptr<platform::FileLock> lock_;
};

// Provides a file for another program. It is written only if its content is not right, and a failure is only logged: a
// full disk must not keep the service from starting.
void provideFile(const std::string& folder, const std::string& name, const std::string& content);

} // namespace panelkitd
