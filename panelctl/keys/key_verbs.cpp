// SPDX-License-Identifier: MIT
//
// panelctl key ...: the key pairs on tokens. Private keys never leave their tokens here.
#include <panelctl/base/confirm.h>
#include <panelctl/base/progress.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/key_choice.h>
#include <panelctl/keys/key_names.h>
#include <panelctl/tokens/log_in.h>

#include <platform/text/join.h>

namespace panelctl {

using panelkit::KeyInfo;
using PKCS11::TokenInfo;

namespace {

void nameOfKey(ObjectName& name, CLI::App& verb) {
    name.options(verb, "name", say("The key: its label, identifier, fingerprint, or PKCS#11 URI"));
}

std::string keyText(const KeyInfo& key) {
    return key.keyBits == 0 ? keyTypeName(key.keyType) : panelctl::keyText(key.keyType, key.keyBits);
}

struct KeyList {
    TokenName token;

    void options(CLI::App& verb) { addOnToken(verb, token); }
    void run(const Context& context) const {
        MonitorWithDots controller(context);
        std::vector<KeyOnToken> listed = listKeys(controller, token);
        sortByName(listed, [](const KeyInfo& key) { return nameOf(key); });
        context.json ? printAsJson(listed) : print(listed);
        requireAllSeen();
    }

private:
    static void printAsJson(const std::vector<KeyOnToken>& listed) {
        auto list = nlohmann::ordered_json::array();
        for (const KeyOnToken& entry : listed) list.push_back(toJson(entry));
        printJson(list);
    }
    static void print(const std::vector<KeyOnToken>& listed) {
        if (listed.empty()) return printNone(say("There are no keys."));
        Table table({say("NAME"), say("KEY"), say("PRIVATE KEY"), say("CERTIFICATES"), say("KEY ID"), say("TOKEN")});
        for (const KeyOnToken& entry : listed) {
            const std::size_t certificates = entry.object.certificates.size();
            table.add({{nameOf(entry.object)},
                       {keyText(entry.object)},
                       privateKeyCell(entry),
                       {certificates == 0 ? "" : std::to_string(certificates)},
                       {entry.object.id},
                       {nameOf(entry.token)}});
        }
        table.print();
    }
};

struct KeyShow {
    ObjectName name;
    bool pem = false;

    void options(CLI::App& verb) {
        nameOfKey(name, verb);
        verb.add_flag("--pem", pem, say("Print the public key as PEM"));
    }

    void run(const Context& context) const {
        MonitorWithDots controller(context);
        const KeyOnToken found = findKey(controller, name);
        std::string publicKey;
        if (pem && !controller.GetPublicKey(found.token, found.object, publicKey)) throw lastFailureError();
        if (context.json) {
            nlohmann::ordered_json json = toJson(found);
            if (pem) json["publicKey"] = publicKey;
            return printJson(json);
        }
        if (pem) return printRaw(publicKey);
        print(found, certificatesOf(found, context));
    }

private:
    // By their subjects; by the fingerprint one that can't be listed.
    static std::string certificatesOf(const KeyOnToken& found, const Context& context) {
        std::vector<std::string> names;
        std::vector<OnToken<CertInfo>> listed;
        if (!found.object.certificates.empty()) {
            listed = listCertificates(*certsController(context), vocabulary::CertSelector::all);
        }
        for (const std::string& fingerprint : found.object.certificates) {
            std::string text = fingerprint;
            for (const OnToken<CertInfo>& entry : listed) {
                if (entry.object.fingerprint == fingerprint) text = nameOf(entry.object);
            }
            names.push_back(text);
        }
        return platform::joined(names);
    }

    static void print(const KeyOnToken& found, const std::string& certificates) {
        const KeyInfo& key = found.object;
        Sheet sheet;
        sheet.add(say("Label"), {key.label});
        sheet.add(say("Key identifier"), {key.id});
        sheet.add(say("Key"), {keyText(key)});
        sheet.add(say("Private key"), privateKeyCell(found));
        sheet.add(say("Public key"), {key.hasPublicKey ? say("on the token") : say("not on the token")});
        if (key.hasPrivateKey) {
            sheet.add(say("Export"), {key.extractable ? say("the private key can be exported")
                                                      : say("the private key can't be exported")});
        }
        if (key.asksForPin) sheet.add(say("PIN"), {say("asked for at each use")});
        sheet.add(say("Certificates"), {certificates});
        sheet.add(say("Token"), {nameOf(found.token)});
        sheet.add("SHA-256", {key.fingerprint});
        sheet.print();
    }
};

struct KeyGenerate {
    std::string label, kind;
    TokenName token;

    void options(CLI::App& verb) {
        verb.add_option("label", label, say("Label of the new key, 1 to 64 characters"))->required();
        addToToken(verb, token);
        verb.add_option("--key", kind, say("Type and size of the key, such as rsa:3072 or ec:256"))
            ->type_name("TYPE[:BITS]");
    }

    void run(const Context& context) const {
        MonitorWithDots controller(context);
        const auto certificates = certsController(context);
        const TokenInfo target = findToken(*certificates, token);
        std::vector<CertRequestKeyInfo> choices;
        if (!certificates->GetCertRequestKeyInfo(target, choices)) throw lastFailureError();
        CertRequestInfo wish;
        KeyChoice(kind, {}).applyTo(wish, choices);
        logInFor(target);
        KeyInfo made;
        if (!controller.GenerateKey(target, wish.keyType, wish.keyBits, label, made)) throw lastFailureError();
        if (context.json) return printJson(toJson({made, target}));
        printLine(say("Key \"%s\" (%s) is made on token \"%s\".", escaped(nameOf(made)), keyText(made),
                      escaped(nameOf(target))));
    }
};

struct KeyDelete {
    ObjectName name;
    bool yes = false;

    void options(CLI::App& verb) {
        nameOfKey(name, verb);
        addYes(verb, yes);
    }

    void run(const Context& context) const {
        MonitorWithDots controller(context);
        const KeyOnToken found = openedFor(name.token, [&] { return findKey(controller, name); });
        const std::string key = nameOf(found.object);
        confirmDeletion(warning(found), key, yes);
        requireStillThere(found, listKeys(controller), key);
        logInFor(found.token);
        if (!controller.DeleteKey(found.token, found.object)) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"deleted", toJson(found)}});
        printLine(say("Key \"%s\" is deleted from token \"%s\".", escaped(key), escaped(nameOf(found.token))));
    }

private:
    static std::string warning(const KeyOnToken& found) {
        const std::string text = say("Key \"%s\" (%s) will be deleted from token \"%s\".", nameOf(found.object),
                                     keyText(found.object), nameOf(found.token));
        const std::size_t certificates = found.object.certificates.size();
        if (certificates == 0) return text;
        return text + ' ' +
               sayPlural("%d certificate on the token can't be used without it.",
                         "%d certificates on the token can't be used without it.", certificates, certificates);
    }
};

} // namespace

void addKeyVerbs(CLI::App& group, const Context& context) {
    addVerb<KeyList>(group, context, "list", say("List the key pairs on the tokens"));
    addVerb<KeyShow>(group, context, "show", say("Show everything about a key pair"));
    addVerb<KeyGenerate>(group, context, "generate",
                         say("Make a key pair on a token; its private key never leaves it"));
    addVerb<KeyDelete>(group, context, "delete", say("Delete a key pair from its token; its certificates stay"));
}

} // namespace panelctl
