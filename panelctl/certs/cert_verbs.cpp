// SPDX-License-Identifier: MIT
//
// panelctl cert list, show, chain, verify, reload: the verbs that look at certificates.
#include <panelctl/base/failure_text.h>
#include <panelctl/base/mistakes.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/tokens/log_in.h>

#include <platform/bridge/failure.h>
#include <platform/system/clock.h>
#include <platform/text/ascii.h>
#include <vocabulary/refusals.h>

#include <algorithm>
#include <iterator>

namespace panelctl {

using vocabulary::CertSelector;
using vocabulary::VerifyPurpose;
namespace verifyFlag = vocabulary::verifyFlag;
using Certificate = OnToken<CertInfo>;

namespace {

nlohmann::ordered_json listJson(const std::vector<Certificate>& certificates) {
    auto list = nlohmann::ordered_json::array();
    for (const Certificate& entry : certificates) list.push_back(toJson(entry.object, entry.token));
    return list;
}

Cell keyCell(const Certificate& entry) {
    if (entry.object.hasPrivateKey) return {say("present"), Mood::good};
    return needsLogin(entry.token) ? Cell{say("not visible"), Mood::faint} : Cell{};
}

struct CertList {
    TokenName token;
    std::string expiring;
    bool withKey = false, authorities = false, others = false, expired = false;

    void options(CLI::App& verb) {
        addOnToken(verb, token);
        CLI::Option* const key =
            verb.add_flag("--with-key", withKey, say("Only those whose private key is on the token"));
        CLI::Option* const ca =
            verb.add_flag("--ca", authorities, say("Only certificates of authorities (CAs)"))->excludes(key);
        verb.add_flag("--others", others,
                      say("Only those that have no private key here and do not belong to an authority"))
            ->excludes(key)
            ->excludes(ca);
        CLI::Option* const ended = verb.add_flag("--expired", expired, say("Only those that have expired"));
        verb.add_option("--expiring", expiring,
                        say("Only those that expire within a period such as 30d (h, d, w, y) or have expired; exit "
                            "code 61 if there are any"))
            ->type_name("PERIOD")
            ->excludes(ended);
    }

    void run(const Context& context) const {
        const std::uint64_t deadline = expiring.empty() ? 0 : platform::secondsNow() + parsePeriod(expiring);
        const auto controller = certsController(context);
        std::vector<Certificate> listed = listCertificates(*controller, selector(), token);
        std::erase_if(listed, [&](const Certificate& entry) { return !isWanted(entry.object, deadline); });
        sort(listed);
        if (context.json) {
            printJson(listJson(listed));
        } else if (listed.empty()) {
            printNone(expiring.empty() ? say("There are no such certificates.")
                                       : say("No certificate expires within that time."));
        } else {
            print(listed);
        }
        if (!expiring.empty() && !listed.empty()) {
            throw CommandError(Exit::expiring, sayPlural("%d certificate expires within %s or has expired",
                                                         "%d certificates expire within %s or have expired",
                                                         listed.size(), listed.size(), expiring));
        }
        requireAllSeen();
    }

private:
    CertSelector selector() const {
        if (withKey) return CertSelector::withPrivateKey;
        if (authorities) return CertSelector::authorities;
        return others ? CertSelector::others : CertSelector::all;
    }

    // What ends first comes first where that was asked for; else by token and name.
    void sort(std::vector<Certificate>& listed) const {
        sortByName(listed, [](const CertInfo& certificate) { return nameOf(certificate); });
        if (expiring.empty()) return;
        std::stable_sort(listed.begin(), listed.end(), [](const Certificate& one, const Certificate& other) {
            return one.object.notAfter < other.object.notAfter;
        });
    }

    // Those that have already expired are listed too.
    bool isWanted(const CertInfo& certificate, std::uint64_t deadline) const {
        if (!expiring.empty()) return isReadable(certificate) && certificate.notAfter <= deadline;
        return !expired || (isReadable(certificate) && certificate.notAfter < platform::secondsNow());
    }

    static void print(const std::vector<Certificate>& listed) {
        Table table({say("NAME"), say("ISSUER"), say("SERIAL"), say("EXPIRES"), say("DAYS"), say("KEY"), say("TOKEN"),
                     say("STATE")});
        for (const Certificate& entry : listed) {
            table.add({{nameOf(entry.object)},
                       {commonName(entry.object.issuer)},
                       {entry.object.serialNumber},
                       {isReadable(entry.object) ? platform::dateText(entry.object.notAfter) : ""},
                       isReadable(entry.object) ? daysLeftCell(entry.object.notAfter) : Cell{},
                       keyCell(entry),
                       {nameOf(entry.token)},
                       stateCell(entry.object)});
        }
        table.print();
    }
};

// ---- one certificate

// Whether the private key is on the token, and whether it can be exported.
std::string privateKeyText(const Certificate& found) {
    const CertInfo& certificate = found.object;
    if (!certificate.hasPrivateKey) {
        return needsLogin(found.token) ? say("not visible without log-in") : say("not on the token");
    }
    const bool leaves = (certificate.flags & vocabulary::certFlag::keyExtractable) != 0;
    return leaves ? say("on the token, can be exported") : say("on the token, can't be exported");
}

std::string withDaysLeft(std::uint64_t until) { return say("%s (days left: %d)", timeText(until), daysLeft(until)); }

// What the service remarked on the details of a certificate.
struct Remarked {
    std::string trust;   // why it is trusted
    std::string warning; // a revocation that does not count everywhere

