// SPDX-License-Identifier: MIT
//
// panelctl token ...
#include <panelctl/base/confirm.h>
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/progress.h>
#include <panelctl/base/secrets.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/tokens/log_in.h>
#include <panelctl/tokens/token_names.h>

#include <platform/system/wipe.h>
#include <platform/text/join.h>
#include <vocabulary/tokens.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <random>

namespace panelctl {

using PKCS11::TokenInfo;
namespace field = vocabulary::token;
namespace flag = vocabulary::tokenFlag;

namespace {

std::string labelOf(const TokenInfo& token) { return escaped(token.*field::label); }

// The state of a PIN, from its three flags, which have no meaning before the token is initialised.
nlohmann::ordered_json pinState(const TokenInfo& token, std::uint32_t low, std::uint32_t finalTry,
                                std::uint32_t locked) {
    if (!(token.flags & flag::initialized)) return nullptr;
    if (token.flags & locked) return "locked";
    if (token.flags & finalTry) return "final-try";
    return token.flags & low ? "wrong-before" : "ok";
}

nlohmann::ordered_json toJson(const TokenInfo& token) {
    const auto has = [&](std::uint32_t which) { return (token.flags & which) != 0; };
    nlohmann::ordered_json json{{"schema", 1}};
    json.update(tokenJson(token));
    json.update({{"slot", token.slotId},
                 {"initialized", has(flag::initialized)},
                 {"loggedIn", has(flag::loggedIn)},
                 {"hasPin", has(flag::userPinInitialized)},
                 {"pin", pinState(token, flag::userPinCountLow, flag::userPinFinalTry, flag::userPinLocked)},
                 {"soPin", pinState(token, flag::soPinCountLow, flag::soPinFinalTry, flag::soPinLocked)},
                 {"writeProtected", has(flag::writeProtected)},
                 {"flags", token.flags}});
    return json;
}

struct StateRow {
    Label text;
    std::uint32_t flags;
    Mood mood;
};

// Flags that are shown, the most urgent first.
// clang-format off
constexpr StateRow worthSaying[] = {
    {N_("PIN locked"),              flag::userPinLocked,   Mood::bad},
    {N_("SO PIN locked"),           flag::soPinLocked,     Mood::bad},
    {N_("one PIN try remains"),     flag::userPinFinalTry, Mood::warning},
    {N_("one SO PIN try remains"),  flag::soPinFinalTry,   Mood::warning},
    {N_("a wrong PIN was entered"), flag::userPinCountLow, Mood::warning},
    {N_("write-protected"),         flag::writeProtected,  Mood::plain},
};
// clang-format on

Cell stateOf(const TokenInfo& token) {
    if (!(token.flags & flag::initialized)) return {say("not initialised"), Mood::faint};
    Cell cell{say("ready"), Mood::plain};
    if (!(token.flags & flag::userPinInitialized)) cell = {say("no PIN yet"), Mood::warning};
    if (token.flags & flag::loggedIn) cell = {say("logged in"), Mood::good};
    for (const StateRow& row : worthSaying) {
        if (token.flags & row.flags) {
            cell.text += ", " + say(row.text);
            cell.mood = row.mood;
            break;
        }
    }
    return cell;
}

void addFinalTry(CLI::App& verb, bool& finalTry) {
    verb.add_flag("--final-try", finalTry, say("Try the PIN even if a wrong one would lock the token"));
}

void printTokens(const std::vector<TokenInfo>& tokens) {
    auto list = nlohmann::ordered_json::array();
    for (const TokenInfo& token : tokens) list.push_back(toJson(token));
    printJson(list);
}

// Prints the result as a sentence, or in JSON the token in its present state.
void printDone(VpnTokensController& controller, const Context& context, const TokenInfo& token,
               const std::string& sentence) {
    if (!context.json) return printLine(sentence);
    TokenInfo shown = token;
    for (const TokenInfo& now : listTokens(controller)) {
        if (sameToken(now, token)) return printJson(toJson(now));
        // A token that was just initialised has a new serial number.
        if (now.*field::label == token.*field::label && now.*field::provider == token.*field::provider) shown = now;
    }
    printJson(toJson(shown));
}

struct TokenList {
    std::string provider;

