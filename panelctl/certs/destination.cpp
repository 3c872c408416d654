// SPDX-License-Identifier: MIT
#include <panelctl/certs/destination.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>
#include <panelctl/base/system.h>
#include <panelctl/certs/new_file.h>

#include <CLI/CLI.hpp>

namespace panelctl {

void Destination::options(CLI::App& verb) {
    verb.add_option("--output", file, say("Write to this new file instead of standard output"))->type_name("FILE");
}

void Destination::requireFit(bool isText) const {
    if (file.empty()) {
        if (!isText && outputIsTerminal()) {
            throw CommandError(
                Exit::usage,
                say("refusing to write binary data to a terminal; use --output, or redirect standard output"));
        }
        return;
    }
    if (factsOf(file).kind != FileKind::missing) {
        throw CommandError(Exit::badInput, say("%s already exists; nothing was written", file));
    }
}

void Destination::write(const std::string& content) const {
    file.empty() ? printRaw(content) : writeNewFile(file, content);
}

} // namespace panelctl
