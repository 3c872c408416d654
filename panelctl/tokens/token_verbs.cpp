// SPDX-License-Identifier: MIT
//
// panelctl token ...
#include <panelctl/display_width.h>
#include <panelctl/exit_codes.h>
#include <panelctl/output.h>
#include <panelctl/progress.h>
#include <panelctl/secrets.h>
#include <panelctl/terminal.h>
#include <panelctl/tokens/names.h>
#include <panelctl/verbs.h>

#include <platform/system/wipe.h>
#include <vocabulary/tokens.h>

#include <nlohmann/json.hpp>

#include <optional>
#include <random>

namespace panelctl {

using PKCS11::TokenInfo;
namespace field = vocabulary::token;
namespace flag = vocabulary::tokenFlag;

namespace {

std::string labelOf(const TokenInfo& token) { return escaped(token.*field::label); }

// How a PIN stands, from its three flags. Those of a token that is not initialised mean nothing.
nlohmann::ordered_json pinState(const TokenInfo& token, std::uint32_t low, std::uint32_t finalTry,
                                std::uint32_t locked) {
    if (!(token.flags & flag::initialized)) return nullptr;
    if (token.flags & locked) return "locked";
    if (token.flags & finalTry) return "final-try";
    return token.flags & low ? "wrong-before" : "ok";
}

nlohmann::ordered_json toJson(const TokenInfo& token) {
    const auto has = [&](std::uint32_t which) { return (token.flags & which) != 0; };
    return {{"schema", 1},
            {"label", token.*field::label},
            {"serial", token.*field::serial},
            {"model", token.*field::model},
            {"provider", token.*field::provider},
            {"slot", token.slotId},
            {"uri", uriOf(token)},
            {"initialized", has(flag::initialized)},
            {"loggedIn", has(flag::loggedIn)},
            {"hasPin", has(flag::userPinInitialized)},
            {"pin", pinState(token, flag::userPinCountLow, flag::userPinFinalTry, flag::userPinLocked)},
            {"soPin", pinState(token, flag::soPinCountLow, flag::soPinFinalTry, flag::soPinLocked)},
            {"writeProtected", has(flag::writeProtected)},
            {"flags", token.flags}};
}

struct StateRow {
    std::uint32_t flags;
    Say text;
    Mood mood;
};

// What is worth saying of a token, most urgent first.
// clang-format off
constexpr StateRow worthSaying[] = {
    {flag::userPinLocked,   Say::stateLocked,         Mood::bad},
    {flag::soPinLocked,     Say::stateSoLocked,       Mood::bad},
    {flag::userPinFinalTry, Say::stateFinalTry,       Mood::warning},
    {flag::soPinFinalTry,   Say::stateSoFinalTry,     Mood::warning},
    {flag::userPinCountLow, Say::stateWrongPinBefore, Mood::warning},
    {flag::writeProtected,  Say::stateWriteProtected, Mood::plain},
};
// clang-format on

Cell stateOf(const TokenInfo& token) {
    if (!(token.flags & flag::initialized)) return {text(Say::stateUninitialized), Mood::faint};
    Cell cell{text(Say::stateReady), Mood::plain};
    if (!(token.flags & flag::userPinInitialized)) cell = {text(Say::stateNoPin), Mood::warning};
    if (token.flags & flag::loggedIn) cell = {text(Say::stateLoggedIn), Mood::good};
    for (const StateRow& row : worthSaying) {
        if (token.flags & row.flags) {
            cell.text += std::string(", ") + text(row.text);
            cell.mood = row.mood;
            break;
        }
    }
    return cell;
}

// A script must say that the last try may be spent; a person is asked. Gives whether it may be.
bool mayBeFinalTry(const TokenInfo& token, std::uint32_t finalTryFlag, bool allowedByOption) {
    if (!(token.flags & finalTryFlag) || allowedByOption) return allowedByOption;
    if (!inputIsTerminal()) {
        throw CommandError(Exit::finalTry, phrase(Say::finalTryNeedsOption, {token.*field::label}));
    }
    printNote(phrase(Say::finalTryNote, {labelOf(token)}));
    if (ask(text(Say::finalTryPrompt)) == text(Say::wordYes)) return true;
    throw CommandError(Exit::finalTry, phrase(Say::finalTryNeedsOption, {token.*field::label}));
}

void addTokenArgument(CLI::App& verb, std::string& token) { verb.add_option("token", token, text(Say::argumentToken)); }

void printTokens(const std::vector<TokenInfo>& tokens) {
    auto list = nlohmann::ordered_json::array();
    for (const TokenInfo& token : tokens) list.push_back(toJson(token));
    printJson(list);
}

// Says in a sentence what became of a token; as JSON, shows the token as it is now.
void printDone(VpnTokensController& controller, const Context& context, const TokenInfo& token,
               const std::string& sentence) {
    if (!context.json) return printLine(sentence);
    TokenInfo shown = token;
    for (const TokenInfo& now : listTokens(controller)) {
        if (sameToken(now, token)) return printJson(toJson(now));
        // One that was just initialised has another serial number than before.
        if (now.*field::label == token.*field::label && now.*field::provider == token.*field::provider) shown = now;
    }
    printJson(toJson(shown));
}

struct TokenList {
    std::string provider;

