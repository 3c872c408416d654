// SPDX-License-Identifier: MIT
//
// What an engine needs of the tokens. Plain values; the service reads them from the tokens.
#pragma once

#include <service/base/refused.h>

#include <platform/system/secret.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace panelkitd {

// A PKCS#11 module that an engine may load in a process of its own.
struct EngineModule {
    std::string path;
    std::map<std::string, std::string> environment; // that it needs beside the usual one

    bool operator==(const EngineModule&) const = default;
};

struct EngineToken {
    std::string module; // its path
    std::uint64_t slot = 0;
    std::string label;
    std::string serial;

    // Slots may change; the other facts are the token.
    bool is(const EngineToken& other) const {
        return module == other.module && label == other.label && serial == other.serial;
    }
};

// A certificate on a token, whose private key is on the same token if there is one.
struct EngineCertificate {
    EngineToken token;
    std::string keyId;   // bytes of CKA_ID
    std::string der;     //
    std::string subject; // RFC 4514, as certificates are listed
    std::uint64_t notBefore = 0;
    std::uint64_t notAfter = 0;
    bool hasPrivateKey = false; // that can be seen now: on most tokens only after a log-in
    bool needsLogin = true;     // the private key can be used only after a log-in
    bool tokenIsOpen = false;   // somebody is logged in, or it needs no log-in; engines find it out themselves
    bool authority = false;
    bool forIke = true; // its extended key usages allow IKE
    bool revoked = false;
};

struct EnginePresharedKey {
    EngineToken token;
    std::string name;
    platform::Secret value;
};

struct EngineCrl {
    std::string der;
    std::string issuer;   // RFC 4514, for people
    bool hasKeyId = true; // of its issuer: an authority key identifier

    bool operator==(const EngineCrl&) const = default;
};

struct EngineCredentials {
    bool complete = false; // false: some tokens could not be read; of these it has what was read before
    std::vector<EngineModule> modules;
    std::vector<EngineCertificate> certificates;
    std::vector<std::string> anchors; // DER of the certificates at which a gateway's chain may end
    std::vector<EngineCrl> crls;
    std::vector<EnginePresharedKey> presharedKeys;
    std::vector<EngineToken> keysUnread; // whose preshared keys could not be read; the engine keeps those that it has
};

// That no token has the personal certificate; `subject` may be empty. `complete` is false when some tokens could not be
// read.
bridge::Remark noCertificate(const std::string& subject, bool complete);
// The same of a certificate at which the chain of a gateway's certificate may end.
bridge::Remark noAnchor(bool complete);

} // namespace panelkitd
