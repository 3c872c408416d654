// SPDX-License-Identifier: MIT
//
// What an import reads: a file, standard input ("-"), and a private key in a file of its own. Damaged blocks of a PEM
// file can be left out.
#pragma once

#include <panelctl/certs/import_file.h>
#include <panelctl/certs/memory_file.h>

#include <optional>
#include <string>

namespace panelctl {

struct ImportSource {
    std::string path; // "-" for standard input
    std::string keyPath;
    bool skipDamaged = false;
    std::optional<SecretSource> password;

    void options(CLI::App& verb);
    void keyOption(CLI::App& verb); // not for CRLs, which have none

    // Has the service open it. Throws CommandError; when blocks are damaged, the error names them and nothing is
    // imported, or with --skip-damaged a note does.
    FileContents parse(VpnCertsController& controller) const;

    // For people.
    std::string name() const;
};

} // namespace panelctl
