// SPDX-License-Identifier: MIT
//
// panelctl: the table of its groups, and the way from a command line to an exit code.
#include <panelctl/command_line.h>
#include <panelctl/host.h>
#include <panelctl/terminal.h>
#include <panelctl/verbs.h>

#include <array>

namespace {

using panelctl::Say;

constexpr std::array groups = {
    panelctl::Group{"provider", Say::groupProvider, panelctl::addProviderVerbs},
    panelctl::Group{"token", Say::groupToken, panelctl::addTokenVerbs},
    panelctl::Group{"cert", Say::groupCert, panelctl::addCertVerbs},
    panelctl::Group{"crl", Say::groupCrl, panelctl::addCrlVerbs},
    panelctl::Group{"psk", Say::groupPsk, panelctl::addPskVerbs},
    panelctl::Group{"config", Say::groupConfig, panelctl::addConfigVerbs},
    panelctl::Group{"policy", Say::groupPolicy, panelctl::addPolicyVerbs},
    panelctl::Group{"net", Say::groupNet, panelctl::addNetVerbs},
    panelctl::Group{"watch", Say::groupWatch, panelctl::addWatchVerbs},
    panelctl::Group{"doctor", Say::groupDoctor, panelctl::addDoctor},
    panelctl::Group{"completion", Say::groupCompletion, panelctl::addCompletionVerbs},
};

} // namespace

int main(int argc, char** argv) {
    panelctl::occupyStandardStreams();
    return panelctl::runCommandLine(panelctl::utf8Arguments(argc, argv), {groups.data(), groups.size()});
}