    void options(CLI::App& verb) { verb.add_option("--provider", provider, say("Only tokens of this provider")); }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        std::vector<TokenInfo> tokens = listTokens(controller, provider);
        std::stable_sort(tokens.begin(), tokens.end(), comesBefore);
        context.json ? printTokens(tokens) : print(tokens);
        requireAllSeen();
    }

private:
    static void print(const std::vector<TokenInfo>& tokens) {
        if (tokens.empty()) return printNone(say("There are no tokens."));
        Table table({say("LABEL"), say("SERIAL"), say("PROVIDER"), say("MODEL"), say("STATE")});
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

struct TokenLogin {
    TokenName token;
    std::optional<SecretSource> pin;
    bool finalTry = false;

    void options(CLI::App& verb) {
        token.argument(verb);
        pin.emplace(verb, "pin", say("PIN"));
        addFinalTry(verb, finalTry);
    }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const TokenInfo found = findToken(controller, token);
        if (found.flags & flag::loggedIn) {
            // Another account may be; the service says so, and looks at no PIN.
            if (!controller.TokenLogin(found, "", false, nullptr)) throw lastFailureError();
            return printDone(controller, context, found,
                             say("The service is already logged in to token \"%s\".", labelOf(found)));
        }
        const bool mayBeFinal = mayBeFinalTry(found, flag::userPinFinalTry, finalTry);
        const Secret secret = pin->read(labelOf(found));
        logIn(controller, found, secret.text(), mayBeFinal);
        printDone(controller, context, found, say("Logged in to token \"%s\".", labelOf(found)));
    }
};

struct TokenLogout {
    TokenName token;

    void options(CLI::App& verb) { token.argument(verb); }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const TokenInfo found = findToken(controller, token);
        if (!controller.TokenLogout(found)) throw lastFailureError();
        printDone(controller, context, found, say("Logged out of token \"%s\".", labelOf(found)));
    }
};

struct TokenInit {
    TokenName token;
    std::string label;
    std::optional<SecretSource> soPin, pin;
    bool yes = false;
    bool finalTry = false;

    void options(CLI::App& verb) {
        token.argument(verb);
        verb.add_option("--label", label, say("The token's new label, 1 to 32 bytes"))->required();
        soPin.emplace(verb, "so-pin", say("SO PIN"));
        pin.emplace(verb, "pin", say("PIN"));
        addYes(verb, yes);
        addFinalTry(verb, finalTry);
    }

    void run(const Context& context) const {
        requireFitLabel();
        TokensWithDots controller(context);
        const TokenInfo found = token.name.empty() ? findUninitialized(controller) : findToken(controller, token);
        const bool erases = (found.flags & flag::initialized) != 0;
        if (erases && !yes) confirm(found);
        mayBeFinalTry(found, flag::soPinFinalTry, finalTry);
        const Secret officer = soPin->read(nameOf(found), !erases);
        const Secret user = pin->read(escaped(label), true);
        if (erases) requireUnchanged(controller, found);
        if (!controller.TokenInitialize(found, label, officer.text(), user.text(), erases)) throw lastFailureError();
        TokenInfo made = found;
        made.*field::label = label;
        printDone(controller, context, made,
                  say("Token \"%s\" is initialised, in slot %d of provider \"%s\".", escaped(label),
                      static_cast<std::int64_t>(found.slotId), escaped(found.*field::provider)));
    }

private:
    static constexpr std::size_t longestLabel = 32; // bytes, as PKCS#11 has it

    // Before anybody types PINs for nothing.
    void requireFitLabel() const {
        if (!label.empty() && label.size() <= longestLabel) return;
        throw CommandError(Exit::badInput, say("a token's label has 1 to 32 bytes; this one has %d", label.size()));
    }

    // A blank token has no label: its place says which it is.
    static std::string nameOf(const TokenInfo& token) {
        if (!(token.*field::label).empty()) return labelOf(token);
        const std::string provider = escaped(token.*field::provider), serial = escaped(token.*field::serial);
        const auto slot = static_cast<std::int64_t>(token.slotId);
        return serial.empty() ? say("blank, slot %d of provider %s", slot, provider)
                              : say("blank, slot %d of provider %s, serial number %s", slot, provider, serial);
    }