    static Remarked last() { return {textOf(vocabulary::Refused::trusted), textOf(vocabulary::Refused::notCounted)}; }

private:
    static std::string textOf(vocabulary::Refused code) {
        std::vector<bridge::Remark> those;
        for (const bridge::Remark& remark : bridge::lastRemarks()) {
            if (remark.code == static_cast<std::uint32_t>(code)) those.push_back(remark);
        }
        return inOneLine(remarksText(those, {}));
    }
};

// Whether chains may end at it. Of a certificate that another one signed this is usually not asked, so then the text is
// empty.
Cell trustCell(const CertInfo& certificate, const Remarked& remarked) {
    const auto has = [&](std::uint32_t flag) { return (certificate.flags & flag) != 0; };
    if (has(vocabulary::certFlag::trusted)) return {remarked.trust.empty() ? say("yes") : remarked.trust, Mood::plain};
    return {has(vocabulary::certFlag::selfIssued) ? say("no") : "", Mood::warning};
}

struct CertShow {
    ObjectName name;
    bool whole = false;

    void options(CLI::App& verb) {
        name.ofCertificate(verb);
        verb.add_flag("--text", whole, say("Print the full description that the service gives"));
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        Certificate found = findCertificate(*controller, name);
        CertExtentions details;
        std::string all;
        if (!controller->GetCertDetails(found.token, found.object, details, all)) throw lastFailureError();
        const Remarked remarked = Remarked::last();
        if (context.json) return printJson(detailsJson(found, details, remarked));
        if (whole) return printLines(all);
        sheetOf(found, details, remarked).print();
    }

private:
    static Sheet sheetOf(const Certificate& found, const CertExtentions& details, const Remarked& remarked) {
        const CertInfo& certificate = found.object;
        Sheet sheet;
        sheet.add(say("Subject"), {certificate.subject});
        sheet.add(say("Issuer"), {certificate.issuer});
        sheet.add(say("Serial number"), {certificate.serialNumber});
        sheet.add(say("State"), stateCell(certificate));
        sheet.add(say("Revoked at"), {details.revokedAt ? timeText(details.revokedAt) : "", Mood::bad});
        sheet.add(say("Revocation"), {remarked.warning, Mood::warning});
        sheet.add(say("Trusted"), trustCell(certificate, remarked));
        sheet.add(say("Valid from"), {timeText(certificate.notBefore)});
        sheet.add(say("Valid to"), {withDaysLeft(certificate.notAfter), daysLeftCell(certificate.notAfter).mood});
        sheet.add(say("Token"), {nameOf(found.token)});
        sheet.add(say("Label"), {details.label});
        sheet.add(say("Key identifier"), {details.keyId});
        sheet.add(say("Key"), {keyText(certificate.keyType, certificate.keyBits)});
        sheet.add(say("Private key"), {privateKeyText(found)});
        addExtensions(sheet, details);
        sheet.add("SHA-256", {certificate.fingerprint});
        sheet.add("SHA-1", {details.sha1Fingerprint});
        return sheet;
    }

    static void addExtensions(Sheet& sheet, const CertExtentions& details) {
        sheet.add(say("Signature"), {details.signatureAlgorithm});
        sheet.add(say("Alternative names"), {details.subjectAlternativeNames});
        sheet.add(say("Issuer's names"), {details.issuerAlternativeNames});
        sheet.add(say("Basic constraints"), {details.basicConstraints});
        sheet.add(say("Key usage"), {details.keyUsage});
        sheet.add(say("Extended usage"), {details.extendedKeyUsage});
        sheet.add(say("Subject key id"), {details.subjectKeyId});
        sheet.add(say("Authority key id"), {details.authorityKeyId});
        sheet.add(say("Policies"), {details.certificatePolicies});
        sheet.add(say("CRLs at"), {details.crlDistributionPoints});
        sheet.add(say("Authority at"), {details.authorityInfoAccess});
    }

    static nlohmann::ordered_json detailsJson(const Certificate& found, const CertExtentions& details,
                                              const Remarked& remarked) {
        nlohmann::ordered_json json = toJson(found.object, found.token);
        json["uri"] = uriOf(found.token, "cert", details.label, bytesFromHex(details.keyId));
        json["label"] = details.label;
        json["keyId"] = details.keyId;
        json["version"] = details.version;
        json["signatureAlgorithm"] = details.signatureAlgorithm;
        json["publicKeyAlgorithm"] = details.publicKeyAlgorithm;
        json["publicKeyParameters"] = details.publicKeyParameters;
        json["subjectAlternativeNames"] = details.subjectAlternativeNames;
        json["sha1Fingerprint"] = details.sha1Fingerprint;
        json["revokedAt"] = timeJson(details.revokedAt);
        json["trustReason"] = remarked.trust;
        json["revocationNote"] = remarked.warning;
        json["extensions"] = nlohmann::ordered_json::array();
        for (const auto& [extension, value] : details.extensions) {
            json["extensions"].push_back({{"name", extension}, {"value", value}});
        }
        return json;
    }
};

struct CertChain {
    ObjectName name;

