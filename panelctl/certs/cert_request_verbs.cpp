// SPDX-License-Identifier: MIT
//
// panelctl cert request: a certificate request, signed with a key pair that never leaves its token.
#include <panelctl/base/endings.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/mistakes.h>
#include <panelctl/base/progress.h>
#include <panelctl/base/secrets.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_names.h>
#include <panelctl/certs/cert_outcomes.h>
#include <panelctl/certs/destination.h>
#include <panelctl/certs/key_choice.h>
#include <panelctl/tokens/log_in.h>

#include <platform/text/join.h>
#include <vocabulary/refusals.h>

#include <algorithm>
#include <atomic>
#include <optional>

namespace panelctl {

using PKCS11::TokenInfo;
using vocabulary::RequestFormat;

namespace {

// Whether the token asks for the PIN at each use of the key.
bool asksForPin(const Context& context, const TokenInfo& token, const std::string& label) {
    std::vector<panelkit::KeyInfo> keys;
    std::vector<TokenInfo> tokens;
    if (!MonitorWithDots(context).EnumKeys(&token, keys, tokens)) return false; // of an older service
    return std::any_of(keys.begin(), keys.end(),
                       [&](const panelkit::KeyInfo& key) { return key.label == label && key.asksForPin; });
}

struct CertRequest {
    TokenName token;
    std::string key, digest, existingKey, usage;
    std::vector<std::string> alternativeNames;
    CertRequestInfo info;
    Destination destination;
    std::optional<SecretSource> pin;
    bool listKeys = false, der = false;

    void options(CLI::App& verb) {
        token.options(verb, say("Label, serial number or PKCS#11 URI of the token"));
        verb.add_flag("--list-keys", listKeys, say("List the keys that the token can make for a request"));
        verb.add_option("--cn", info.commonName, say("Common name"));
        verb.add_option("--ou", info.organizationalUnit, say("Organizational unit"));
        verb.add_option("--o", info.organization, say("Organization"));
        verb.add_option("--l", info.locality, say("Locality"));
        verb.add_option("--st", info.stateOrProvince, say("State or province"));
        verb.add_option("--c", info.country, say("Country, two letters"));
        verb.add_option(
                "--san", alternativeNames,
                say("Alternative name such as DNS:gate.example, IP:192.0.2.1 or email:a@b.example; can be repeated"))
            ->type_name("TYPE:NAME")
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
            ->allow_extra_args(false);
        verb.add_option("--usage", usage,
                        say("Key usages to request, such as digitalSignature,keyEncipherment,ipsecIKE"))
            ->type_name("NAME,...");
        verb.add_option("--key", key, say("Type and size of the key, such as rsa:3072 or ec:256"))
            ->type_name("TYPE[:BITS]");
        acceptOnly(verb.add_option("--digest", digest, say("Digest for the signature of the request")),
                   {"sha256", "sha384", "sha512"});
        CLI::Option* const label =
            verb.add_option("--label", info.keyLabel, say("Label of the new key pair (default: the common name)"));
        verb.add_option("--existing-key", existingKey,
                        say("Sign with the existing key pair of this label instead of making a new one"))
            ->type_name("LABEL")
            ->excludes(label);
        verb.add_flag("--der", der, say("Write DER instead of PEM"));
        destination.options(verb);
        pin.emplace(verb, "pin", say("PIN"));
    }

    void run(const Context& context) const {
        const CertRequestInfo wanted = asked();
        if (!listKeys) destination.requireFit(!der);
        const auto controller = certsController(context);
        const TokenInfo target = findToken(*controller, token);
        std::vector<CertRequestKeyInfo> choices;
        if (!controller->GetCertRequestKeyInfo(target, choices)) throw lastFailureError();
        if (listKeys) return list(context, choices);
        logInFor(target);
        make(context, *controller, target, wanted, choices);
    }

private:
    // The request from the options, without the key.
    CertRequestInfo asked() const {
        CertRequestInfo wanted = info;
        wanted.alternativeNames = platform::joined(alternativeNames);
        if (!usage.empty()) wanted.keyUsage = parseKeyUsage(usage);
        wanted.useExistingKey = !existingKey.empty();
        if (wanted.useExistingKey) wanted.keyLabel = existingKey;
        if (wanted.keyLabel.empty()) wanted.keyLabel = wanted.commonName;
        wanted.format = static_cast<std::uint32_t>(der ? RequestFormat::der : RequestFormat::pem);
        return wanted;
    }

