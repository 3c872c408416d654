// SPDX-License-Identifier: MIT
//
// What the verbs of panelctl have in common. A verb is a struct with its options as members:
//
//   struct TokenLogout {
//       std::string token;
//       void options(CLI::App& verb) { verb.add_option("token", token, text(Say::argumentToken)); }
//       void run(const Context& context) { ... }
//   };
//   addVerb<TokenLogout>(group, context, "logout", Say::verbTokenLogout);
//
// run() throws CommandError for what goes wrong; replies that end early need no care of its own.
#pragma once

#include <panelctl/texts.h>

#include <CLI/CLI.hpp>

#include <memory>

namespace panelctl {

// What the global options say.
struct Context {
    bool json = false;
};

template <class Verb>
void addVerb(CLI::App& group, const Context& context, const char* name, Say description) {
    CLI::App* const app = group.add_subcommand(name, text(description));
    auto verb = std::make_shared<Verb>();
    verb->options(*app);
    app->callback([verb, &context] { verb->run(context); });
}

// Each adds its verbs to its group.
void addProviderVerbs(CLI::App& group, const Context& context);
void addTokenVerbs(CLI::App& group, const Context& context);
void addConfigVerbs(CLI::App& group, const Context& context);
void addConfigChangeVerbs(CLI::App& group, const Context& context); // called by addConfigVerbs

// the program itself
void addDoctor(CLI::App& group, const Context& context);
void addCompletionVerbs(CLI::App& group, const Context& context);
// certificates, CRLs, preshared keys
void addCertVerbs(CLI::App& group, const Context& context);
void addCertTransferVerbs(CLI::App& group, const Context& context);
void addCertRequestVerbs(CLI::App& group, const Context& context);
void addCrlVerbs(CLI::App& group, const Context& context);
void addPskVerbs(CLI::App& group, const Context& context);
void addWatchVerbs(CLI::App& group, const Context& context);
void addNetVerbs(CLI::App& group, const Context& context);
void addPolicyVerbs(CLI::App& group, const Context& context);
void addPolicySourceVerbs(CLI::App& group, const Context& context); // one group of verbs inside it

} // namespace panelctl
