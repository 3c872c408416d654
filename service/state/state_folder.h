// SPDX-License-Identifier: MIT
//
// The folder in which the service keeps what must survive a restart. Only the service's account can enter it; its files
// are replaced whole, and each says in which format it is written.
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
    // A folder in it, made if needed.
    std::string folder(const std::string& name) const;

private:
    std::string path_;
    std::unique_ptr<platform::FileLock> lock_;
};

// A JSON file in the state folder. What can't be read is never overwritten: an administrator may still repair it. Not
// for two threads at once.
class StateFile {
public:
    // `format` is the newest format of the file that this service reads, and the one that it writes.
    StateFile(const StateFolder& folder, const std::string& name, int format);

    const std::string& path() const { return path_; }

    // Reads the file. Nothing when there is none, or when it can't be used: problem() then says why, and it is logged.
    std::optional<nlohmann::json> read();

    // For a caller that finds the content itself unusable: the file is kept from now on, and `problem` is logged.
    void reject(const std::string& problem);

    // Why the file that is there can't be used; empty when it can.
    const std::string& problem() const { return problem_; }

    // Replaces the file; "format" is added to the content. Throws platform::FileError, with the file as it was, when
    // it is kept because of its problem, when the new content would be too large to be read again, and when the disk
    // refuses.
    void write(nlohmann::json content) const;

private:
    const std::string path_;
    const int format_;
    std::string problem_;
};

} // namespace panelkitd