    void make(const Context& context, VpnCertsController& controller, const TokenInfo& target, CertRequestInfo wanted,
              const std::vector<CertRequestKeyInfo>& choices) const {
        KeyChoice(key, digest).applyTo(wanted, choices);
        std::string content;
        const std::string keyStays =
            say("the key pair \"%s\" stays on token \"%s\": use --existing-key to make the request again",
                wanted.keyLabel, nameOf(target));
        std::atomic<bool> interrupted = false;
        const Endings endings([&] {
            interrupted = true;
            printNote(say("The token is still at work. After another Ctrl-C, %s.", escaped(keyStays)));
        });
        const MakeCertRequestResult result = send(context, controller, target, wanted, content);
        if (result != static_cast<MakeCertRequestResult>(vocabulary::MakeRequest::made)) {
            throw withAdvice(errorOf(result, {wanted.keyLabel, nameOf(target), content}));
        }
        if (interrupted) throw CommandError(Exit::interruptedPartly, say("interrupted"), {keyStays});
        try {
            destination.write(content);
        } catch (const CommandError& error) { // the request is lost, but its key remains
            throw CommandError(error.code, error.what(), {keyStays});
        }
        if (destination.file.empty()) return;
        if (context.json) {
            return printJson(
                {{"schema", 1}, {"file", destination.file}, {"key", wanted.keyLabel}, {"token", tokenJson(target)}});
        }
        printLine(say("The request is written to %s; its key pair \"%s\" is on token \"%s\".",
                      escaped(destination.file), escaped(wanted.keyLabel), escaped(nameOf(target))));
    }

    // The PIN is read for a key that is known to ask for it, and when an option has it: a token may also ask for the
    // PIN of each key that it makes.
    MakeCertRequestResult send(const Context& context, VpnCertsController& controller, const TokenInfo& target,
                               const CertRequestInfo& wanted, std::string& content) const {
        const bool asks = wanted.useExistingKey && asksForPin(context, target, wanted.keyLabel);
        if (!asks && !pin->isGiven()) return controller.MakeCertRequest(target, wanted, content);
        if (!pin->isGiven() && inputIsTerminal()) printNote(say("The token asks for the PIN at each use of this key."));
        const Secret given = pin->read(escaped(nameOf(target)));
        auto result = MakeCertRequestResult::notCarriedOut;
        MonitorWithDots(context).MakeCertRequestWithPin(target, wanted, given.text(), result, content);
        return result;
    }

    // For a PIN that was refused, and for a label that a key has already.
    static CommandError withAdvice(CommandError error) {
        const std::vector<bridge::Remark>& remarks = bridge::lastRemarks();
        const Exit first = remarks.empty() ? error.code : exitFor(remarks.front());
        if (first == Exit::wrongPin || first == Exit::pinLocked || first == Exit::finalTry) error.code = first;
        const bool taken = std::any_of(remarks.begin(), remarks.end(), [](const bridge::Remark& remark) {
            return remark.code == static_cast<std::uint32_t>(vocabulary::Refused::alreadyThere);
        });
        if (!taken) return error;
        return {Exit::alreadyThere,
                inOneLine(remarksText(remarks, error.what())),
                {say("--existing-key makes the request with that key; --label names a new one")}};
    }

    static void list(const Context& context, const std::vector<CertRequestKeyInfo>& choices) {
        auto all = nlohmann::ordered_json::array();
        Table table({say("KEY"), say("DIGESTS")});
        for (const CertRequestKeyInfo& choice : choices) {
            auto names = nlohmann::ordered_json::array();
            const std::string joined = platform::joined(choice.digests, ", ", digestName);
            for (const std::uint32_t digest : choice.digests) names.push_back(digestName(digest));
            all.push_back({{"schema", 1}, {"type", keyName(choice.keyType, 0)}, {"bits", choice.keyBits}});
            all.back()["digests"] = names;
            for (const std::uint32_t bits : choice.keyBits) table.add({{keyName(choice.keyType, bits)}, {joined}});
        }
        if (context.json) return printJson(all);
        if (choices.empty()) return printNote(say("The token can't make keys for requests."));
        table.print();
    }
};

} // namespace

void addCertRequestVerbs(CLI::App& group, const Context& context) {
    addVerb<CertRequest>(group, context, "request", say("Make a certificate request, with a key pair on a token"));
}

} // namespace panelctl
