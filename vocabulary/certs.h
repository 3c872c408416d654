// SPDX-License-Identifier: MIT
//
// What panelkitd puts into the fields of certificates, CRLs, preshared keys and requests, and the meaning of the
// numbers and texts of the certificate operations. docs/service-api.md describes them in prose. Numbers never change.
//
// Conventions: times are seconds since 1970-01-01 UTC; subjects and issuers are RFC 4514 texts; serial numbers,
// fingerprints and key identifiers are hexadecimal digits in capitals, without separators.
#pragma once

#include <cstdint>

namespace vocabulary {

// CertInfo::keyType, CertRequestInfo::keyType, CertRequestKeyInfo::keyType: PKCS#11's CKK_ numbers.
namespace keyType {
// clang-format off
inline constexpr std::uint32_t rsa     = 0x00000000;
inline constexpr std::uint32_t dsa     = 0x00000001;
inline constexpr std::uint32_t ec      = 0x00000003;
inline constexpr std::uint32_t edwards = 0x00000040;
inline constexpr std::uint32_t unknown = 0xFFFFFFFF;
// clang-format on
} // namespace keyType

// CertRequestInfo::digest, CertRequestKeyInfo::digests: PKCS#11's CKM_ numbers of the digest mechanisms.
namespace digest {
// clang-format off
inline constexpr std::uint32_t sha256 = 0x00000250;
inline constexpr std::uint32_t sha384 = 0x00000260;
inline constexpr std::uint32_t sha512 = 0x00000270;
// clang-format on
} // namespace digest

// CertInfo::state
enum class CertState : std::uint32_t {
    valid = 0,
    notYetValid = 1,
    expired = 2,
    revoked = 3,    // by a CRL that is on a token
    unreadable = 4, // the object is not an X.509 certificate; its other fields are empty
};

// CertInfo::keyUsage, CertRequestInfo::keyUsage. 0: the certificate has neither extension.
namespace keyUsage {
// clang-format off
inline constexpr std::uint32_t digitalSignature = 1U << 0; // bits 0 to 8 as in RFC 5280
inline constexpr std::uint32_t nonRepudiation   = 1U << 1;
inline constexpr std::uint32_t keyEncipherment  = 1U << 2;
inline constexpr std::uint32_t dataEncipherment = 1U << 3;
inline constexpr std::uint32_t keyAgreement     = 1U << 4;
inline constexpr std::uint32_t keyCertSign      = 1U << 5;
inline constexpr std::uint32_t crlSign          = 1U << 6;
inline constexpr std::uint32_t encipherOnly     = 1U << 7;
inline constexpr std::uint32_t decipherOnly     = 1U << 8;
inline constexpr std::uint32_t serverAuth       = 1U << 16; // extended key usages
inline constexpr std::uint32_t clientAuth       = 1U << 17;
inline constexpr std::uint32_t codeSigning      = 1U << 18;
inline constexpr std::uint32_t emailProtection  = 1U << 19;
inline constexpr std::uint32_t timeStamping     = 1U << 20;
inline constexpr std::uint32_t ocspSigning      = 1U << 21;
inline constexpr std::uint32_t ipsecIke         = 1U << 22;
// clang-format on
} // namespace keyUsage

// CertInfo::flags
namespace certFlag {
// clang-format off
inline constexpr std::uint32_t authority      = 0x01; // a CA: basic constraints say so
inline constexpr std::uint32_t selfIssued     = 0x02; // subject and issuer are the same
inline constexpr std::uint32_t trusted        = 0x04; // may be the end of a chain; a remark says why
inline constexpr std::uint32_t privateObject  = 0x08; // visible only when logged in
inline constexpr std::uint32_t canDelete      = 0x10;
inline constexpr std::uint32_t keyExtractable = 0x20; // its private key may be exported from the token
inline constexpr std::uint32_t keyAsksForPin  = 0x40; // the token asks for the PIN at each use of the key
// clang-format on
} // namespace certFlag

// EnumCertificates, selector
enum class CertSelector : std::int32_t {
    all = 0,
    withPrivateKey = 1,
    authorities = 2,
    others = 3, // neither
};

// CertsReloadAll, flag: parsed files and caches of all sessions are dropped too.

// ParseCertFile: the second text is the password of a PKCS#12 or of an encrypted key. 0, 1 and 3 are the library's.
enum class ParseResult : std::uint32_t {
    parsed = 0,
    unknownFormat = 2,
    passwordWrong = 4, // or missing
    nothingUsable = 5, // understood, but it has neither a certificate nor a CRL
    tooCostly = 6,     // its key derivation would take too long, or it holds too many objects
};

// CertImportOption::modes are bits 1 << CertImport; ::keyTokens are indexes into the list of tokens of the same reply.
enum class CertImport : std::uint32_t {
    certificateOnly = 0,
    withPrivateKey = 1,
    withChain = 2, // with its key, if the file has it, and the CAs of the file that it needs
};

// ImportCertificate(token, item, mode, flag, text): item is an index into the options of this session's last parse;
// flag: the key may be exported later; text: the token's PIN for this one import, null to use the present log-in. 3 is
// the library's.
enum class ImportCert : std::uint32_t {
    imported = 0,
    refusedByToken = 1,
    noSuchItem = 2, // or no file was parsed in this session
    alreadyThere = 4,
    notLoggedIn = 5,
    wrongPin = 6,
    tokenFull = 7,
    modeUnfit = 8, // for example, the file has no such key
    noSuchToken = 9,
    writeProtected = 10,
    notSupported = 11, // the token can't hold such a key
    pinLocked = 12,
};

// ImportCRL(token, item): item is an index into the CRLs of this session's last parse. 2 is the library's.
enum class ImportCrl : std::uint32_t {
    imported = 0,
    refusedByToken = 1,
    noSuchItem = 3,
    alreadyThere = 4,
    olderThanPresent = 5, // the token has a newer list of that issuer
    signatureWrong = 6,   // its issuer is on a token and did not sign it
    notLoggedIn = 7,
    tokenFull = 8,
    noSuchToken = 9,
    writeProtected = 10,
};

// ExportCertificate(token, certificate, format, text, flag1, flag2): text is the password of a PKCS#12; flag1: with its
// chain; flag2: with its private key (only PKCS#12). The reply's string is the content, or the reason. 3 is the
// library's.
enum class CertExport : std::uint32_t { pem = 0, der = 1, pkcs7Pem = 2, pkcs7Der = 3, pkcs12 = 4 };
// The result of ExportCertificate.
enum class ExportCert : std::uint32_t {
    exported = 0,
    noSuchCertificate = 1,
    formatUnfit = 2, // for example, DER holds one certificate and no key
    keyNotExtractable = 4,
    passwordUnfit = 5,
    notLoggedIn = 6,
};

// GetCertDetails: the last string is the certificate as text. GetCertChain: the first word is 1 when the chain ends at
// a self-signed certificate on a token, else 0.

// VerifyCert: the value is a purpose, and these bits. The string says why it fails, or lists the chain.
enum class VerifyPurpose : std::uint32_t { any = 0, ikePeer = 1, tlsServer = 2, tlsClient = 3, authority = 4 };
namespace verifyFlag {
inline constexpr std::uint32_t purposeMask = 0x00FF;
inline constexpr std::uint32_t crlRequired = 0x0100;  // a current CRL must be present for every CA of the chain
inline constexpr std::uint32_t noRevocation = 0x0200; // CRLs are ignored
} // namespace verifyFlag

// MakeCertRequest. CertRequestInfo::format must be the same in both places. The reply's string is the request, or the
// reason. 4 is the library's.
enum class RequestFormat : std::uint32_t { pem = 0, der = 1 };
enum class MakeRequest : std::uint32_t {
    made = 0,
    refusedByToken = 1,
    keyUnfit = 2,     // no such choice of type, size and digest
    subjectUnfit = 3, // no name at all, or one that X.509 does not allow
    notLoggedIn = 5,
    noSuchKey = 6,
    tokenFull = 7,
    noSuchToken = 8,
};

// CreatePresharedKey(token, first, second): first is the key's name, unique on its token, 1 to 64 characters; second is
// its value. A refusal carries its number from refusals.h.

} // namespace vocabulary
