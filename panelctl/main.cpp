// SPDX-License-Identifier: MIT
//
// panelctl: the table of its groups, and main().
#include <panelctl/base/system.h>
#include <panelctl/base/verbs.h>
#include <panelctl/command_line.h>

#include <array>

namespace {

using panelctl::Group;
using panelctl::N_;

// clang-format off
constexpr std::array groups = {
    Group{"provider",   panelctl::addProviderVerbs,   N_("PKCS#11 providers: the modules that give access to tokens")},
    Group{"token",      panelctl::addTokenVerbs,      N_("Tokens: smart cards, USB keys, and keys in software")},
    Group{"cert",       panelctl::addCertVerbs,       N_("Certificates on tokens and in files")},
    Group{"key",        panelctl::addKeyVerbs,        N_("Key pairs on tokens")},
    Group{"crl",        panelctl::addCrlVerbs,        N_("Certificate revocation lists (CRLs)")},
    Group{"psk",        panelctl::addPskVerbs,        N_("Preshared keys")},
    Group{"config",     panelctl::addConfigVerbs,     N_("The service's configuration: typed parameters in sections")},
    Group{"policy",     panelctl::addPolicyVerbs,     N_("The local security policy: what is in force, and where it comes from")},
    Group{"tunnel",     panelctl::addTunnelVerbs,     N_("The tunnels of the policy in force")},
    Group{"net",        panelctl::addNetVerbs,        N_("The network interfaces of the host")},
    Group{"watch",      panelctl::addWatchVerbs,      N_("Report events in the service until Ctrl-C is pressed")},
    Group{"status",     panelctl::addStatus,          N_("Show the state of the service on one screen")},
    Group{"doctor",     panelctl::addDoctor,          N_("Find problems and suggest remedies")},
    Group{"transcript", panelctl::addTranscript,      N_("Print what a front end and the service said to each other")},
    Group{"completion", panelctl::addCompletionVerbs, N_("Completion of command lines in shells")},
};
// clang-format on

} // namespace

int main(int argc, char** argv) {
    panelctl::occupyStandardStreams();
    return panelctl::runCommandLine(panelctl::utf8Arguments(argc, argv), {groups.data(), groups.size()});
}
