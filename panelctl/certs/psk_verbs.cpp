// SPDX-License-Identifier: MIT
//
// panelctl psk ...: preshared keys. Their values are written to the token and never read back.
#include <panelctl/base/confirm.h>
#include <panelctl/base/secrets.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/tokens/log_in.h>

#include <optional>

namespace panelctl {

using PKCS11::TokenInfo;
using PresharedKey = OnToken<PresharedKeyInfo>;

namespace {

nlohmann::ordered_json toJson(const PresharedKey& entry) {
    return {{"schema", 1}, {"name", entry.object.name}, {"token", tokenJson(entry.token)}};
}

struct PskList {
    TokenName token;

    void options(CLI::App& verb) { addOnToken(verb, token); }
    void run(const Context& context) const {
        const auto controller = certsController(context);
        std::vector<PresharedKey> listed = listPresharedKeys(*controller, token);
        sortByName(listed, [](const PresharedKeyInfo& key) { return key.name; });
        context.json ? printAsJson(listed) : print(listed);
        requireAllSeen();
    }

private:
    static void printAsJson(const std::vector<PresharedKey>& listed) {
        auto list = nlohmann::ordered_json::array();
        for (const PresharedKey& entry : listed) list.push_back(toJson(entry));
        printJson(list);
    }
    static void print(const std::vector<PresharedKey>& listed) {
        if (listed.empty()) return printNone(say("There are no preshared keys."));
        Table table({say("NAME"), say("TOKEN")});
        for (const auto& [key, on] : listed) table.add({{key.name}, {nameOf(on)}});
        table.print();
    }
};

struct PskCreate {
    std::string name;
    TokenName token;
    std::optional<SecretSource> value;

    void options(CLI::App& verb) {
        verb.add_option("name", name, say("Name of the new key, 1 to 64 characters"))->required();
        addToToken(verb, token);
        value.emplace(verb, "value", say("value"), SecretQuestion(N_("%s of key \"%s\": ")));
    }
    void run(const Context& context) const {
        const auto controller = certsController(context);
        const TokenInfo target = findToken(*controller, token);
        const Secret secret = value->read(escaped(name), true);
        logInFor(target);
        if (!controller->CreatePresharedKey(target, name, secret.text())) throw lastFailureError();
        if (context.json) return printJson(toJson({{name}, target}));
        printLine(say("Preshared key \"%s\" is created on token \"%s\".", escaped(name), escaped(nameOf(target))));
    }
};

struct PskDelete {
    ObjectName name;
    bool yes = false;

    void options(CLI::App& verb) {
        name.options(verb, "name", say("Name of the key"));
        addYes(verb, yes);
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        const PresharedKey found = openedFor(name.token, [&] { return findPresharedKey(*controller, name); });
        const std::string& key = found.object.name;
        confirmDeletion(say("Preshared key \"%s\" will be deleted from token \"%s\".", key, nameOf(found.token)), key,
                        yes);
        requireStillThere(found, listPresharedKeys(*controller), key);
        if (!controller->DeletePresharedKey(found.token, found.object)) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"deleted", toJson(found)}});
        printLine(
            say("Preshared key \"%s\" is deleted from token \"%s\".", escaped(key), escaped(nameOf(found.token))));
    }
};

} // namespace

void addPskVerbs(CLI::App& group, const Context& context) {
    addVerb<PskList>(group, context, "list", say("List the preshared keys on the tokens"));
    addVerb<PskCreate>(group, context, "create", say("Create a preshared key on a token"));
    addVerb<PskDelete>(group, context, "delete", say("Delete a preshared key from its token"));
}

} // namespace panelctl
