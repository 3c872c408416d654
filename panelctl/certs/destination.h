// SPDX-License-Identifier: MIT
//
// The destination of exported data: a new file, or standard output.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace panelctl {

struct Destination {
    std::string file; // of --output; empty for standard output

    void options(CLI::App& verb);

    // Throws CommandError when nothing could be written there: a file of that name exists, or binary data would go to a
    // terminal. To be called before the service does anything.
    void requireFit(bool isText) const;

    // Throws CommandError. A file is written whole or not at all.
    void write(const std::string& content) const;
};

} // namespace panelctl
