// SPDX-License-Identifier: MIT
//
// panelctl cert import: what is imported and to where is decided for all certificates of a file before anything is
// written.
#include <panelctl/base/mistakes.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/certs/cert_outcomes.h>
#include <panelctl/certs/import_source.h>
#include <panelctl/tokens/log_in.h>

#include <panelkit/certs/cert_imports.h>
#include <platform/system/clock.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <set>
#include <span>

namespace panelctl {

using PKCS11::TokenInfo;
using vocabulary::CertImport;
using vocabulary::ImportCert;

namespace {

bool offers(const CertImportOption& option, CertImport mode) {
    return (option.modes >> static_cast<std::uint32_t>(mode) & 1U) != 0;
}

// One certificate of the file, and where it goes.
struct PlannedImport {
    std::size_t place = 0; // in the file
    TokenInfo target;
    CertImport mode = CertImport::certificateOnly;
};

// How many certificates one command imports: one at first, and then about as many as take a tenth of a second, so that
// the progress is shown and Ctrl-C is heard.
class BatchSize {
public:
    std::size_t next() const { return size_; }
    void took(std::size_t count, std::chrono::steady_clock::duration time) {
        using std::chrono::milliseconds;
        const auto atThisPace = count * milliseconds(100) / std::max<decltype(time)>(time, milliseconds(1));
        size_ = std::clamp<std::size_t>(static_cast<std::size_t>(atThisPace), least, std::min(4 * size_, most));
    }

private:
    static constexpr std::size_t least = 4, most = 256; // the service takes no more

    std::size_t size_ = 1;
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
        importAll(*controller, file, plan, secret ? secret->text().c_str() : nullptr, imports);
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

    using Batch = std::span<const PlannedImport>; // of one token

    void importAll(VpnCertsController& controller, const FileContents& file, Batch plan, const char* secret,
                   Imports& imports) const {
        BatchSize size;
        while (!plan.empty()) {
            const Batch batch = plan.first(std::min(size.next(), countToFirstToken(plan)));
            const auto began = std::chrono::steady_clock::now();
            const std::vector<ImportCertResult> results = batch.size() == 1
                                                              ? importOne(controller, batch.front(), secret)
                                                              : importBatch(controller, batch, secret, imports);
            size.took(batch.size(), std::chrono::steady_clock::now() - began);
            for (std::size_t i = 0; i < batch.size() && i < results.size(); ++i) {
                add(file, batch[i], results[i], imports);
            }
            if (results.size() < batch.size()) { // without an error before
                imports.stop({Exit::strangeService, say("the service did not say how an import ended")});
            }
            imports.commandEnded();
            plan = plan.subspan(batch.size());
        }
    }

    // How many of the plan, from its begin, go to the token of the first one.
    static std::size_t countToFirstToken(Batch plan) {
        const auto other = std::find_if(plan.begin(), plan.end(),
                                        [&](const PlannedImport& one) { return one.target != plan.front().target; });
        return static_cast<std::size_t>(other - plan.begin());
    }

    std::vector<ImportCertResult> importOne(VpnCertsController& controller, const PlannedImport& one,
                                            const char* secret) const {
        return {controller.ImportCertificate(one.target, static_cast<std::uint32_t>(one.place),
                                             static_cast<CertImportMode>(one.mode), extractable, secret)};
    }

    // Returns a result for each item, up to the first error.
    std::vector<ImportCertResult> importBatch(VpnCertsController& controller, Batch batch, const char* secret,
                                              Imports& imports) const {
        std::vector<panelkit::ImportItem> items;
        for (const PlannedImport& one : batch) {
            items.push_back(
                {static_cast<std::uint32_t>(one.place), static_cast<CertImportMode>(one.mode), extractable});
        }
        std::vector<ImportCertResult> results;
        if (!panelkit::importCertificates(controller, batch.front().target, items, secret, results)) {
            imports.stop(lastFailureError());
        }
        return results;
    }

    void add(const FileContents& file, const PlannedImport& planned, ImportCertResult result, Imports& imports) const {
        const auto& [place, target, mode] = planned;
        const CertImportOption& option = file.certificates[place];
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

} // namespace

void addCertImportVerb(CLI::App& group, const Context& context) {
    addVerb<CertImportVerb>(group, context, "import",
                            say("Import certificates from a file, with their private keys if there are any"));
}

} // namespace panelctl
