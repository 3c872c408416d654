// SPDX-License-Identifier: MIT
//
// panelctl cert import, export, delete: the verbs that move certificates to and from tokens.
#include <panelctl/base/confirm.h>
#include <panelctl/base/mistakes.h>
#include <panelctl/base/progress.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/certs/cert_outcomes.h>
#include <panelctl/certs/destination.h>
#include <panelctl/certs/import_source.h>
#include <panelctl/tokens/log_in.h>

#include <platform/system/clock.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace panelctl {

using PKCS11::TokenInfo;
using vocabulary::CertExport;
using vocabulary::CertImport;
using vocabulary::ImportCert;
using Certificate = OnToken<CertInfo>;

namespace {

bool offers(const CertImportOption& option, CertImport mode) {
    return (option.modes >> static_cast<std::uint32_t>(mode) & 1U) != 0;
}

// ---- import

// One certificate of the file, and where it goes.
struct PlannedImport {
    std::size_t place = 0; // in the file
    TokenInfo target;
    CertImport mode = CertImport::certificateOnly;
};

struct CertImportVerb {
    ImportSource source;
    std::string only;
    TokenName token;
    std::optional<SecretSource> pin;
    bool listOnly = false, withoutKey = false, withoutChain = false, extractable = false;

    void options(CLI::App& verb) {
        source.options(verb);
        source.keyOption(verb);
        addToToken(verb, token);
        verb.add_option(
                "--only", only,
                say("Only this certificate of the file: its subject or a part of it, serial number, or fingerprint"))
            ->type_name("NAME");
        verb.add_flag("--list", listOnly, say("Show what is in the file, without importing anything"));
        verb.add_flag("--no-key", withoutKey, say("Do not import private keys"));
        verb.add_flag("--no-chain", withoutChain, say("Do not import the authorities of the certificate's chain"));
        verb.add_flag("--extractable", extractable, say("Allow the private key to be exported from the token later"));
        pin.emplace(verb, "pin", say("PIN"));
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        const FileContents file = source.parse(*controller);
        if (listOnly) return list(context, file);
        const std::vector<PlannedImport> plan = planned(*controller, file);
        const std::optional<Secret> secret = pin->isGiven() ? std::optional(pin->read(token.name)) : std::nullopt;
        if (!secret) logInFor(plan.front().target);
        Imports imports(context, plan.size());
        for (const PlannedImport& one : plan) {
            importOne(*controller, file, one, secret ? secret->text().c_str() : nullptr, imports);
        }
        imports.finish();
        if (!file.crls.empty()) {
            printNote(sayPlural("%s also holds %d CRL: \"panelctl crl import\" imports it.",
                                "%s also holds %d CRLs: \"panelctl crl import\" imports them.", file.crls.size(),
                                escaped(source.name()), file.crls.size()));
        }
    }

private:
    // Decided for all before anything is written, so that nothing is half done when one of them has no place.
    std::vector<PlannedImport> planned(VpnCertsController& controller, const FileContents& file) const {
        const std::optional<TokenInfo> common = commonTarget(controller, file);
        std::vector<PlannedImport> plan;
        for (const std::size_t place : chosen(file)) {
            const CertImportOption& option = file.certificates[place];
            plan.push_back({place, common ? *common : tokenFor(option, file), modeFor(option, file)});
        }
        return plan;
    }

    // Those with a key, since the others are in the file only for their chains; if none has a key, all.
    std::vector<std::size_t> chosen(const FileContents& file) const {
        std::vector<CertInfo> certificates(file.certificates.size());
        std::transform(file.certificates.begin(), file.certificates.end(), certificates.begin(),
                       [](const CertImportOption& option) { return option.certificate; });
        std::vector<std::size_t> places = placesOf(certificates, only);
        if (!only.empty() && places.size() > 1) failAmbiguous(certificates, places);
        if (places.empty()) {
            throw CommandError(
                Exit::notFound,
                only.empty() ? say("%s holds no certificate; \"panelctl crl import\" imports its CRLs", source.name())
                             : say("%s holds no certificate \"%s\"", source.name(), only));
        }
        if (only.empty() && !withoutKey && anyKey(file)) {
            std::erase_if(places, [&](std::size_t at) { return !hasKey(file.certificates[at]); });
        }
        return places;
    }

    static bool hasKey(const CertImportOption& option) { return offers(option, CertImport::withPrivateKey); }
    static bool anyKey(const FileContents& file) {
        return std::any_of(file.certificates.begin(), file.certificates.end(), hasKey);
    }

