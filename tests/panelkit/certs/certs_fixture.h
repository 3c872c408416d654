// SPDX-License-Identifier: MIT
//
// Shared by the tests of certificates: each record once, with its bytes by hand.
#pragma once

#include <panelkit/certs/cert_imports.h>
#include <panelkit/certs/certs_controller.h>

#include "../../support/operations.h"

// clang-format off
inline const CertInfo certificate{
    .subject = "CN=me", .issuer = "CN=authority", .serialNumber = "0A1B", .fingerprint = "ff",
    .notBefore = 0x0102030405060708, .notAfter = 9, .keyType = 3, .keyBits = 256, .hasPrivateKey = true,
    .state = 2, .keyUsage = 0x101, .flags = 0x80000004};
inline const char* const certificateBytes =
    "05 00 00 00 'CN=me'  0c 00 00 00 'CN=authority'  04 00 00 00 '0A1B'  02 00 00 00 'ff' "
    "08 07 06 05 04 03 02 01  09 00 00 00 00 00 00 00  03 00 00 00  00 01 00 00  01 "
    "02 00 00 00  01 01 00 00  04 00 00 80 ";

inline const CRLInfo crl{
    .issuer = "CN=authority", .number = "17", .thisUpdate = 0x1112131415161718, .nextUpdate = 0x22,
    .revokedCount = 5, .authorityKeyId = "ABCD", .fingerprint = "e"};
inline const char* const crlBytes =
    "0c 00 00 00 'CN=authority'  02 00 00 00 '17'  18 17 16 15 14 13 12 11  22 00 00 00 00 00 00 00 "
    "05 00 00 00  04 00 00 00 'ABCD'  01 00 00 00 'e' ";

inline const CertRequestKeyInfo keyChoice{.keyType = 3, .keyBits = {256, 384}, .digests = {0x250}};
inline const char* const keyChoiceBytes =
    "03 00 00 00  02 00 00 00 00 01 00 00 80 01 00 00  01 00 00 00 50 02 00 00 ";

inline const CertRequestInfo wanted{
    .keyType = 0x0A, .keyBits = 0x0B, .digest = 0x0C, .useExistingKey = true, .format = 0x0E,
    .commonName = "1", .organizationalUnit = "22", .organization = "333", .locality = "4", .stateOrProvince = "5",
    .country = "66", .alternativeNames = "seven", .keyLabel = "8", .keyUsage = 0x0F};
inline const char* const wantedBytes =
    "0a 00 00 00  0b 00 00 00  0c 00 00 00  0e 00 00 00 "
    "01 00 00 00 '1'  02 00 00 00 '22'  03 00 00 00 '333'  01 00 00 00 '4'  01 00 00 00 '5'  02 00 00 00 '66' "
    "01  05 00 00 00 'seven'  01 00 00 00 '8'  0f 00 00 00  0e 00 00 00 ";

// The wire's sixteen texts, the pairs, the number, and the text that comes last.
inline const char* const detailsBytes =
    "02 00 00 00 't1'  02 00 00 00 't2'  02 00 00 00 't3'  02 00 00 00 't4'  02 00 00 00 't5'  02 00 00 00 't6' "
    "02 00 00 00 't7'  02 00 00 00 't8'  02 00 00 00 't9'  03 00 00 00 't10' 03 00 00 00 't11' 03 00 00 00 't12' "
    "03 00 00 00 't13' 03 00 00 00 't14' 03 00 00 00 't15' 03 00 00 00 't16' "
    "02 00 00 00  01 00 00 00 'b'  01 00 00 00 '1'  01 00 00 00 'a'  00 00 00 00 "
    "88 77 66 55 44 33 22 11  03 00 00 00 't17' ";
inline const CertExtentions details = [] {
    CertExtentions d;
    d.label = "t1"; d.keyId = "t2";
    d.version = "t3"; d.signatureAlgorithm = "t4"; d.publicKeyAlgorithm = "t5"; d.publicKeyParameters = "t6";
    d.subjectAlternativeNames = "t7"; d.issuerAlternativeNames = "t8"; d.basicConstraints = "t9"; d.keyUsage = "t10";
    d.extendedKeyUsage = "t11"; d.subjectKeyId = "t12"; d.authorityKeyId = "t13"; d.certificatePolicies = "t17";
    d.crlDistributionPoints = "t14"; d.authorityInfoAccess = "t15"; d.sha1Fingerprint = "t16";
    d.extensions = {{"b", "1"}, {"a", ""}};
    d.revokedAt = 0x1122334455667788;
    return d;
}();
// clang-format on

class WithCertsController : public WithOperations {
protected:
    BridgeSession* const session = SessionsPool::GetSession(SessionCertificates); // the controller takes it
    Hooked<VpnCertsController> controller;

    // The outputs of the operations.
    std::vector<PKCS11::TokenInfo> tokens, tokensOfCrls, tokensOfKeys, tokensOfChain, tokensAlone;
    std::vector<CertInfo> certificates, chain;
    std::vector<CRLInfo> crls;
    std::vector<PresharedKeyInfo> keys;
    std::vector<CertRequestKeyInfo> choices;
    std::vector<ImportCertResult> results;
    CertInfo record;
    CertExtentions read;
    std::string text, verdict, pem;

