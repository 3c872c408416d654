// SPDX-License-Identifier: MIT
//
// The configuration on disk: configuration.json in the state folder, and its last good copy.
//
// Only one thread at a time may use it.
#pragma once

#include <service/config/configuration_text.h>
#include <service/state/state_file.h>

namespace panelkitd {

class ConfigurationFile {
public:
    explicit ConfigurationFile(const StateFolder& state);

    // Reads the file or, if it is damaged or missing, its last good copy. Mistakes are logged line by line. Returns no
    // bodies at the first start, and when neither can be read.
    Bodies load();

    // As StateFile::remarks().
    Remarks remarks() const { return file_.remarks(); }

    // Throws as StateFile::write() does; nothing is changed then.
    void save(const Bodies& bodies);

private:
    StateFile file_;
};

} // namespace panelkitd
