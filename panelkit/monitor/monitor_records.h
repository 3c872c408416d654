// SPDX-License-Identifier: MIT
//
// The records of MonitorController: the state of providers and tokens, key pairs, labels, settings that are not
// committed, and the content of policy files. Plain values: default construction makes empty strings, zeros and false.
// Identifiers and fingerprints are hexadecimal digits in capitals, without separators; texts are UTF-8.
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <panelkit/bridge/record.h>
#include <panelkit/tokens/token_records.h>

#include <cstdint>
#include <string>
#include <vector>

namespace panelkit {

// ---- states

// What a provider's module is doing.
enum class ProviderCondition : std::uint32_t {
    ready = 0,
    notLoaded = 1,    // its module could not be loaded; it stays so until an administrator acts
    restarting = 2,   // its module's process crashed, or hung and was ended; the service starts it again by itself
    notAnswering = 3, // its module hangs, or has been at work on another command for too long
};

// What can be seen of a token.
enum class TokenCondition : std::uint32_t {
    seen = 0,           // all its objects can be listed
    loggedOut = 1,      // it needs a log-in: private keys and other private objects are not visible
    notInitialised = 2, // it is blank
    removed = 3,        // it was there since its provider was loaded, and is not there now; the record is the last one
    outOfReach = 4,     // its provider is not ready; the record is the last one
};

// A remark of the service in a record: a wording with its arguments (platform/loccore/phrase.h).
struct StateRemark {
    std::uint32_t code{}; // vocabulary/refusals.h
    std::string wording;
    std::vector<std::string> arguments;

    static auto fields(auto& self, auto&& io) { return io(self.code, self.wording, self.arguments); }
    bool operator==(const StateRemark&) const = default;
};
static_assert(RecordListsEveryMember<StateRemark>);

// A provider and its condition.
struct ProviderState {
    std::string name; // as in the listing of providers
    std::string path; // of the module
    ProviderCondition condition{};
    std::vector<StateRemark> why; // empty when it is ready

    static auto fields(auto& self, auto&& io) { return io(self.name, self.path, self.condition, self.why); }
    bool operator==(const ProviderState&) const = default;
};
static_assert(RecordListsEveryMember<ProviderState>);

// A token and its condition.
struct TokenState {
    PKCS11::TokenInfo token; // names its provider
    TokenCondition condition{};

    static auto fields(auto& self, auto&& io) { return io(self.token, self.condition); }
    bool operator==(const TokenState&) const = default;
};
static_assert(RecordListsEveryMember<TokenState>);

// ---- keys

// A key pair on a token, or what is visible of one.
struct KeyInfo {
    std::string label;
    std::string id;          // PKCS#11's CKA_ID, the same for a certificate and its key
    std::uint32_t keyType{}; // PKCS#11's number (CKK_RSA, CKK_EC...)
    std::uint32_t keyBits{}; // 0 when not known, as for a private key on a curve without its public key
    std::string fingerprint; // SHA-256 over the public key in X.509's form; empty when its public half is not there
    bool hasPrivateKey{};    // false also for a private key that is not visible without log-in
    bool hasPublicKey{};
    bool usable{};                         // the private key is there, and the token allows it to sign
    bool extractable{};                    // the private key may be exported from the token
    bool asksForPin{};                     // the token asks for the PIN at each use of the private key
    std::vector<std::string> certificates; // the fingerprints of its certificates on the same token (CertInfo)

    static auto fields(auto& self, auto&& io) {
        return io(self.label, self.id, self.keyType, self.keyBits, self.fingerprint, self.hasPrivateKey,
                  self.hasPublicKey, self.usable, self.extractable, self.asksForPin, self.certificates);
    }
    bool operator==(const KeyInfo&) const = default;
};
static_assert(RecordListsEveryMember<KeyInfo>);

// ---- labels

// How the object of a certificate is labelled on its token.
struct CertLabel {
    std::string fingerprint; // of the certificate (CertInfo)
    std::string label;
    std::string id; // PKCS#11's CKA_ID

    static auto fields(auto& self, auto&& io) { return io(self.fingerprint, self.label, self.id); }
    bool operator==(const CertLabel&) const = default;
};
static_assert(RecordListsEveryMember<CertLabel>);

// A token and how the objects of its certificates are labelled.
struct TokenLabels {
    PKCS11::TokenInfo token;
    std::vector<CertLabel> certificates; // in the order of the listing of certificates

    static auto fields(auto& self, auto&& io) { return io(self.token, self.certificates); }
    bool operator==(const TokenLabels&) const = default;
};
static_assert(RecordListsEveryMember<TokenLabels>);

// ---- settings

// A parameter whose value was written and is not committed yet. The values are in stored form
// (panelkit/lparams/param_kind.h); a SectionValue (section_body.h) prints them. Those of a secret are empty.
struct UncommittedValue {
    std::string section;
    std::string key;
    bool secret{};
    std::string committed; // what a restart of the service brings back; the default of a section never committed
    std::string written;

    static auto fields(auto& self, auto&& io) {
        return io(self.section, self.key, self.secret, self.committed, self.written);
    }
    bool operator==(const UncommittedValue&) const = default;
};
static_assert(RecordListsEveryMember<UncommittedValue>);

// ---- policies

// A section of a policy file. Texts are as in the file; what the file leaves out has its default, or is empty where the
// key has no meaning.
struct PolicyRule {
    std::string name;
    std::uint32_t line{};       // of its heading, from 1
    std::string action;         // "protect", "pass" or "drop"
    std::string network;        // "any" for every address
    std::string protocol;       // "any" for every protocol
    std::string port;           // empty for every port
    std::string gateway;        // of "protect"
    std::string authentication; // of "protect": "certificate" or "preshared-key"
    std::string subject;        // of the certificate; empty for any personal certificate
    std::string key;            // name of the preshared key

    static auto fields(auto& self, auto&& io) {
        return io(self.name, self.line, self.action, self.network, self.protocol, self.port, self.gateway,
                  self.authentication, self.subject, self.key);
    }
    bool operator==(const PolicyRule&) const = default;
};
static_assert(RecordListsEveryMember<PolicyRule>);

// What a policy file says. The first rule that matches a packet decides.
struct PolicyContent {
    std::string title;
    std::string version;
    std::string description;
    std::vector<PolicyRule> rules;

    static auto fields(auto& self, auto&& io) { return io(self.title, self.version, self.description, self.rules); }
    bool operator==(const PolicyContent&) const = default;
};
static_assert(RecordListsEveryMember<PolicyContent>);

} // namespace panelkit