    void options(CLI::App& verb) { name.ofCertificate(verb); }
    void run(const Context& context) const {
        const auto controller = certsController(context);
        const Certificate found = findCertificate(*controller, name);
        std::vector<CertInfo> certificates;
        std::vector<PKCS11::TokenInfo> tokens;
        if (!controller->GetCertChain(found.token, found.object, tokens, certificates)) throw lastFailureError();
        std::vector<Certificate> chain(certificates.size());
        for (std::size_t i = 0; i < chain.size(); ++i) chain[i] = {certificates[i], tokens[i]};
        if (context.json) return printJson(listJson(chain));
        print(chain);
    }

private:
    static void print(const std::vector<Certificate>& chain) {
        Table table({say("CHAIN"), say("SERIAL"), say("EXPIRES"), say("TOKEN"), say("STATE")});
        std::string indent;
        for (const Certificate& entry : chain) {
            table.add({{indent + nameOf(entry.object)},
                       {entry.object.serialNumber},
                       {platform::dateText(entry.object.notAfter)},
                       {nameOf(entry.token)},
                       stateCell(entry.object)});
            indent += "  ";
        }
        table.print();
        if (!chain.empty() && !(chain.back().object.flags & vocabulary::certFlag::selfIssued)) {
            printNote(say("The chain is incomplete: no token holds the certificate of the next authority: %s",
                          escaped(chain.back().object.issuer)));
        }
    }
};

struct Purpose {
    const char* word;
    VerifyPurpose value;
};

constexpr Purpose purposes[] = {
    {"any", VerifyPurpose::any},
    {"ike", VerifyPurpose::ikePeer},
    {"tls-server", VerifyPurpose::tlsServer},
    {"tls-client", VerifyPurpose::tlsClient},
    {"ca", VerifyPurpose::authority},
};

struct CertVerify {
    ObjectName name;
    std::string purpose = "any";
    bool crlRequired = false, noRevocation = false;

    void options(CLI::App& verb) {
        std::vector<std::string> words;
        for (const auto& [word, value] : purposes) words.emplace_back(word);
        name.ofCertificate(verb);
        acceptOnly(verb.add_option("--purpose", purpose, say("The purpose that it must be valid for")), words);
        CLI::Option* const required = verb.add_flag(
            "--crl-required", crlRequired, say("Fail unless there is a current CRL for every authority of the chain"));
        verb.add_flag("--no-crl", noRevocation, say("Do not look at CRLs"))->excludes(required);
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        const Certificate found = findCertificate(*controller, name);
        const auto* const wanted = std::find_if(std::begin(purposes), std::end(purposes),
                                                [this](const Purpose& row) { return row.word == purpose; });
        auto value = static_cast<std::uint32_t>(wanted->value);
        if (crlRequired) value |= verifyFlag::crlRequired;
        if (noRevocation) value |= verifyFlag::noRevocation;
        std::string words;
        const bool good = controller->VerifyCert(found.token, found.object, static_cast<std::int32_t>(value), &words);
        if (!good && bridge::lastFailure().code != bridge::FailureCode::none) throw lastFailureError();
        const std::string why = remarksText(bridge::lastRemarks(), words);
        if (context.json) printJson({{"schema", 1}, {"verified", good}, {"reason", why}});
        const std::string shown = escaped(nameOf(found.object));
        if (!good) {
            throw CommandError(Exit::notVerified,
                               say("certificate \"%s\" failed verification: %s", shown, inOneLine(why)));
        }
        if (context.json) return;
        printLine(say("Certificate \"%s\" passed verification.", shown));
        printLines(why);
    }
};

struct CertReload {
    bool forget = false;

    void options(CLI::App& verb) {
        verb.add_flag("--forget", forget, say("Also forget the parsed files of all sessions"));
    }
    void run(const Context& context) const {
        if (!certsController(context)->ReloadAll(forget)) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"reloaded", true}});
        printLine(say("The contents of the tokens have been read again."));
    }
};

} // namespace

void addCertVerbs(CLI::App& group, const Context& context) {
    addVerb<CertList>(group, context, "list", say("List the certificates on the tokens"));
    addVerb<CertShow>(group, context, "show", say("Show everything about a certificate"));
    addVerb<CertChain>(group, context, "chain", say("Show the chain of a certificate"));
    addVerb<CertVerify>(group, context, "verify",
                        say("Verify a certificate: its validity period, chain, purpose and revocation"));
    addCertImportVerb(group, context);
    addCertTransferVerbs(group, context);
    addCertRequestVerbs(group, context);
    addVerb<CertReload>(group, context, "reload", say("Read the contents of the tokens again"));
}

} // namespace panelctl