    // clang-format off
    const Operations operations{
        {Command::EnumCertificates,      hex("fe ff ff ff"), joined({"02 00 00 00", tokenBytes, certificateBytes, tokenBytes, certificateBytes}),
         [this] { return controller.EnumCertificates(-2, certificates, tokens); }, 1},
        {Command::EnumCRLs,              "", joined({"01 00 00 00", tokenBytes, crlBytes}),
         [this] { return controller.EnumCRLs(crls, tokensOfCrls); }, 1},
        {Command::EnumPresharedKeys,     "", joined({"02 00 00 00", tokenBytes, "03 00 00 00 'key'", tokenBytes, "00 00 00 00"}),
         [this] { return controller.EnumPresharedKeys(keys, tokensOfKeys); }, 1},
        {Command::EnumProviderTokens,    "", joined({"01 00 00 00", tokenBytes}), // for another module, over the session of this one
         [this] { return controller.GetTokensList(tokensAlone); }},
        {Command::CertsReloadAll,        hex("01"), "", [this] { return controller.ReloadAll(true); }},
        {Command::CertsReloadAll,        hex("00"), "", [this] { return controller.ReloadAll(false); }},
        {Command::DeleteCertificate,     joined({tokenBytes, certificateBytes}), "",
         [this] { return controller.DeleteCertificate(token, certificate); }},
        {Command::DeletePresharedKey,    joined({tokenBytes, "06 00 00 00 'office'"}), "",
         [this] { return controller.DeletePresharedKey(token, {"office"}); }},
        {Command::DeleteCRL,             joined({tokenBytes, crlBytes}), "", [this] { return controller.DeleteCRL(token, crl); }},
        {Command::CreatePresharedKey,    joined({tokenBytes, "06 00 00 00 'office'  03 00 00 00 00 01 ff"}), hex("01"),
         [this] { return controller.CreatePresharedKey(token, "office", std::string("\0\1\xff", 3)); }},
        {Command::GetCertRequestKeyInfo, joined({tokenBytes}), joined({"01 00 00 00", keyChoiceBytes}),
         [this] { return controller.GetCertRequestKeyInfo(token, choices); }},
        {Command::MakeCertRequest,       joined({tokenBytes, wantedBytes}), hex("07 00 00 00  03 00 00 00 'PEM'"),
         [this] { return controller.MakeCertRequest(token, wanted, pem) == MakeCertRequestResult{7}; }},
        {Command::ImportCertificate,     joined({tokenBytes, "02 00 00 00  0c 00 00 00  01"}), hex("09 00 00 80"),
         [this] { return controller.ImportCertificate(token, 2, CertImportMode{0x0C}, true, nullptr) == ImportCertResult{0x80000009}; }},
        {Command::ImportCertificate,     joined({tokenBytes, "02 00 00 00  0c 00 00 00  01  00 00 00 00"}), hex("00 00 00 00"),
         [this] { return controller.ImportCertificate(token, 2, CertImportMode{0x0C}, true, "") == ImportCertResult{0}; }},
        {Command::ImportCertificate,     joined({tokenBytes, "02 00 00 00  0c 00 00 00  00  04 00 00 00 '1234'"}), hex("00 00 00 00"),
         [this] { return controller.ImportCertificate(token, 2, CertImportMode{0x0C}, false, "1234") == ImportCertResult{0}; }},
        {Command::ImportCertificates,    joined({tokenBytes, "01 00 00 00  02 00 00 00  0c 00 00 00  01"}), hex("01 00 00 00  09 00 00 80"),
         [this] { return panelkit::importCertificates(controller, token, {{2, CertImportMode{0x0C}, true}}, nullptr, results); }, 1},
        {Command::ImportCertificates,    joined({tokenBytes, "00 00 00 00  00 00 00 00"}), hex("00 00 00 00"),
         [this] { return panelkit::importCertificates(controller, token, {}, "", results); }},
        {Command::ImportCertificates,    joined({tokenBytes, "00 00 00 00  04 00 00 00 '1234'"}), hex("01 00 00 00  07 00 00 00"),
         [this] { return panelkit::importCertificates(controller, token, {}, "1234", results); }},
        {Command::ImportCRL,             joined({tokenBytes, "ff ff ff ff"}), hex("05 00 00 00"),
         [this] { return controller.ImportCRL(token, 0xFFFFFFFF) == ImportCRLResult{5}; }},
        {Command::ExportCertificate,     joined({tokenBytes, certificateBytes, "03 00 00 00  06 00 00 00 'secret'  01  00"}), hex("06 00 00 00  03 00 00 00 00 'x' 00"),
         [this] { return controller.ExportCertificate(token, certificate, CertExportFormat{3}, "secret", true, false, text) == ExportCertResult{6}; }},
        {Command::GetCertChain,          joined({tokenBytes, certificateBytes}), joined({"ff ff ff ff  01 00 00 00", tokenBytes, certificateBytes}), // the first word is not looked at
         [this] { return controller.GetCertChain(token, certificate, tokensOfChain, chain); }, 1},
        {Command::GetCertDetails,        joined({tokenBytes, certificateBytes}), joined({certificateBytes, detailsBytes, "04 00 00 00 'text'"}),
         [this] { record = certificate; return controller.GetCertDetails(token, record, read, text); }, 1},
        {Command::VerifyCert,            joined({tokenBytes, certificateBytes, "ff ff ff ff"}), hex("01  03 00 00 00 'why'"),
         [this] { return controller.VerifyCert(token, certificate, -1, &verdict); }, 1},
    };
    // clang-format on
};
