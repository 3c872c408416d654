// SPDX-License-Identifier: MIT
//
// panelctl crl ...
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/certs/cert_outcomes.h>
#include <panelctl/certs/import_file.h>
#include <panelctl/confirm.h>
#include <panelctl/display_width.h>
#include <panelctl/verbs.h>

#include <optional>

namespace panelctl {

using PKCS11::TokenInfo;
using vocabulary::ImportCrl;
using Crl = OnToken<CRLInfo>;

namespace {

// A list without a next update never gets out of date.
bool isOutdated(const CRLInfo& crl) { return crl.nextUpdate != 0 && crl.nextUpdate < timeNow(); }

nlohmann::ordered_json toJson(const Crl& entry) {
    const CRLInfo& crl = entry.object;
    return {{"schema", 1},
            {"issuer", crl.issuer},
            {"number", crl.number},
            {"thisUpdate", isoText(crl.thisUpdate)},
            {"nextUpdate", crl.nextUpdate ? nlohmann::ordered_json(isoText(crl.nextUpdate)) : nullptr},
            {"outdated", isOutdated(crl)},
            {"revoked", crl.revokedCount},
            {"authorityKeyId", crl.authorityKeyId},
            {"fingerprint", crl.fingerprint},
            {"token", tokenJson(entry.token)}};
}

struct CrlList {
    std::string token;
    bool outdated = false;

    void options(CLI::App& verb) {
        verb.add_option("--token", token, text(Say::optionOnToken));
        verb.add_flag("--outdated", outdated, text(Say::optionOutdated));
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        std::vector<Crl> listed = listCrls(*controller, token);
        if (outdated) std::erase_if(listed, [](const Crl& entry) { return !isOutdated(entry.object); });
        if (context.json) {
            auto list = nlohmann::ordered_json::array();
            for (const Crl& entry : listed) list.push_back(toJson(entry));
            return printJson(list);
        }
        if (listed.empty()) return printNote(text(Say::noCrls));
        print(listed);
    }

private:
    static void print(const std::vector<Crl>& listed) {
        Table table({text(Say::headingIssuer), text(Say::headingCrlNumber), text(Say::headingThisUpdate),
                     text(Say::headingNextUpdate), text(Say::headingDays), text(Say::headingRevoked),
                     text(Say::headingToken)});
        for (const auto& [crl, token] : listed) {
            const bool ends = crl.nextUpdate != 0;
            table.add({{commonName(crl.issuer)},
                       {crl.number},
                       {dateText(crl.thisUpdate)},
                       {ends ? dateText(crl.nextUpdate) : text(Say::never)},
                       ends ? daysLeftCell(crl.nextUpdate) : Cell{},
                       {std::to_string(crl.revokedCount)},
                       {nameOf(token)}});
        }
        table.print();
    }
};

struct CrlImport {
    std::string path, token;
    std::optional<SecretSource> password;

    void options(CLI::App& verb) {
        verb.add_option("file", path, text(Say::argumentImportFile))->required();
        verb.add_option("--token", token, text(Say::optionToToken));
        password.emplace(verb, "password", Say::secretPassword, Say::promptSecretOfFile);
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        const ParsedFile file = parseFile(*controller, path, *password);
        if (file.crls.empty()) throw CommandError(Exit::badInput, phrase(Say::fileHasNoCrl, {path}));
        const TokenInfo target = token.empty() ? findToken(file.tokens, {}) : findToken(*controller, token);
        Imports imports(context.json);
        for (std::size_t place = 0; place < file.crls.size(); ++place) {
            importOne(*controller, {file.crls[place], target}, place, imports);
        }
        imports.finish();
    }

private:
    static void importOne(VpnCertsController& controller, const Crl& entry, std::size_t place, Imports& imports) {
        const ImportCRLResult result = controller.ImportCRL(entry.token, static_cast<std::uint32_t>(place));
        const std::string issuer = commonName(entry.object.issuer);
        std::optional<CommandError> error;
        if (result != static_cast<ImportCRLResult>(ImportCrl::imported)) {
            error = errorOf(result, {issuer, nameOf(entry.token)});
        }
        imports.add(toJson(entry), phrase(Say::crlImported, {escaped(issuer), escaped(nameOf(entry.token))}), error);
    }
};

struct CrlDelete {
    ObjectName name;
    bool yes = false;

    void options(CLI::App& verb) {
        name.options(verb, "crl", Say::argumentCrl);
        verb.add_flag("--yes", yes, text(Say::optionYes));
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        ObjectName wanted = name;
        wanted.exactly = yes; // nobody looks at what a part of a name would find
        const auto [crl, token] = findCrl(*controller, wanted);
        const std::string issuer = commonName(crl.issuer);
        confirmDeletion(phrase(Say::crlDeleteWarning, {crl.issuer, std::to_string(crl.revokedCount), nameOf(token)}),
                        issuer, yes);
        requireStillThere({crl, token}, listCrls(*controller), issuer);
        if (!controller->DeleteCRL(token, crl)) throw lastFailureError();
        printLine(phrase(Say::crlDeleted, {escaped(issuer), escaped(nameOf(token))}));
    }
};

} // namespace

void addCrlVerbs(CLI::App& group, const Context& context) {
    addVerb<CrlList>(group, context, "list", Say::verbCrlList);
    addVerb<CrlImport>(group, context, "import", Say::verbCrlImport);
    addVerb<CrlDelete>(group, context, "delete", Say::verbCrlDelete);
}

} // namespace panelctl
