// SPDX-License-Identifier: MIT
//
// panelctl cert list, show, chain, verify, reload: what there is, and whether it holds.
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/display_width.h>
#include <panelctl/verbs.h>

#include <algorithm>
#include <map>

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

Cell keyCell(const CertInfo& certificate) {
    if (!certificate.hasPrivateKey) return {"", Mood::plain};
    return {text(Say::keyPresent), Mood::good};
}

struct CertList {
    std::string token, expiring;
    bool withKey = false, authorities = false, others = false, expired = false;

    void options(CLI::App& verb) {
        verb.add_option("--token", token, text(Say::optionOnToken));
        CLI::Option* const key = verb.add_flag("--with-key", withKey, text(Say::optionWithKey));
        CLI::Option* const ca = verb.add_flag("--ca", authorities, text(Say::optionAuthorities))->excludes(key);
        verb.add_flag("--others", others, text(Say::optionOthers))->excludes(key)->excludes(ca);
        CLI::Option* const ended = verb.add_flag("--expired", expired, text(Say::optionExpired));
        verb.add_option("--expiring", expiring, text(Say::optionExpiring))->type_name("PERIOD")->excludes(ended);
    }

    void run(const Context& context) const {
        const std::uint64_t deadline = expiring.empty() ? 0 : timeNow() + parsePeriod(expiring);
        const auto controller = certsController(context);
        std::vector<Certificate> listed = listCertificates(*controller, selector(), token);
        std::erase_if(listed, [&](const Certificate& entry) { return !isWanted(entry.object, deadline); });
        if (context.json) {
            printJson(listJson(listed));
        } else if (listed.empty()) {
            printNote(text(expiring.empty() ? Say::noCerts : Say::noneExpires));
        } else {
            print(listed);
        }
        if (!expiring.empty() && !listed.empty()) {
            throw CommandError(Exit::expiring, phrase(Say::someExpire, {std::to_string(listed.size()), expiring}));
        }
    }

private:
    CertSelector selector() const {
        if (withKey) return CertSelector::withPrivateKey;
        if (authorities) return CertSelector::authorities;
        return others ? CertSelector::others : CertSelector::all;
    }

    // Those that have expired already are about to be missed even more.
    bool isWanted(const CertInfo& certificate, std::uint64_t deadline) const {
        if (!expiring.empty()) return isReadable(certificate) && certificate.notAfter <= deadline;
        return !expired || (isReadable(certificate) && certificate.notAfter < timeNow());
    }

    static void print(const std::vector<Certificate>& listed) {
        Table table({text(Say::headingCertName), text(Say::headingIssuer), text(Say::headingCertSerial),
                     text(Say::headingExpires), text(Say::headingDays), text(Say::headingKey), text(Say::headingToken),
                     text(Say::headingCertState)});
        for (const Certificate& entry : listed) {
            table.add({{nameOf(entry.object)},
                       {commonName(entry.object.issuer)},
                       {entry.object.serialNumber},
                       {isReadable(entry.object) ? dateText(entry.object.notAfter) : ""},
                       isReadable(entry.object) ? daysLeftCell(entry.object.notAfter) : Cell{},
                       keyCell(entry.object),
                       {nameOf(entry.token)},
                       stateCell(entry.object)});
        }
        table.print();
    }
};

// ---- one certificate

// Whether its private key is there, and what may be done with it.
std::string privateKeyText(const CertInfo& certificate) {
    if (!certificate.hasPrivateKey) return text(Say::keyAbsent);
    const bool leaves = (certificate.flags & vocabulary::certFlag::keyExtractable) != 0;
    return text(leaves ? Say::keyOnTokenLeaves : Say::keyOnTokenStays);
}

std::string withDaysLeft(std::uint64_t until) {
    return phrase(Say::timeWithDays, {timeText(until), std::to_string(daysLeft(until))});
}

std::string bytesFromHex(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16));
    }
    return bytes;
}

struct CertShow {
    ObjectName name;
    bool whole = false;

    void options(CLI::App& verb) {
        name.options(verb, "certificate", Say::argumentCert);
        verb.add_flag("--text", whole, text(Say::optionWholeText));
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        Certificate found = findCertificate(*controller, name);
        CertExtentions details;
        std::string all;
        if (!controller->GetCertDetails(found.token, found.object, details, all)) throw lastFailureError();
        if (context.json) return printJson(detailsJson(found, details));
        if (whole) return printLines(all);
        sheetOf(found, details).print();
    }

private:
    static Sheet sheetOf(const Certificate& found, const CertExtentions& details) {
        const CertInfo& certificate = found.object;
        Sheet sheet;
        sheet.add(text(Say::factSubject), {certificate.subject});
        sheet.add(text(Say::factIssuer), {certificate.issuer});
        sheet.add(text(Say::factSerial), {certificate.serialNumber});
        sheet.add(text(Say::factState), stateCell(certificate));
        sheet.add(text(Say::factRevokedAt), {details.revokedAt ? timeText(details.revokedAt) : "", Mood::bad});
        sheet.add(text(Say::factValidFrom), {timeText(certificate.notBefore)});
        sheet.add(text(Say::factValidTo),
                  {withDaysLeft(certificate.notAfter), daysLeftCell(certificate.notAfter).mood});
        sheet.add(text(Say::factToken), {nameOf(found.token)});
        sheet.add(text(Say::factLabel), {details.label});
        sheet.add(text(Say::factKeyId), {details.keyId});
        sheet.add(text(Say::factKey), {keyText(certificate.keyType, certificate.keyBits)});
        sheet.add(text(Say::factPrivateKey), {privateKeyText(certificate)});
        addExtensions(sheet, details);
        sheet.add("SHA-256", {certificate.fingerprint});
        sheet.add("SHA-1", {details.sha1Fingerprint});
        return sheet;
    }