    void options(CLI::App& verb) { verb.add_option("--provider", provider, text(Say::optionOfProvider)); }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const std::vector<TokenInfo> tokens = listTokens(controller, provider);
        if (context.json) return printTokens(tokens);
        if (tokens.empty()) return printNote(text(Say::noTokens));
        Table table({text(Say::headingLabel), text(Say::headingSerial), text(Say::headingProvider),
                     text(Say::headingModel), text(Say::headingState)});
        for (const TokenInfo& token : tokens) {
            table.add({{token.*field::label},
                       {token.*field::serial},
                       {token.*field::provider},
                       {token.*field::model},
                       stateOf(token)});
        }
        table.print();
    }
};

Exit exitForTitle(const std::string& title) {
    if (title == vocabulary::pinTitle::wrongPin) return Exit::wrongPin;
    if (title == vocabulary::pinTitle::locked) return Exit::pinLocked;
    if (title == vocabulary::pinTitle::finalTry) return Exit::finalTry;
    return Exit::refused;
}

struct TokenLogin {
    std::string token;
    std::optional<SecretSource> pin;
    bool finalTry = false;

    void options(CLI::App& verb) {
        addTokenArgument(verb, token);
        pin.emplace(verb, "pin", Say::secretPin);
        verb.add_flag("--final-try", finalTry, text(Say::optionFinalTry));
    }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const TokenInfo found = findToken(controller, token);
        if (found.flags & flag::loggedIn) {
            return printDone(controller, context, found, phrase(Say::tokenWasLoggedIn, {labelOf(found)}));
        }
        const bool mayBeFinal = mayBeFinalTry(found, flag::userPinFinalTry, finalTry);
        const Secret secret = pin->read(labelOf(found));
        PinStateMessage message;
        if (!controller.TokenLogin(found, secret.text(), mayBeFinal, &message)) {
            if (message.title.empty()) throw lastFailureError();
            throw CommandError(exitForTitle(message.title), message.text);
        }
        printDone(controller, context, found, phrase(Say::tokenLoggedIn, {labelOf(found)}));
    }
};

struct TokenLogout {
    std::string token;

    void options(CLI::App& verb) { addTokenArgument(verb, token); }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const TokenInfo found = findToken(controller, token);
        if (!controller.TokenLogout(found)) throw lastFailureError();
        printDone(controller, context, found, phrase(Say::tokenLoggedOut, {labelOf(found)}));
    }
};

struct TokenInit {
    std::string token, label;
    std::optional<SecretSource> soPin, pin;
    bool yes = false;
    bool finalTry = false;

    void options(CLI::App& verb) {
        addTokenArgument(verb, token);
        verb.add_option("--label", label, text(Say::optionLabel))->required();
        soPin.emplace(verb, "so-pin", Say::secretSoPin);
        pin.emplace(verb, "pin", Say::secretPin);
        verb.add_flag("--yes", yes, text(Say::optionYes));
        verb.add_flag("--final-try", finalTry, text(Say::optionFinalTry));
    }

    void run(const Context& context) const {
        TokensWithDots controller(context);
        const TokenInfo found = token.empty() ? findUninitialized(controller) : findToken(controller, token);
        const bool erases = (found.flags & flag::initialized) != 0;
        if (erases && !yes) confirm(found);
        mayBeFinalTry(found, flag::soPinFinalTry, finalTry);
        const Secret officer = soPin->read(labelOf(found), !erases);
        const Secret user = pin->read(escaped(label), true);
        if (erases) requireUnchanged(controller, found);
        if (!controller.TokenInitialize(found, label, officer.text(), user.text(), erases)) throw lastFailureError();
        TokenInfo made = found;
        made.*field::label = label;
        printDone(controller, context, made, phrase(Say::tokenInitialized, {escaped(label)}));
    }

private:
    static TokenInfo findUninitialized(VpnTokensController& controller) {
        for (const TokenInfo& candidate : listTokens(controller)) {
            if (!(candidate.flags & flag::initialized)) return candidate;
        }
        throw CommandError(Exit::notFound, text(Say::noUninitializedToken));
    }

