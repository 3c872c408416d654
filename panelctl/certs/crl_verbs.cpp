// SPDX-License-Identifier: MIT
//
// panelctl crl ...
#include <panelctl/base/confirm.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/certs/cert_outcomes.h>
#include <panelctl/certs/import_source.h>
#include <panelctl/tokens/log_in.h>

#include <platform/system/clock.h>

namespace panelctl {

using PKCS11::TokenInfo;
using vocabulary::ImportCrl;
using Crl = OnToken<CRLInfo>;

namespace {

// A list without a next update never gets out of date.
bool isOutdated(const CRLInfo& crl) { return crl.nextUpdate != 0 && crl.nextUpdate < platform::secondsNow(); }

nlohmann::ordered_json toJson(const Crl& entry) {
    const CRLInfo& crl = entry.object;
    return {{"schema", 1},
            {"issuer", crl.issuer},
            {"number", crl.number},
            {"thisUpdate", timeJson(crl.thisUpdate)},
            {"nextUpdate", timeJson(crl.nextUpdate)},
            {"outdated", isOutdated(crl)},
            {"revoked", crl.revokedCount},
            {"authorityKeyId", crl.authorityKeyId},
            {"fingerprint", crl.fingerprint},
            {"token", tokenJson(entry.token)}};
}

struct CrlList {
    TokenName token;
    bool outdated = false;

    void options(CLI::App& verb) {
        addOnToken(verb, token);
        verb.add_flag("--outdated", outdated, say("Only those whose next update is overdue"));
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        std::vector<Crl> listed = listCrls(*controller, token);
        if (outdated) std::erase_if(listed, [](const Crl& entry) { return !isOutdated(entry.object); });
        sortByName(listed, [](const CRLInfo& crl) { return commonName(crl.issuer); });
        context.json ? printAsJson(listed) : print(listed);
        requireAllSeen();
    }

private:
    static void printAsJson(const std::vector<Crl>& listed) {
        auto list = nlohmann::ordered_json::array();
        for (const Crl& entry : listed) list.push_back(toJson(entry));
        printJson(list);
    }
    static void print(const std::vector<Crl>& listed) {
        if (listed.empty()) return printNone(say("There are no such CRLs."));
        Table table({say("ISSUER"), say("CRL NUMBER"), say("ISSUED"), say("NEXT UPDATE"), say("DAYS"), say("REVOKED"),
                     say("TOKEN")});
        for (const auto& [crl, token] : listed) {
            const bool ends = crl.nextUpdate != 0;
            table.add({{commonName(crl.issuer)},
                       {crl.number},
                       {platform::dateText(crl.thisUpdate)},
                       {ends ? platform::dateText(crl.nextUpdate) : say("never")},
                       ends ? daysLeftCell(crl.nextUpdate) : Cell{},
                       {std::to_string(crl.revokedCount)},
                       {nameOf(token)}});
        }
        table.print();
    }
};

struct CrlImport {
    ImportSource source;
    TokenName token;

    void options(CLI::App& verb) {
        source.options(verb);
        addToToken(verb, token);
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        const FileContents file = source.parse(*controller);
        if (file.crls.empty()) throw CommandError(Exit::badInput, say("%s holds no CRL", source.name()));
        const TokenInfo target = token.empty() ? findToken(file.tokens, {}) : findToken(*controller, token);
        logInFor(target);
        Imports imports(context, file.crls.size());
        for (std::size_t place = 0; place < file.crls.size(); ++place) {
            importOne(*controller, {file.crls[place], target}, place, imports);
            imports.commandEnded();
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
        imports.add(
            toJson(entry), issuer,
            say("The CRL of \"%s\" is imported to token \"%s\".", escaped(issuer), escaped(nameOf(entry.token))),
            error);
    }
};

struct CrlDelete {
    ObjectName name;
    bool yes = false;

    void options(CLI::App& verb) {
        name.options(verb, "crl", say("The CRL: its issuer or a part of it, or its fingerprint"));
        addYes(verb, yes);
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        ObjectName wanted = name;
        wanted.exactly = yes; // no person checks what a part of a name finds
        const auto [crl, token] = findCrl(*controller, wanted);
        const std::string issuer = commonName(crl.issuer);
        confirmDeletion(sayPlural("The CRL of %s, which revokes %d certificate, will be deleted from token \"%s\": "
                                  "that certificate may count as valid again.",
                                  "The CRL of %s, which revokes %d certificates, will be deleted from token \"%s\": "
                                  "those certificates may count as valid again.",
                                  crl.revokedCount, crl.issuer, crl.revokedCount, nameOf(token)),
                        issuer, yes);
        requireStillThere({crl, token}, listCrls(*controller), issuer);
        logInFor(token);
        if (!controller->DeleteCRL(token, crl)) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"deleted", toJson({crl, token})}});
        printLine(say("The CRL of \"%s\" is deleted from token \"%s\".", escaped(issuer), escaped(nameOf(token))));
    }
};

} // namespace

void addCrlVerbs(CLI::App& group, const Context& context) {
    addVerb<CrlList>(group, context, "list", say("List the CRLs on the tokens"));
    addVerb<CrlImport>(group, context, "import", say("Import the CRLs of a file"));
    addVerb<CrlDelete>(group, context, "delete", say("Delete a CRL from its token"));
}

} // namespace panelctl
