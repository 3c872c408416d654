// SPDX-License-Identifier: MIT
//
// The folder for the service's persistent state. Only the service's account can enter it. Its files are replaced as a
// whole, and each states its format.
#pragma once

#include <platform/system/files.h>

#include <nlohmann/json_fwd.hpp>

#include <memory>
#include <optional>
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

// A JSON file in the state folder. A file that can't be read is never overwritten: an administrator may still repair
// it. Only one thread at a time may use it.
class StateFile {
public:
    // `format` is the newest format of the file that this service reads, and the format that it writes.
    StateFile(const StateFolder& folder, const std::string& name, int format);

    const std::string& path() const { return path_; }

    // Reads the file. Returns nullopt when there is none, or when it can't be used: problem() and the log then say why.
    std::optional<nlohmann::json> read();

    // For a caller that can't use the content: the file is not overwritten from now on, and `problem` is logged.
    void reject(const std::string& problem);

    // Why the present file can't be used; empty when it can.
    const std::string& problem() const { return problem_; }

    // Replaces the file; "format" is added to the content. Throws platform::FileError, with the file unchanged, when
    // the present file can't be used, when the new content would be too large to be read again, and when writing fails.
    void write(nlohmann::json content) const;

private:
    const std::string path_;
    const int format_;
    std::string problem_;
};

} // namespace panelkitd
