// SPDX-License-Identifier: MIT
//
// panelctl: the table of its groups, and the way from a command line to an exit code.
#include <panelctl/command_line.h>
#include <panelctl/terminal.h>
#include <panelctl/verbs.h>

#include <array>

namespace {

using panelctl::Say;

constexpr std::array groups = {
    panelctl::Group{"provider", Say::groupProvider, panelctl::addProviderVerbs},
    panelctl::Group{"token", Say::groupToken, panelctl::addTokenVerbs},
    panelctl::Group{"net", Say::groupNet, panelctl::addNetVerbs},
    panelctl::Group{"policy", Say::groupPolicy, panelctl::addPolicyVerbs},
};

} // namespace

int main(int argc, char** argv) {
    return panelctl::runCommandLine(panelctl::utf8Arguments(argc, argv), {groups.data(), groups.size()});
}
