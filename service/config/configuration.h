// SPDX-License-Identifier: MIT
//
// The configuration: the sections' bodies as front ends wrote them, in memory until they are committed, then on disk.
// Bodies are cut when they are written, which is all that is checked of them, and returned byte for byte; bounds are
// the front ends' business.
//
// Any thread may call everything.
#pragma once

#include <service/config/configuration_file.h>
#include <service/config/settings.h>

#include <platform/system/guarded.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace panelkitd {

class Configuration {
public:
    // What a section that was never committed has in place of the library's defaults: what the command line says.
    struct StartValues {
        LogLevel logLevel = LogLevel::events;
        std::string administratorsGroup;
    };

    // Reads the last commit.
    Configuration(const StateFolder& state, const StartValues& start);

    // The body as last written, committed or not; else the defaults. Throws RefusedError for an unknown section.
    std::string read(std::string_view section) const;

    // Throws RefusedError for an unknown section, and for a body that is not one of it or larger than a mebibyte.
    void write(std::string_view section, std::string_view body);

    // Makes permanent what was written; a QCD secret that was left to the service is made. Throws RefusedError, with
    // everything as it was, when the file can't be replaced. Returns the names of the sections that changed.
    std::vector<std::string> commit();

    // As last committed.
    Settings settings() const;

    // Called after each commit, on the thread that gave it, with the names of the sections that changed. It must
    // neither commit nor throw. Observers are added before the service serves.
    using Observer = std::function<void(const Settings&, const std::vector<std::string>& changed)>;
    void observe(Observer observer) { observers_.push_back(std::move(observer)); }

private:
    struct Present {
        Bodies committed;
        Bodies written; // committed, and what was written since
    };

    const panelkit::SectionBody& bodyIn(const Bodies& bodies, std::string_view section) const;
    void completeSecret(Bodies& bodies, const Bodies& before) const;
    void adopt(const Bodies& written, const Bodies& committed);
    Settings extract(const Bodies& bodies) const;

    Bodies defaults_; // of all sections
    std::vector<Observer> observers_;

    platform::Guarded<ConfigurationFile> file_; // locked by a commit to its end: one at a time
    platform::Guarded<Present> present_;
};

} // namespace panelkitd
