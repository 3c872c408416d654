// SPDX-License-Identifier: MIT
//
// The folder in which the service keeps what must survive a restart. Only the service's account can enter it; its files
// are replaced whole, and each says in which format it is written.
#pragma once

#include <platform/system/file_lock.h>

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

    // Reads a JSON file of ours; nothing when there is none. One that is damaged, or of a newer format than `format`,
    // is kept beside itself as NAME.damaged, logged, and counts as none.
    std::optional<nlohmann::json> readJson(const std::string& name, int format) const;

    // Replaces a JSON file; "format" is added to it.
    void writeJson(const std::string& name, int format, nlohmann::json content) const;

private:
    std::string path_;
    std::unique_ptr<platform::FileLock> lock_;
};

} // namespace panelkitd