    static void addExtensions(Sheet& sheet, const CertExtentions& details) {
        sheet.add(text(Say::factSignature), {details.signatureAlgorithm});
        sheet.add(text(Say::factSubjectNames), {details.subjectAlternativeNames});
        sheet.add(text(Say::factIssuerNames), {details.issuerAlternativeNames});
        sheet.add(text(Say::factConstraints), {details.basicConstraints});
        sheet.add(text(Say::factKeyUsage), {details.keyUsage});
        sheet.add(text(Say::factExtendedUsage), {details.extendedKeyUsage});
        sheet.add(text(Say::factSubjectKeyId), {details.subjectKeyId});
        sheet.add(text(Say::factAuthorityKeyId), {details.authorityKeyId});
        sheet.add(text(Say::factPolicies), {details.certificatePolicies});
        sheet.add(text(Say::factCrlPoints), {details.crlDistributionPoints});
        sheet.add(text(Say::factAuthorityAccess), {details.authorityInfoAccess});
    }

    static nlohmann::ordered_json detailsJson(const Certificate& found, const CertExtentions& details) {
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
        json["revokedAt"] = details.revokedAt ? nlohmann::ordered_json(isoText(details.revokedAt)) : nullptr;
        json["extensions"] = nlohmann::ordered_json::array();
        for (const auto& [extension, value] : details.extensions) {
            json["extensions"].push_back({{"name", extension}, {"value", value}});
        }
        return json;
    }
};

struct CertChain {
    ObjectName name;

    void options(CLI::App& verb) { name.options(verb, "certificate", Say::argumentCert); }
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
        Table table({text(Say::headingChain), text(Say::headingCertSerial), text(Say::headingExpires),
                     text(Say::headingToken), text(Say::headingCertState)});
        std::string indent;
        for (const Certificate& entry : chain) {
            table.add({{indent + nameOf(entry.object)},
                       {entry.object.serialNumber},
                       {dateText(entry.object.notAfter)},
                       {nameOf(entry.token)},
                       stateCell(entry.object)});
            indent += "  ";
        }
        table.print();
        if (!chain.empty() && !(chain.back().object.flags & vocabulary::certFlag::selfIssued)) {
            printNote(phrase(Say::chainEndsEarly, {escaped(chain.back().object.issuer)}));
        }
    }
};

struct CertVerify {
    ObjectName name;
    VerifyPurpose purpose = VerifyPurpose::any;
    bool crlRequired = false, noRevocation = false;

    void options(CLI::App& verb) {
        static const std::map<std::string, VerifyPurpose> purposes{{"any", VerifyPurpose::any},
                                                                   {"ike", VerifyPurpose::ikePeer},
                                                                   {"tls-server", VerifyPurpose::tlsServer},
                                                                   {"tls-client", VerifyPurpose::tlsClient},
                                                                   {"ca", VerifyPurpose::authority}};
        name.options(verb, "certificate", Say::argumentCert);
        verb.add_option("--purpose", purpose, text(Say::optionPurpose))
            ->transform(CLI::CheckedTransformer(purposes).description(""))
            ->type_name("any|ike|tls-server|tls-client|ca");
        CLI::Option* const required = verb.add_flag("--crl-required", crlRequired, text(Say::optionCrlRequired));
        verb.add_flag("--no-crl", noRevocation, text(Say::optionNoCrl))->excludes(required);
    }

    void run(const Context& context) const {
        const auto controller = certsController(context);
        const Certificate found = findCertificate(*controller, name);
        auto value = static_cast<std::uint32_t>(purpose);
        if (crlRequired) value |= verifyFlag::crlRequired;
        if (noRevocation) value |= verifyFlag::noRevocation;
        std::string words;
        const bool good = controller->VerifyCert(found.token, found.object, static_cast<std::int32_t>(value), &words);
        if (!good && bridge::lastFailure().code != bridge::FailureCode::none) throw lastFailureError();
        if (context.json) printJson({{"schema", 1}, {"verified", good}, {"reason", words}});
        const std::string shown = escaped(nameOf(found.object));
        if (!good) throw CommandError(Exit::notVerified, phrase(Say::certDoesNotVerify, {shown, words}));
        if (context.json) return;
        printLine(phrase(Say::certVerifies, {shown}));
        printLines(words);
    }
};

struct CertReload {
    bool forget = false;

    void options(CLI::App& verb) { verb.add_flag("--forget", forget, text(Say::optionForget)); }
    void run(const Context& context) const {
        if (!certsController(context)->ReloadAll(forget)) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"reloaded", true}});
        printLine(text(Say::certsReloaded));
    }
};

} // namespace

void addCertVerbs(CLI::App& group, const Context& context) {
    addVerb<CertList>(group, context, "list", Say::verbCertList);
    addVerb<CertShow>(group, context, "show", Say::verbCertShow);
    addVerb<CertChain>(group, context, "chain", Say::verbCertChain);
    addVerb<CertVerify>(group, context, "verify", Say::verbCertVerify);
    addCertTransferVerbs(group, context);
    addCertRequestVerbs(group, context);
    addVerb<CertReload>(group, context, "reload", Say::verbCertReload);
}

} // namespace panelctl
