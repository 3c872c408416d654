// SPDX-License-Identifier: MIT
#include <panelctl/certs/cert_names.h>

#include <panelctl/base/progress.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/choosing.h>

#include <panelkit/monitor/monitor_controller.h>
#include <platform/system/clock.h>
#include <platform/text/ascii.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>

namespace panelctl {

using PKCS11::TokenInfo;
using Certificate = OnToken<CertInfo>;
using Crl = OnToken<CRLInfo>;
using PresharedKey = OnToken<PresharedKeyInfo>;

namespace {

std::string withoutLeadingZeros(const std::string& digits) {
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

bool sameNumber(const std::string& digits, const std::string& number) {
    return !digits.empty() && withoutLeadingZeros(digits) == withoutLeadingZeros(hexDigits(number));
}

bool contains(const std::string& text, const std::string& part) {
    return platform::asciiLowered(text).find(platform::asciiLowered(part)) != std::string::npos;
}

bool named(const CertInfo& certificate, const std::string& name) {
    const std::string digits = hexDigits(name);
    return certificate.subject == name || commonName(certificate.subject) == name || certificate.serialNumber == name ||
           sameNumber(digits, certificate.serialNumber) || beginsFingerprint(digits, certificate.fingerprint);
}

bool named(const CRLInfo& crl, const std::string& name) {
    const std::string digits = hexDigits(name);
    return crl.issuer == name || commonName(crl.issuer) == name || beginsFingerprint(digits, crl.fingerprint);
}

std::string certificateLine(const Certificate& entry) {
    return say("  %s  %s, valid until %s, on token \"%s\"", entry.object.fingerprint.substr(0, 16),
               escaped(entry.object.subject), platform::dateText(entry.object.notAfter), escaped(nameOf(entry.token)));
}

std::string crlLine(const Crl& entry) {
    return say("  %s  %s, issued %s, on token \"%s\"", entry.object.fingerprint.substr(0, 16),
               escaped(entry.object.issuer), platform::dateText(entry.object.thisUpdate), escaped(nameOf(entry.token)));
}

std::string keyLine(const PresharedKey& entry) {
    return say("  \"%s\" on token \"%s\"", escaped(entry.object.name), escaped(nameOf(entry.token)));
}

// Pairs the two vectors of a listing. When a token is named, only its objects are kept.
template <class Object>
std::vector<OnToken<Object>> paired(VpnCertsController& controller, std::vector<Object> objects,
                                    std::vector<TokenInfo> tokens, const TokenName& token) {
    std::optional<TokenInfo> wanted;
    if (!token.empty()) wanted = findToken(controller, token);
    std::vector<OnToken<Object>> listed;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (!wanted || sameToken(*wanted, tokens[i])) listed.push_back({std::move(objects[i]), std::move(tokens[i])});
    }
    return listed;
}

// Nothing when the service has no details of the certificate; other failures are thrown.
std::optional<CertExtentions> detailsOf(VpnCertsController& controller, const Certificate& entry) {
    CertInfo certificate = entry.object;
    CertExtentions details;
    std::string text;
    if (controller.GetCertDetails(entry.token, certificate, details, text)) return details;
    const bridge::FailureCode failure = bridge::lastFailure().code;
    if (failure != bridge::FailureCode::none && failure != bridge::FailureCode::refused) throw lastFailureError();
    return std::nullopt;
}

// The labels of all certificates. They are read in one command, when they are first needed.
class Labels {
public:
    // Whether an object of the certificate on its token has a label that passes the test.
    template <class Passes>
    bool any(const Certificate& entry, const Passes& passes) {
        if (!isRead_) read();
        const auto [begin, end] = byFingerprint_.equal_range(entry.object.fingerprint);
        return std::any_of(begin, end, [&](const auto& found) {
            return sameToken(found.second.token, entry.token) && passes(found.second.object);
        });
    }

private:
    void read() {
        std::vector<panelkit::TokenLabels> tokens;
        if (!panelkit::MonitorController().EnumCertLabels(nullptr, tokens)) throw lastFailureError();
        noteUnseen();
        for (const auto& [token, certificates] : tokens) {
            for (const panelkit::CertLabel& label : certificates) {
                byFingerprint_.emplace(label.fingerprint, OnToken<panelkit::CertLabel>{label, token});
            }
        }
        isRead_ = true;
    }

