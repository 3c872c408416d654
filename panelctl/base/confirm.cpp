// SPDX-License-Identifier: MIT
#include <panelctl/base/confirm.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>
#include <panelctl/base/secrets.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>

#include <CLI/CLI.hpp>

namespace panelctl {

void addYes(CLI::App& verb, bool& yes) { verb.add_flag("--yes", yes, say("Do not ask for confirmation")); }

void confirmDeletion(const std::string& warning, const std::string& name, bool yes) {
    if (yes) return;
    if (!inputIsTerminal()) {
        throw CommandError(Exit::notConfirmed,
                           say("\"%s\" would be deleted; use --yes to delete it without confirmation", name));
    }
    printNote(escaped(warning));
    if (ask(say("Type \"%s\" to continue: ", escaped(name))) == name) return;
    throw CommandError(Exit::notConfirmed, say("the name was not typed; nothing was deleted"));
}

} // namespace panelctl
