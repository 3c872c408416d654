// SPDX-License-Identifier: MIT
//
// Logging in to tokens: by "token login", and on the way by a verb that changes or uses what only a log-in shows. Such
// a verb asks a person for the PIN; a script gets the service's refusal. Lists never ask.
//
//   logInFor(target);                                             // before the action
//   const auto found = openedFor(name.token, [&] { return findKey(controller, name); });
#pragma once

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/secrets.h>
#include <panelctl/base/unseen.h>
#include <panelctl/tokens/token_names.h>

namespace panelctl {

// Whether the last try may be spent: a script must say so, a person is asked. Throws CommandError.
bool mayBeFinalTry(const PKCS11::TokenInfo& token, std::uint32_t finalTryFlag, bool allowedByOption);

// Throws CommandError when the token refuses the PIN.
void logIn(VpnTokensController& controller, const PKCS11::TokenInfo& token, const std::string& pin, bool mayBeFinal);

// Whether private objects of the token are hidden, since nobody is logged in to it.
bool needsLogin(const PKCS11::TokenInfo& token);

// Asks a person at the terminal for the PIN if the token needs a log-in. Throws CommandError when the PIN is refused.
void logInFor(const PKCS11::TokenInfo& token);

// The same for the token of that name, or for the only one that needs a log-in. Returns whether there is a new log-in.
bool logInToOnly(const TokenName& name);

// What `find` returns. When it finds nothing, and what it looks for may be on a token that needs a log-in, tries again
// after the log-in.
template <class Find>
auto openedFor(const TokenName& token, const Find& find) {
    try {
        return find();
    } catch (const CommandError& error) {
        if (error.code != Exit::incomplete || !logInToOnly(token)) throw;
    }
    forgetUnseen();
    return find();
}

} // namespace panelctl
