// SPDX-License-Identifier: MIT
//
// Runs a command line: global options, groups and verbs, and one helpful line for every mistake.
#pragma once

#include <panelctl/base/say.h>

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace panelctl {

struct Context;

// A group of verbs.
struct Group {
    const char* name;
    void (*addVerbs)(CLI::App& group, const Context& context);
    Label description;
};

// Runs a command line (UTF-8, without the program's name). Returns the exit code.
int runCommandLine(std::vector<std::string> arguments, std::span<const Group> groups);

} // namespace panelctl
