// SPDX-License-Identifier: MIT
//
// Where exported data goes: to a new file, or as it is to standard output.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace panelctl {

struct Destination {
    std::string file; // of --output; empty for standard output

    void options(CLI::App& verb);

    // Throws CommandError when nothing could be written there: a file of that name exists, or bytes that are no text
    // would go to a terminal. To be called before the service does anything.
    void requireFit(bool isText) const;

    // Throws CommandError. A file is written whole or not at all.
    void write(const std::string& content) const;
};

} // namespace panelctl
