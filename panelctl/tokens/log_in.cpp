// SPDX-License-Identifier: MIT
#include <panelctl/tokens/log_in.h>

#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>

#include <vocabulary/tokens.h>

#include <algorithm>

namespace panelctl {

using PKCS11::TokenInfo;
namespace field = vocabulary::token;
namespace flag = vocabulary::tokenFlag;

namespace {

std::string labelOf(const TokenInfo& token) { return escaped(token.*field::label); }

// A service that speaks an older version of the protocol says it by the title alone.
Exit exitForTitle(const std::string& title) {
    if (title == vocabulary::pinTitle::wrongPin) return Exit::wrongPin;
    if (title == vocabulary::pinTitle::locked) return Exit::pinLocked;
    if (title == vocabulary::pinTitle::finalTry) return Exit::finalTry;
    return Exit::refused;
}

CommandError notLoggedIn(const PinStateMessage& message) {
    const std::vector<bridge::Remark>& remarks = bridge::lastRemarks();
    const Exit code = remarks.empty() ? exitForTitle(message.title) : exitFor(remarks.front());
    return {code, remarksText(remarks, message.text)};
}

// Only a person can be asked, and only for a PIN that there is.
bool canBeAskedFor(const TokenInfo& token) {
    return needsLogin(token) && (token.flags & flag::userPinInitialized) && inputIsTerminal() && errorIsTerminal();
}

} // namespace

bool mayBeFinalTry(const TokenInfo& token, std::uint32_t finalTryFlag, bool allowedByOption) {
    if (!(token.flags & finalTryFlag) || allowedByOption) return allowedByOption;
    if (inputIsTerminal()) {
        printNote(say("One try remains for token \"%s\": a wrong PIN locks it.", labelOf(token)));
        if (ask(say("Type \"yes\" to try: ")) == say("yes")) return true;
    }
    throw CommandError(
        Exit::finalTry,
        say("one try remains for token \"%s\", and a wrong PIN would lock it; use --final-try to try anyway",
            token.*field::label));
}

void logIn(VpnTokensController& controller, const TokenInfo& token, const std::string& pin, bool mayBeFinal) {
    PinStateMessage message;
    if (controller.TokenLogin(token, pin, mayBeFinal, &message)) return;
    if (message.title.empty()) throw lastFailureError();
    throw notLoggedIn(message);
}

bool needsLogin(const TokenInfo& token) {
    return (token.flags & flag::loginRequired) && !(token.flags & flag::loggedIn);
}

void logInFor(const TokenInfo& token) {
    if (!canBeAskedFor(token)) return;
    const bool mayBeFinal = mayBeFinalTry(token, flag::userPinFinalTry, false);
    const Secret pin = askSecret(say("PIN"), labelOf(token));
    CLIVpnTokensController controller;
    logIn(controller, token, pin.text(), mayBeFinal);
    printNote(say("Logged in to token \"%s\".", labelOf(token)));
}

bool logInToOnly(const TokenName& name) {
    std::vector<TokenInfo> closed;
    {
        CLIVpnTokensController controller;
        if (name.empty()) {
            closed = listTokens(controller);
        } else {
            closed = {findToken(controller, name)};
        }
    }
    std::erase_if(closed, [](const TokenInfo& token) { return !canBeAskedFor(token); });
    if (closed.size() != 1) return false;
    logInFor(closed.front());
    return true;
}

} // namespace panelctl
