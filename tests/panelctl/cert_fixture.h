// SPDX-License-Identifier: MIT
//
// A scripted service with two tokens and a few certificates, for panelctl's certificate verbs.
#pragma once

#include "../support/panelctl_fixture.h"

#include <panelkit/certs/cert_records.h>
#include <panelkit/monitor/monitor_records.h>
#include <vocabulary/certs.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <iterator>

class CertVerbs : public PanelctlTest {
protected:
    using TokenInfo = PKCS11::TokenInfo;
    static constexpr std::uint64_t day = 86400;

    CertVerbs() {
        service.answer<Command::EnumProviderTokens>(std::vector<TokenInfo>{office, home});
        listCertificates({{office, gate}, {office, authority}, {home, old}});
        service.answer<Command::EnumCertLabels>(std::vector<panelkit::TokenLabels>{
            {office, {{gate.fingerprint, details.label, details.keyId}, {authority.fingerprint, "", ""}}},
            {home, {{old.fingerprint, "", ""}}}});
        service.on(Command::GetCertDetails,
                   Reaction::reply(encoded(gate, details, std::string("line 1\nline\x1B 2\n"))));
    }

    // The pairs of a listing's reply.
    template <class Object>
    static std::string pairs(const std::vector<std::pair<TokenInfo, Object>>& listed) {
        std::string reply = encoded(static_cast<std::uint32_t>(listed.size()));
        for (const auto& [token, object] : listed) reply += encoded(token, object);
        return reply;
    }
    void listCertificates(const std::vector<std::pair<TokenInfo, CertInfo>>& listed) {
        service.on(panelkit::Command::EnumCertificates, Reaction::reply(pairs(listed)));
    }

    static std::uint64_t now() {
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
                .count());
    }

    const std::uint32_t ready = vocabulary::tokenFlag::initialized | vocabulary::tokenFlag::userPinInitialized;
    const TokenInfo office{1, "Office", "A1", "Acme, X", "embedded", ready};
    const TokenInfo home{2, "東京", "B2", "", "card", ready};

    // Valid for ten days and some hours, for 4000 days and some hours, and expired 20 days and some hours ago.
    const CertInfo gate{.subject = "CN=gate\\, west,O=Büro",
                        .issuer = "CN=Root,O=Büro",
                        .serialNumber = "0A1B",
                        .fingerprint = "11111111AAAAAAAA2222",
                        .notBefore = 1'000'000'000,
                        .notAfter = now() + 10 * day + day / 2,
                        .keyBits = 2048,
                        .hasPrivateKey = true,
                        .keyUsage = vocabulary::keyUsage::digitalSignature | vocabulary::keyUsage::ipsecIke};
    const CertInfo authority{.subject = "CN=Root,O=Büro",
                             .issuer = "CN=Root,O=Büro",
                             .serialNumber = "01",
                             .fingerprint = "22222222AAAAAAAA2222",
                             .notAfter = now() + 4000 * day + day / 2,
                             .keyType = vocabulary::keyType::ec,
                             .keyBits = 384,
                             .flags = vocabulary::certFlag::authority | vocabulary::certFlag::selfIssued};
    const CertInfo old{.subject = "CN=gate east\x1B[2J",
                       .issuer = "CN=Other",
                       .serialNumber = "-FF",
                       .fingerprint = "33333333AAAAAAAA2222",
                       .notAfter = now() - 20 * day - day / 2,
                       .state = static_cast<std::uint32_t>(vocabulary::CertState::expired)};
    const CertExtentions details = [] {
        CertExtentions made;
        made.label = "gate key";
        made.keyId = "C3A4";
        made.subjectAlternativeNames = "DNS:gate.example\x1B[31m";
        made.sha1Fingerprint = "99AA";
        made.extensions = {{"basicConstraints", "CA:FALSE"}};
        return made;
    }();
};

// With a file; the test sets the content that the service reports.
class FileVerbs : public CertVerbs {
protected:
    using CertImport = vocabulary::CertImport;
    static constexpr std::uint32_t bit(CertImport mode) { return 1U << static_cast<std::uint32_t>(mode); }

    FileVerbs() { std::ofstream(path, std::ios::binary) << "bundle"; }

    void fileHolds(const std::vector<CertImportOption>& certificates, const std::vector<CRLInfo>& crls = {}) {
        service.on(
            Command::ParseCertFile,
            Reaction::reply(encoded(std::uint32_t{0}, std::vector<TokenInfo>{office, home}, certificates, crls)));
    }
    template <class Result>
    void answer(Command command, Result result) {
        service.on(command, Reaction::reply(encoded(static_cast<std::uint32_t>(result))));
    }
    std::string imported(const TokenInfo& token, std::uint32_t item, CertImport mode, bool extractable = false) {
        return encoded(token, item, mode, extractable);
    }
    static std::string contentOf(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    TemporaryFolder folder;
    const std::string path = folder.file("bundle.p12");
    const CertImportOption keyed{gate, bit(CertImport::certificateOnly) | bit(CertImport::withPrivateKey), {}};
    const CertImportOption chained{gate, keyed.modes | bit(CertImport::withChain), {}};
    const CertImportOption plain{authority, bit(CertImport::certificateOnly), {}};
    const CRLInfo crl{.issuer = "CN=Root,O=Büro",
                      .number = "7",
                      .thisUpdate = 1'700'000'000,
                      .nextUpdate = 1'700'600'000,
                      .revokedCount = 3,
                      .fingerprint = "44444444AAAAAAAA"};
};
