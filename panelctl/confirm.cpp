// SPDX-License-Identifier: MIT
#include <panelctl/confirm.h>

#include <panelctl/display_width.h>
#include <panelctl/exit_codes.h>
#include <panelctl/output.h>
#include <panelctl/secrets.h>
#include <panelctl/terminal.h>
#include <panelctl/texts.h>

namespace panelctl {

void confirmDeletion(const std::string& warning, const std::string& name, bool yes) {
    if (yes) return;
    if (!inputIsTerminal()) throw CommandError(Exit::notConfirmed, phrase(Say::deleteNeedsYes, {name}));
    printNote(escaped(warning));
    if (ask(phrase(Say::deletePrompt, {escaped(name)})) == name) return;
    throw CommandError(Exit::notConfirmed, text(Say::deleteNotConfirmed));
}

} // namespace panelctl
