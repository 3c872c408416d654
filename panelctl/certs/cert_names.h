// SPDX-License-Identifier: MIT
//
// How people name certificates, CRLs and preshared keys, and how panelctl finds them: by a name that fits exactly
// (subject, common name, serial number, fingerprint or its beginning, label, PKCS#11 URI), else by a part of the
// subject. Labels are not in the listing: they are read for all certificates in one command, when nothing else fits.
// The error for an unknown name suggests the nearest one, the error for an ambiguous name lists the candidates.
//
//   const auto controller = certsController(context);
//   const OnToken<CertInfo> found = findCertificate(*controller, {"gate.example", "Office"});
#pragma once

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/tokens/token_names.h>

#include <panelkit/certs/certs_controller.h>
#include <panelkit/monitor/monitor_records.h>
#include <platform/text/ascii.h>
#include <vocabulary/certs.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace panelctl {

struct Context;

// An object and the token that holds it.
template <class Object>
struct OnToken {
    Object object;
    PKCS11::TokenInfo token;
};

// Sorts a list for people and scripts: by token, then by name, whatever the case of Latin letters. `name` returns the
// name of an object.
template <class Object, class Name>
void sortByName(std::vector<OnToken<Object>>& listed, const Name& name) {
    const auto key = [&](const OnToken<Object>& entry) {
        return std::pair(nameOf(entry.token), platform::asciiLowered(name(entry.object)));
    };
    std::stable_sort(listed.begin(), listed.end(),
                     [&](const auto& one, const auto& other) { return key(one) < key(other); });
}

// The name of an object from the command line, and the name of its token if given.
struct ObjectName {
    std::string name;
    TokenName token;
    bool exactly = false; // a part of the subject is not enough

    // Adds the argument, called `object`, --token and --provider to a verb.
    void options(CLI::App& verb, const char* object, const std::string& description);
    void ofCertificate(CLI::App& verb);
};

// Ends the verb: several objects have that name. Each candidate is a line that begins with a unique name.
[[noreturn]] void failAmbiguous(const std::string& name, std::vector<std::string> candidates);

// Adds --token and --provider to a verb: the token whose objects are listed, and the token that receives an object.
void addOnToken(CLI::App& verb, TokenName& token);
void addToToken(CLI::App& verb, TokenName& token);

// Draws dots while the service works where a person looks on, and nothing where the output is read by a program.
std::unique_ptr<VpnCertsController> certsController(const Context& context);

// By label, serial number or PKCS#11 URI. An empty name means the only token. Throws CommandError.
PKCS11::TokenInfo findToken(VpnCertsController& controller, const TokenName& name);

// All objects, or those on the token of that name.
std::vector<OnToken<CertInfo>> listCertificates(VpnCertsController& controller, vocabulary::CertSelector selector,
                                                const TokenName& token = {});
std::vector<OnToken<CRLInfo>> listCrls(VpnCertsController& controller, const TokenName& token = {});
std::vector<OnToken<PresharedKeyInfo>> listPresharedKeys(VpnCertsController& controller, const TokenName& token = {});

// The object of that name. Throws CommandError.
OnToken<CertInfo> findCertificate(VpnCertsController& controller, const ObjectName& name);
OnToken<CRLInfo> findCrl(VpnCertsController& controller, const ObjectName& name);
OnToken<PresharedKeyInfo> findPresharedKey(VpnCertsController& controller, const ObjectName& name);

// The positions of the certificates of a file with that name: those that fit exactly, else those that fit in part.
std::vector<std::size_t> placesOf(const std::vector<CertInfo>& certificates, const std::string& name);

// Whether both are the same object, even if its state has changed.
inline bool sameObject(const CertInfo& one, const CertInfo& other) { return one.fingerprint == other.fingerprint; }
inline bool sameObject(const CRLInfo& one, const CRLInfo& other) { return one.fingerprint == other.fingerprint; }
inline bool sameObject(const PresharedKeyInfo& one, const PresharedKeyInfo& other) { return one == other; }
inline bool sameObject(const panelkit::KeyInfo& one, const panelkit::KeyInfo& other) { return one == other; }

// To be called just before a deletion: the token or the object may have been exchanged while the user read and typed.
// `now` is a new listing. Throws CommandError.
template <class Object>
void requireStillThere(const OnToken<Object>& found, const std::vector<OnToken<Object>>& now, const std::string& name) {
    for (const OnToken<Object>& entry : now) {
        if (sameObject(entry.object, found.object) && sameToken(entry.token, found.token)) return;
    }
    throw CommandError(Exit::notFound, say("\"%s\" is no longer there; nothing was done", name));
}

// The label of a certificate's object on its token; empty when it has none.
std::string labelOf(VpnCertsController& controller, const OnToken<CertInfo>& certificate);

} // namespace panelctl
