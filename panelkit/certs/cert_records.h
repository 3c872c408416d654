// SPDX-License-Identifier: MIT
//
// Certificates, revocation lists, preshared keys and certificate requests in their wire form. Plain values: default
// construction makes empty strings, zeros and false. The library carries the fields and does not interpret them; a
// request names an object by sending back its record as it was listed. The names say what the fields are for; numbers
// are those of X.509 and PKCS#11. What the service puts into each field is described in docs/service-api.md.
//
// Times are seconds since 1970-01-01 00:00 UTC. Serial numbers, key identifiers and fingerprints are hexadecimal.
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <panelkit/bridge/record.h>
#include <panelkit/tokens/token_records.h>

#include <cstdint>
#include <string>
#include <vector>

// A certificate on a token, or in a file that was parsed.
struct CertInfo {
    std::string subject;
    std::string issuer;
    std::string serialNumber;  // with the issuer it identifies the certificate
    std::string fingerprint;   // SHA-256 over the whole certificate: identifies it
    std::uint64_t notBefore{}; // time
    std::uint64_t notAfter{};  // time
    std::uint32_t keyType{};   // PKCS#11's number (CKK_RSA, CKK_EC...)
    std::uint32_t keyBits{};
    bool hasPrivateKey{};     // its private key is on the same token
    std::uint32_t state{};    // valid, expired, revoked...
    std::uint32_t keyUsage{}; // what the key may be used for, as bits
    std::uint32_t flags{};

    static auto fields(auto& self, auto&& io) {
        return io(self.subject, self.issuer, self.serialNumber, self.fingerprint, self.notBefore, self.notAfter, //
                  self.keyType, self.keyBits, self.hasPrivateKey, self.state, self.keyUsage, self.flags);
    }
    bool operator==(const CertInfo&) const = default;
};
static_assert(RecordListsEveryMember<CertInfo>);

// A certificate revocation list.
struct CRLInfo {
    std::string issuer;
    std::string number;           // the list's CRL number; empty when it has none
    std::uint64_t thisUpdate{};   // time
    std::uint64_t nextUpdate{};   // time
    std::uint32_t revokedCount{}; // certificates that it revokes
    std::string authorityKeyId;   // which of the issuer's keys signed it
    std::string fingerprint;      // SHA-256 over the whole list

    static auto fields(auto& self, auto&& io) {
        return io(self.issuer, self.number, self.thisUpdate, self.nextUpdate, self.revokedCount, //
                  self.authorityKeyId, self.fingerprint);
    }
    bool operator==(const CRLInfo&) const = default;
};
static_assert(RecordListsEveryMember<CRLInfo>);

// A preshared key on a token. Its value is not part of the record.
struct PresharedKeyInfo {
    std::string name;

    static auto fields(auto& self, auto&& io) { return io(self.name); }
    bool operator==(const PresharedKeyInfo&) const = default;
};
static_assert(RecordListsEveryMember<PresharedKeyInfo>);

// A certificate from a file, and how it can be imported.
struct CertImportOption {
    CertInfo certificate;
    std::uint32_t modes{};                // the import modes that are possible, as bits
    std::vector<std::uint32_t> keyTokens; // tokens that hold its private key: indexes into the list of tokens

    static auto fields(auto& self, auto&& io) { return io(self.certificate, self.modes, self.keyTokens); }
    bool operator==(const CertImportOption&) const = default;
};
static_assert(RecordListsEveryMember<CertImportOption>);

// A type of key that a token can make for a certificate request.
struct CertRequestKeyInfo {
    std::uint32_t keyType{};            // PKCS#11's number
    std::vector<std::uint32_t> keyBits; // the sizes to choose from
    std::vector<std::uint32_t> digests; // to sign the request with: PKCS#11's mechanism numbers (CKM_SHA256...)

    static auto fields(auto& self, auto&& io) { return io(self.keyType, self.keyBits, self.digests); }
    bool operator==(const CertRequestKeyInfo&) const = default;
};
static_assert(RecordListsEveryMember<CertRequestKeyInfo>);

// The contents of a certificate request. Empty parts of the subject are left out of it.
struct CertRequestInfo {
    std::uint32_t keyType{}; // one of the choices of CertRequestKeyInfo; so are the next two
    std::uint32_t keyBits{};
    std::uint32_t digest{};
    bool useExistingKey{};  // sign with the key pair called keyLabel, instead of making one
    std::uint32_t format{}; // of the request that is returned
    std::string commonName;
    std::string organizationalUnit;
    std::string organization;
    std::string locality;
    std::string stateOrProvince;
    std::string country;
    std::string alternativeNames; // of the subject: "DNS:gate.example, IP:192.0.2.1"
    std::string keyLabel;         // of the key pair on the token
    std::uint32_t keyUsage{};     // requested; bits as in CertInfo::keyUsage

    // The format is sent twice: after the numbers and at the very end. The service reads both places, so without the
    // second one the request is four bytes short and is refused.
    static auto fields(auto& self, auto&& io) {
        return io(self.keyType, self.keyBits, self.digest, self.format, self.commonName, self.organizationalUnit,
                  self.organization, self.locality, self.stateOrProvince, self.country, self.useExistingKey,
                  self.alternativeNames, self.keyLabel, self.keyUsage, self.format);
    }
    static constexpr int fieldsBeyondMembers = 1; // the second copy of the format
    bool operator==(const CertRequestInfo&) const = default;
};
static_assert(RecordListsEveryMember<CertRequestInfo>);

// The details of a certificate, as texts to show. A text is empty when the certificate does not have that extension.
//
// Members marked with "front end" are not sent, and the library neither reads nor writes them: a front end can keep its
// own texts there. They keep their values when a record is filled again.
struct CertExtentions {
    PKCS11::TokenInfo token; // front end: whose details these are
    CertInfo certificate;    // front end

    std::string label; // of the object on the token
    std::string keyId; // PKCS#11's CKA_ID, the same for a certificate and its key

    std::string validFrom; // front end: the validity in the user's time and language
    std::string validTo;   // front end

    std::string version;
    std::string signatureAlgorithm;
    std::string publicKeyAlgorithm;
    std::string publicKeyParameters;

    std::string purpose; // front end: usage and constraints in the user's language

    std::string subjectAlternativeNames;
    std::string issuerAlternativeNames;
    std::string basicConstraints;
    std::string keyUsage;
    std::string extendedKeyUsage;
    std::string subjectKeyId;
    std::string authorityKeyId;
    std::string certificatePolicies; // the last one on the wire
    std::string crlDistributionPoints;
    std::string authorityInfoAccess;
    std::string sha1Fingerprint;
    StringPairs extensions; // all of them in the certificate's order: name or object identifier, and value

    std::string revocation; // front end: the time below in the user's time and language

    std::uint64_t revokedAt{}; // time; 0 when none of the service's lists revokes it

    static auto fields(auto& self, auto&& io) {
        return io(self.label, self.keyId, self.version, self.signatureAlgorithm, self.publicKeyAlgorithm,
                  self.publicKeyParameters, self.subjectAlternativeNames, self.issuerAlternativeNames,
                  self.basicConstraints, self.keyUsage, self.extendedKeyUsage, self.subjectKeyId, self.authorityKeyId,
                  self.crlDistributionPoints, self.authorityInfoAccess, self.sha1Fingerprint, //
                  self.extensions, self.revokedAt, self.certificatePolicies);
    }
    static constexpr int fieldsBeyondMembers = -6; // the front end's members
    bool operator==(const CertExtentions&) const = default;
};
static_assert(RecordListsEveryMember<CertExtentions>);