    static void confirm(const TokenInfo& token) {
        if (!inputIsTerminal())
            throw CommandError(Exit::notConfirmed, phrase(Say::eraseNeedsYes, {token.*field::label}));
        printNote(phrase(Say::eraseWarning, {labelOf(token), escaped(token.*field::serial)}));
        const std::string answer = ask(text(Say::erasePrompt));
        if (answer.empty() || answer != token.*field::label) { // a token may have no label: no answer is no consent
            throw CommandError(Exit::notConfirmed, text(Say::eraseNotConfirmed));
        }
    }

    // Somebody may have changed the token while PINs were typed.
    static void requireUnchanged(VpnTokensController& controller, const TokenInfo& token) {
        for (const TokenInfo& now : listTokens(controller)) {
            if (now.*field::label == token.*field::label && now.*field::serial == token.*field::serial) return;
        }
        throw CommandError(Exit::notFound, text(Say::tokenChanged));
    }
};

struct TokenChangePin {
    std::string token;
    std::optional<SecretSource> oldPin, newPin;
    bool ofSecurityOfficer = false;
    bool finalTry = false;

    void options(CLI::App& verb) {
        addTokenArgument(verb, token);
        oldPin.emplace(verb, "pin", Say::secretPin);
        newPin.emplace(verb, "new-pin", Say::secretNewPin);
        verb.add_flag("--so", ofSecurityOfficer, text(Say::optionSecurityOfficer));
        verb.add_flag("--final-try", finalTry, text(Say::optionFinalTry));
    }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const TokenInfo found = findToken(controller, token);
        const std::uint32_t finalTryFlag = ofSecurityOfficer ? flag::soPinFinalTry : flag::userPinFinalTry;
        const bool mayBeFinal = mayBeFinalTry(found, finalTryFlag, finalTry);
        const Secret old = oldPin->read(labelOf(found));
        const Secret fresh = newPin->read(labelOf(found), true);
        if (!controller.TokenChangePassword(found, old.text(), fresh.text(), ofSecurityOfficer, mayBeFinal)) {
            throw lastFailureError();
        }
        printDone(controller, context, found, phrase(Say::tokenPinChanged, {labelOf(found)}));
    }
};

struct TokenSeed {
    std::string token, file;

    void options(CLI::App& verb) {
        addTokenArgument(verb, token);
        verb.add_option("--seed-file", file, text(Say::optionSeedFile))->type_name("FILE");
    }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const TokenInfo found = findToken(controller, token);
        std::string seed = file.empty() ? fromSystem() : fromFile();
        const platform::WipeOnExit wiped(seed);
        if (!controller.InitTokenRNG(found, seed)) throw lastFailureError();
        printDone(controller, context, found, phrase(Say::tokenSeeded, {labelOf(found)}));
    }

private:
    static constexpr std::size_t seedSize = 64;
    static constexpr std::size_t largestSeed = 4096;

    static std::string fromSystem() {
        std::random_device random; // the system's generator, on both systems
        std::string seed;
        while (seed.size() < seedSize) seed += static_cast<char>(random() & 0xFFU);
        return seed;
    }
    std::string fromFile() const {
        const OpenedFile opened(file);
        std::string seed;
        for (int byte = readByte(opened.descriptor()); byte >= 0 && seed.size() < largestSeed;
             byte = readByte(opened.descriptor())) {
            seed += static_cast<char>(byte);
        }
        return seed;
    }
};

struct TokenReload {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        TokensWithDots controller(context);
        std::string loggedIn;
        for (const TokenInfo& token : listTokens(controller)) {
            if (token.flags & flag::loggedIn) loggedIn += (loggedIn.empty() ? "" : ", ") + labelOf(token);
        }
        if (!loggedIn.empty()) printNote(phrase(Say::reloadLogsOut, {loggedIn}));
        if (!controller.ReloadAll()) throw lastFailureError();
        if (context.json) return printTokens(listTokens(controller));
        printLine(text(Say::tokensReloaded));
    }
};

} // namespace

void addTokenVerbs(CLI::App& group, const Context& context) {
    addVerb<TokenList>(group, context, "list", Say::verbTokenList);
    addVerb<TokenLogin>(group, context, "login", Say::verbTokenLogin);
    addVerb<TokenLogout>(group, context, "logout", Say::verbTokenLogout);
    addVerb<TokenInit>(group, context, "init", Say::verbTokenInit);
    addVerb<TokenChangePin>(group, context, "change-pin", Say::verbTokenChangePin);
    addVerb<TokenSeed>(group, context, "seed", Say::verbTokenSeed);
    addVerb<TokenReload>(group, context, "reload", Say::verbTokenReload);
}

} // namespace panelctl