    [[noreturn]] void failAmbiguous(const std::vector<CertInfo>& certificates,
                                    const std::vector<std::size_t>& places) const {
        std::vector<std::string> lines(places.size());
        std::transform(places.begin(), places.end(), lines.begin(), [&](std::size_t at) {
            return "  " + certificates[at].fingerprint.substr(0, 16) + "  " + escaped(certificates[at].subject);
        });
        panelctl::failAmbiguous(only, std::move(lines));
    }

    // The chain is imported with a chosen certificate; where all are imported, its members are among them.
    CertImport modeFor(const CertImportOption& option, const FileContents& file) const {
        const bool key = hasKey(option) && !withoutKey;
        const bool meant = key || !only.empty() || file.certificates.size() == 1;
        const bool bringsUnwantedKey = hasKey(option) && withoutKey;
        if (meant && !withoutChain && !bringsUnwantedKey && offers(option, CertImport::withChain)) {
            return CertImport::withChain;
        }
        return key ? CertImport::withPrivateKey : CertImport::certificateOnly;
    }

    // The token that was named; else, of a file with one key, the token that already holds that key, as after a
    // request.
    std::optional<TokenInfo> commonTarget(VpnCertsController& controller, const FileContents& file) const {
        if (!token.empty()) return findToken(controller, token); // also one that the service does not propose
        std::set<std::uint32_t> holders;
        for (const CertImportOption& option : file.certificates) {
            holders.insert(option.keyTokens.begin(), option.keyTokens.end());
        }
        if (holders.size() != 1 || *holders.begin() >= file.tokens.size()) return std::nullopt;
        return file.tokens[*holders.begin()];
    }

    static TokenInfo tokenFor(const CertImportOption& option, const FileContents& file) {
        if (option.keyTokens.size() == 1 && option.keyTokens[0] < file.tokens.size()) {
            return file.tokens[option.keyTokens[0]];
        }
        return findToken(file.tokens, {});
    }

    void importOne(VpnCertsController& controller, const FileContents& file, const PlannedImport& planned,
                   const char* secret, Imports& imports) const {
        const auto& [place, target, mode] = planned;
        const CertImportOption& option = file.certificates[place];
        const ImportCertResult result = controller.ImportCertificate(
            target, static_cast<std::uint32_t>(place), static_cast<CertImportMode>(mode), extractable, secret);
        const std::string name = nameOf(option.certificate);
        std::optional<CommandError> error;
        if (result != static_cast<ImportCertResult>(ImportCert::imported)) {
            error = errorOf(result, {name, nameOf(target)});
        }
        const std::string shown = escaped(name), on = escaped(nameOf(target));
        const std::string line =
            mode == CertImport::withChain
                ? say("Certificate \"%s\" is imported to token \"%s\", with the authorities of its chain.", shown, on)
                : say("Certificate \"%s\" is imported to token \"%s\".", shown, on);
        imports.add(toJson(option.certificate, target), name, line, error);
    }

    static void list(const Context& context, const FileContents& file) {
        auto all = nlohmann::ordered_json::array();
        Table table({say("NAME"), say("ISSUER"), say("SERIAL"), say("EXPIRES"), say("DAYS"), say("KEY")});
        for (const auto& [certificate, modes, keyTokens] : file.certificates) {
            all.push_back(toJson(certificate));
            table.add({{nameOf(certificate)},
                       {commonName(certificate.issuer)},
                       {certificate.serialNumber},
                       {platform::dateText(certificate.notAfter)},
                       daysLeftCell(certificate.notAfter),
                       {certificate.hasPrivateKey ? say("present") : ""}});
        }
        if (context.json) return printJson(all);
        table.print();
        for (const CRLInfo& crl : file.crls) printLine(say("and a CRL of %s", escaped(crl.issuer)));
    }
};

// ---- export

struct CertExportVerb {
    ObjectName name;
    std::string formatName;
    Destination destination;
    std::optional<SecretSource> password;
    bool withChain = false, withKey = false;

    void options(CLI::App& verb) {
        name.ofCertificate(verb);
        acceptOnly(verb.add_option("--format", formatName, say("Format (default: pem, or pkcs12 with --key)")),
                   {"pem", "der", "pkcs7", "pkcs7-der", "pkcs12"});
        verb.add_flag("--chain", withChain, say("Include the certificates of its chain (all formats except der)"));
        verb.add_flag("--key", withKey, say("Include its private key (pkcs12)"));
        destination.options(verb);
        password.emplace(verb, "password", say("new password"), SecretQuestion(N_("%s for certificate \"%s\": ")));
    }