    TokenInfo findUninitialized(VpnTokensController& controller) const {
        std::vector<TokenInfo> blank = listTokens(controller, token.provider);
        std::erase_if(blank, [](const TokenInfo& candidate) { return (candidate.flags & flag::initialized) != 0; });
        if (blank.size() > 1) {
            failAmbiguous(say("there are several uninitialised tokens; choose one by URI, or with --provider:"), blank);
        }
        if (blank.empty()) throw notFoundError(say("there is no uninitialised token; name the token to erase"));
        return blank.front();
    }

    static void confirm(const TokenInfo& token) {
        if (!inputIsTerminal()) {
            throw CommandError(Exit::notConfirmed,
                               say("token \"%s\" is already initialised; use --yes to erase it without confirmation",
                                   token.*field::label));
        }
        printNote(say("Token \"%s\" (serial number %s) will be erased with all certificates and keys on it.",
                      labelOf(token), escaped(token.*field::serial)));
        const std::string answer = ask(say("Type its label to continue: "));
        if (answer.empty() ||
            answer != token.*field::label) { // a token may have no label: an empty answer is not a consent
            throw CommandError(Exit::notConfirmed, say("the label was not typed; nothing was erased"));
        }
    }

    // The token may have been exchanged while PINs were typed.
    static void requireUnchanged(VpnTokensController& controller, const TokenInfo& token) {
        for (const TokenInfo& now : listTokens(controller)) {
            if (now.*field::label == token.*field::label && now.*field::serial == token.*field::serial) return;
        }
        throw CommandError(Exit::notFound, say("the token has been replaced by another one; nothing was done"));
    }
};

struct TokenChangePin {
    TokenName token;
    std::optional<SecretSource> oldPin, newPin;
    bool ofSecurityOfficer = false;
    bool finalTry = false;

    void options(CLI::App& verb) {
        token.argument(verb);
        oldPin.emplace(verb, "pin", say("PIN"));
        newPin.emplace(verb, "new-pin", say("new PIN"));
        verb.add_flag("--so", ofSecurityOfficer, say("Change the SO PIN instead"));
        addFinalTry(verb, finalTry);
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
        printDone(controller, context, found, say("The PIN of token \"%s\" is changed.", labelOf(found)));
    }
};

struct TokenSeed {
    TokenName token;
    std::string file;

    void options(CLI::App& verb) {
        token.argument(verb);
        verb.add_option("--seed-file", file, say("Read the seed from this file"))->type_name("FILE");
    }
    void run(const Context& context) const {
        CLIVpnTokensController controller;
        const TokenInfo found = findToken(controller, token);
        std::string seed = file.empty() ? fromSystem() : fromFile();
        const platform::WipeOnExit wiped(seed);
        if (!controller.InitTokenRNG(found, seed)) throw lastFailureError();
        printDone(controller, context, found,
                  say("The random-number generator of token \"%s\" is seeded.", labelOf(found)));
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
        std::vector<std::string> loggedIn;
        for (const TokenInfo& token : listTokens(controller)) {
            if (token.flags & flag::loggedIn) loggedIn.push_back(labelOf(token));
        }
        if (!loggedIn.empty()) printNote(say("This logs the service out of: %s", platform::joined(loggedIn)));
        if (!controller.ReloadAll()) throw lastFailureError();
        if (context.json) return printTokens(listTokens(controller));
        printLine(say("All providers have been reloaded; the service is logged out of all tokens."));
    }
};

} // namespace

void addTokenVerbs(CLI::App& group, const Context& context) {
    addVerb<TokenList>(group, context, "list", say("List the tokens"));
    addVerb<TokenLogin>(group, context, "login", say("Log the service in to a token"));
    addVerb<TokenLogout>(group, context, "logout", say("Log the service out of a token"));
    addVerb<TokenInit>(group, context, "init",
                       say("Initialise a token: erases it, and sets its label, SO PIN and PIN"));
    addVerb<TokenChangePin>(group, context, "change-pin", say("Change the PIN of a token"));
    addVerb<TokenSeed>(group, context, "seed",
                       say("Seed a token's random-number generator, from the system's generator or from a file"));
    addVerb<TokenReload>(group, context, "reload", say("Reload all providers (logs out of all tokens)"));
    addTokenStatesVerb(group, context);
}

} // namespace panelctl
