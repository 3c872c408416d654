// SPDX-License-Identifier: MIT
#include <panelctl/certs/destination.h>

#include <panelctl/certs/new_file.h>
#include <panelctl/exit_codes.h>
#include <panelctl/output.h>
#include <panelctl/terminal.h>
#include <panelctl/texts.h>

#include <CLI/CLI.hpp>

#include <filesystem>

namespace panelctl {

void Destination::options(CLI::App& verb) {
    verb.add_option("--output", file, text(Say::optionOutput))->type_name("FILE");
}

void Destination::requireFit(bool isText) const {
    if (file.empty()) {
        if (!isText && outputIsTerminal()) throw CommandError(Exit::usage, text(Say::binaryToTerminal));
        return;
    }
    std::error_code ignored; // writing will tell
    if (std::filesystem::exists(std::u8string(file.begin(), file.end()), ignored)) {
        throw CommandError(Exit::badInput, phrase(Say::fileExists, {file}));
    }
}

void Destination::write(const std::string& content) const {
    file.empty() ? printRaw(content) : writeNewFile(file, content);
}

} // namespace panelctl