    void run(const Context& context) const {
        const CertExport format = formatOf();
        destination.requireFit(format == CertExport::pem || format == CertExport::pkcs7Pem);
        const auto controller = certsController(context);
        const Certificate found = findCertificate(*controller, name);
        const std::string shown = escaped(nameOf(found.object));
        if (withKey) logInFor(found.token);
        const bool secretKey = format == CertExport::pkcs12 && (withKey || password->isGiven());
        const Secret secret = secretKey ? password->read(shown, true) : Secret();
        std::string content;
        const platform::WipeOnExit wiped(content); // it may hold the private key
        const ExportCertResult result =
            controller->ExportCertificate(found.token, found.object, static_cast<CertExportFormat>(format),
                                          secret.text(), withChain, withKey, content);
        if (result != static_cast<ExportCertResult>(vocabulary::ExportCert::exported)) {
            throw errorOf(result, {nameOf(found.object), nameOf(found.token), content});
        }
        destination.write(content);
        if (!destination.file.empty()) {
            if (context.json) {
                return printJson(
                    {{"schema", 1}, {"exported", toJson(found.object, found.token)}, {"file", destination.file}});
            }
            printLine(say("Certificate \"%s\" is written to %s.", shown, escaped(destination.file)));
        }
    }

private:
    CertExport formatOf() const {
        static const std::map<std::string, CertExport> formats{{"pem", CertExport::pem},
                                                               {"der", CertExport::der},
                                                               {"pkcs7", CertExport::pkcs7Pem},
                                                               {"pkcs7-der", CertExport::pkcs7Der},
                                                               {"pkcs12", CertExport::pkcs12}};
        if (formatName.empty()) return withKey ? CertExport::pkcs12 : CertExport::pem;
        return formats.at(formatName);
    }
};

// ---- delete

struct CertDelete {
    ObjectName name;
    bool yes = false, withKey = false;

    void options(CLI::App& verb) {
        name.ofCertificate(verb);
        verb.add_flag("--with-key", withKey, say("Delete its key pair too"));
        addYes(verb, yes);
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        ObjectName wanted = name;
        wanted.exactly = yes; // no person checks what a part of a name finds
        const Certificate found = findCertificate(*controller, wanted);
        const std::string label = labelOf(*controller, found);
        confirmDeletion(warning(found), label.empty() ? nameOf(found.object) : label, yes);
        requireStillThere(found, listCertificates(*controller, vocabulary::CertSelector::all), nameOf(found.object));
        logInFor(found.token);
        const bool done = withKey ? MonitorWithDots(context).DeleteCertificateWithKey(found.token, found.object)
                                  : controller->DeleteCertificate(found.token, found.object);
        if (!done) throw lastFailureError();
        if (context.json) {
            return printJson({{"schema", 1}, {"deleted", toJson(found.object, found.token)}, {"withKey", withKey}});
        }
        const std::string shown = escaped(nameOf(found.object)), on = escaped(nameOf(found.token));
        printLine(withKey ? say("Certificate \"%s\" and its key are deleted from token \"%s\".", shown, on)
                          : say("Certificate \"%s\" is deleted from token \"%s\".", shown, on));
    }

private:
    std::string warning(const Certificate& found) const {
        const std::string& subject = found.object.subject;
        const std::string& number = found.object.serialNumber;
        if (withKey) {
            return say("Certificate %s (serial number %s) and its private key will be deleted from token \"%s\".",
                       subject, number, nameOf(found.token));
        }
        return found.object.hasPrivateKey ? say("Certificate %s (serial number %s) will be deleted from token \"%s\"; "
                                                "its private key stays there.",
                                                subject, number, nameOf(found.token))
                                          : say("Certificate %s (serial number %s) will be deleted from token \"%s\".",
                                                subject, number, nameOf(found.token));
    }
};

} // namespace

void addCertTransferVerbs(CLI::App& group, const Context& context) {
    addVerb<CertImportVerb>(group, context, "import",
                            say("Import certificates from a file, with their private keys if there are any"));
    addVerb<CertExportVerb>(group, context, "export", say("Write a certificate to a file or to standard output"));
    addVerb<CertDelete>(group, context, "delete",
                        say("Delete a certificate from its token; its private key stays unless --with-key is given"));
}

} // namespace panelctl