    bool isRead_ = false;
    std::multimap<std::string, OnToken<panelkit::CertLabel>> byFingerprint_;
};

// A URI names the object by its label and identifier.
bool matchesUri(Labels& labels, const Certificate& entry, const std::string& uri) {
    if (uriAttribute(uri, "type").value_or("cert") != "cert" || !panelctl::matchesUri(entry.token, uri)) return false;
    const std::optional<std::string> label = uriAttribute(uri, "object");
    const std::optional<std::string> id = uriAttribute(uri, "id");
    if (!label && !id) return true;
    return labels.any(entry, [&](const panelkit::CertLabel& its) {
        return (!label || its.label == *label) && (!id || its.id == platform::hexText(*id));
    });
}

std::vector<Test<CertInfo>> testsFor(const ObjectName& wanted) {
    const std::string& name = wanted.name;
    const auto labels = std::make_shared<Labels>();
    if (isUri(name)) {
        return {[labels, name](const Certificate& entry) { return matchesUri(*labels, entry, name); }};
    }
    const auto isIt = [name](const panelkit::CertLabel& its) { return its.label == name; };
    std::vector<Test<CertInfo>> tests{[name](const Certificate& entry) { return named(entry.object, name); }};
    if (!name.empty()) {
        tests.emplace_back([labels, isIt](const Certificate& entry) { return labels->any(entry, isIt); });
    }
    if (!wanted.exactly) {
        tests.emplace_back([name](const Certificate& entry) { return contains(entry.object.subject, name); });
    }
    return tests;
}

} // namespace

void failAmbiguous(const std::string& name, std::vector<std::string> candidates) {
    throw CommandError(Exit::ambiguous,
                       say("\"%s\" matches several; choose one by the first field of its line, or with --token:", name),
                       std::move(candidates));
}

void ObjectName::options(CLI::App& verb, const char* object, const std::string& description) {
    verb.add_option(object, name, description)->required();
    token.options(verb, say("Label, serial number or PKCS#11 URI of the token"));
}

void ObjectName::ofCertificate(CLI::App& verb) {
    options(verb, "certificate",
            say("The certificate: its label, subject or a part of it, serial number, fingerprint, or PKCS#11 URI"));
}

void addOnToken(CLI::App& verb, TokenName& token) {
    token.options(verb, say("Only those on this token: label, serial number or PKCS#11 URI"));
}

void addToToken(CLI::App& verb, TokenName& token) {
    token.options(verb, say("The token to store it on: label, serial number or PKCS#11 URI"));
}

std::unique_ptr<VpnCertsController> certsController(const Context& context) {
    return std::make_unique<CertsWithDots>(context);
}

TokenInfo findToken(VpnCertsController& controller, const TokenName& name) {
    std::vector<TokenInfo> tokens;
    if (!controller.GetTokensList(tokens)) throw lastFailureError();
    return findToken(tokens, name);
}

std::vector<Certificate> listCertificates(VpnCertsController& controller, vocabulary::CertSelector selector,
                                          const TokenName& token) {
    std::vector<CertInfo> certificates;
    std::vector<TokenInfo> tokens;
    if (!controller.EnumCertificates(static_cast<std::int32_t>(selector), certificates, tokens)) {
        throw lastFailureError();
    }
    noteUnseen();
    return paired(controller, std::move(certificates), std::move(tokens), token);
}

std::vector<Crl> listCrls(VpnCertsController& controller, const TokenName& token) {
    std::vector<CRLInfo> crls;
    std::vector<TokenInfo> tokens;
    if (!controller.EnumCRLs(crls, tokens)) throw lastFailureError();
    noteUnseen();
    return paired(controller, std::move(crls), std::move(tokens), token);
}

std::vector<PresharedKey> listPresharedKeys(VpnCertsController& controller, const TokenName& token) {
    std::vector<PresharedKeyInfo> keys;
    std::vector<TokenInfo> tokens;
    if (!controller.EnumPresharedKeys(keys, tokens)) throw lastFailureError();
    noteUnseen();
    return paired(controller, std::move(keys), std::move(tokens), token);
}

Certificate findCertificate(VpnCertsController& controller, const ObjectName& name) {
    const auto listed = listCertificates(controller, vocabulary::CertSelector::all, name.token);
    if (const auto found = onlyOne(listed, testsFor(name), name.name, certificateLine)) {
        return *found;
    }
    const auto names = textsOf(listed, [](const Certificate& entry) { return nameOf(entry.object); });
    failUnknown(
        name.exactly
            ? say("there is no certificate with exactly the name \"%s\"; --yes requires the exact name", name.name)
            : say("there is no certificate \"%s\"", name.name),
        name.name, names);
}

Crl findCrl(VpnCertsController& controller, const ObjectName& name) {
    const auto listed = listCrls(controller, name.token);
    std::vector<Test<CRLInfo>> tests{[&](const Crl& entry) { return named(entry.object, name.name); }};
    if (!name.exactly) {
        tests.emplace_back([&](const Crl& entry) { return contains(entry.object.issuer, name.name); });
    }
    if (const auto found = onlyOne(listed, tests, name.name, crlLine)) return *found;
    const auto names = textsOf(listed, [](const Crl& entry) { return commonName(entry.object.issuer); });
    failUnknown(say("there is no CRL of \"%s\"", name.name), name.name, names);
}

PresharedKey findPresharedKey(VpnCertsController& controller, const ObjectName& name) {
    const auto listed = listPresharedKeys(controller, name.token);
    const std::vector<Test<PresharedKeyInfo>> tests{
        [&](const PresharedKey& entry) { return entry.object.name == name.name; }};
    if (const auto found = onlyOne(listed, tests, name.name, keyLine)) return *found;
    const auto names = textsOf(listed, [](const PresharedKey& entry) { return entry.object.name; });
    failUnknown(say("there is no preshared key \"%s\"", name.name), name.name, names);
}

std::vector<std::size_t> placesOf(const std::vector<CertInfo>& certificates, const std::string& name) {
    std::vector<std::size_t> exact, partly;
    for (std::size_t i = 0; i < certificates.size(); ++i) {
        if (named(certificates[i], name)) exact.push_back(i);
        if (contains(certificates[i].subject, name)) partly.push_back(i);
    }
    return exact.empty() ? partly : exact;
}

std::string labelOf(VpnCertsController& controller, const Certificate& certificate) {
    const std::optional<CertExtentions> details = detailsOf(controller, certificate);
    return details ? details->label : std::string();
}

} // namespace panelctl
