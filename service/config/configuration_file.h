// SPDX-License-Identifier: MIT
//
// The configuration on disk: configuration.json in the state folder, and beside it configuration.last-good.json, the
// last one that was found or made whole. Both are replaced whole, so a crash leaves the old or the new.
//
// A file that can't be read is left where it is, for whoever edited it to mend, until a commit replaces it. What is
// about to be replaced, and isn't what this service read or wrote, is kept first, as configuration.json.kept-1 and so
// on: no edit is lost.
//
// Not for two threads at once.
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

    // Reads the file; when it is damaged or gone, which is logged line by line, its last good state. No bodies when
    // there never was one.
    Bodies load();

    // Throws platform::FileError when the file can't be replaced; it is then what it was.
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
