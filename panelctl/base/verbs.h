// SPDX-License-Identifier: MIT
//
// What all verbs of panelctl use. A verb is a struct with its options as members:
//
//   struct TokenLogout {
//       std::string token;
//       void options(CLI::App& verb) { verb.add_option("token", token, say("Label of the token")); }
//       void run(const Context& context) { ... }
//   };
//   addVerb<TokenLogout>(group, context, "logout", say("Log the service out of a token"));
//
// run() throws CommandError when something goes wrong; an incomplete reply is handled by the caller.
#pragma once

#include <panelctl/base/say.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace panelctl {

// The global options that verbs need, and the verb that the command line names.
struct Context {
    bool json = false;
    std::string group, verb; // "" where all verbs are needed

    // Making all verbs of a group takes longer than most of them run.
    bool needs(const CLI::App& inGroup, const std::string& name) const {
        return verb.empty() || verb == name || inGroup.get_name() != group;
    }
};

template <class Verb>
void addVerb(CLI::App& group, const Context& context, const char* name, const std::string& description) {
    if (!context.needs(group, name)) return;
    CLI::App* const app = group.add_subcommand(name, description);
    auto verb = std::make_shared<Verb>();
    verb->options(*app);
    app->callback([verb, &context] { verb->run(context); });
}

// Each adds its verbs to its group.
void addProviderVerbs(CLI::App& group, const Context& context);
void addTokenVerbs(CLI::App& group, const Context& context);
void addCertVerbs(CLI::App& group, const Context& context);
void addKeyVerbs(CLI::App& group, const Context& context);
void addCrlVerbs(CLI::App& group, const Context& context);
void addPskVerbs(CLI::App& group, const Context& context);
void addConfigVerbs(CLI::App& group, const Context& context);
void addPolicyVerbs(CLI::App& group, const Context& context);
void addTunnelVerbs(CLI::App& group, const Context& context);
void addNetVerbs(CLI::App& group, const Context& context);
void addWatchVerbs(CLI::App& group, const Context& context);
void addStatus(CLI::App& group, const Context& context);
void addDoctor(CLI::App& group, const Context& context);
void addTranscript(CLI::App& group, const Context& context);
void addCompletionVerbs(CLI::App& group, const Context& context);

// Further verbs of a group, in other files; called by the functions above.
void addTokenStatesVerb(CLI::App& group, const Context& context);
void addCertImportVerb(CLI::App& group, const Context& context);
void addCertTransferVerbs(CLI::App& group, const Context& context);
void addCertRequestVerbs(CLI::App& group, const Context& context);
void addConfigChangeVerbs(CLI::App& group, const Context& context);
void addConfigPendingVerbs(CLI::App& group, const Context& context);
void addPolicyCheckVerb(CLI::App& group, const Context& context);
void addPolicySourceVerbs(CLI::App& group, const Context& context);

} // namespace panelctl
