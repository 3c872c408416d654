// SPDX-License-Identifier: MIT
//
// panelctl cert export, delete: the verbs that take certificates off tokens.
#include <panelctl/base/confirm.h>
#include <panelctl/base/mistakes.h>
#include <panelctl/base/progress.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/certs/cert_outcomes.h>
#include <panelctl/certs/destination.h>
#include <panelctl/tokens/log_in.h>

#include <platform/system/wipe.h>

#include <map>
#include <optional>

namespace panelctl {

using vocabulary::CertExport;
using Certificate = OnToken<CertInfo>;

namespace {

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
    addVerb<CertExportVerb>(group, context, "export", say("Write a certificate to a file or to standard output"));
    addVerb<CertDelete>(group, context, "delete",
                        say("Delete a certificate from its token; its private key stays unless --with-key is given"));
}

} // namespace panelctl
