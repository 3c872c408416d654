// SPDX-License-Identifier: MIT
//
// The configuration on disk: configuration.json in the state folder, and beside it configuration.last-good.json, the
// last one without a mistake. Both are replaced as a whole, so after a crash there is either the old file or the new
// one.
//
// A file that can't be read stays unchanged, so that it can be repaired, until a commit replaces it. If the content
// that is about to be replaced is not what this service read or wrote, it is kept first, as configuration.json.kept-1
// and so on: no edit is lost.
//
// Only one thread at a time may use it.
#pragma once

#include <service/config/configuration_text.h>
#include <service/state/state_folder.h>

#include <optional>
#include <string>

namespace panelkitd {

class ConfigurationFile {
public:
    explicit ConfigurationFile(const StateFolder& state);
    ~ConfigurationFile();
    ConfigurationFile(const ConfigurationFile&) = delete;
    ConfigurationFile& operator=(const ConfigurationFile&) = delete;

    // Reads the file; if it is damaged or missing, which is logged line by line, reads its last good state. Returns no
    // bodies if there never was one.
    Bodies load();

    // Throws platform::FileError when the file can't be replaced; it is then unchanged.
    void save(const Bodies& bodies);

private:
    static std::optional<Bodies> tryText(const std::string& path, const std::string& text);
    void keep(const std::string& text) const;
    void writeLastGood(const std::string& text) const;

    const std::string path_;
    const std::string lastGoodPath_;
    std::string known_; // the file's text as this service last read or wrote it; the last good state is the same
};

} // namespace panelkitd
