// SPDX-License-Identifier: MIT
//
// A service with an initialised SoftHSM2 token to which it is logged in, and short helpers for tests of certificates.
#pragma once

#include <panelkit/certs/certs_controller.h>

#include "../support/certificate_maker.h"
#include "with_service.h"

#include <vocabulary/certs.h>

#include <platform/system/files.h>

using vocabulary::CertExport;
using vocabulary::CertImport;
using vocabulary::ExportCert;
using vocabulary::ImportCert;
using vocabulary::ImportCrl;
using vocabulary::ParseResult;

class WithCertificates : public WithService {
protected:
    explicit WithCertificates(std::vector<std::string> arguments = {}, Environment environment = {})
        : WithService(std::move(arguments), std::move(environment)) {}

    void initialize(const std::string& label = "Office") {
        ASSERT_TRUE(tokens.TokenInitialize(token(""), label, "so-pin-1", "user-1", false));
        login(label);
    }
    void login(const std::string& label = "Office") {
        ASSERT_TRUE(tokens.TokenLogin(token(label), "user-1", false, nullptr)) << bridge::lastFailure().text();
    }
    // Runs another program of this host, tests/support/token_user.cpp, with the service's module. Returns its output.
    std::string tokenUser(const std::string& pin, std::vector<std::string> what = {}) {
        what.insert(what.begin(), {builtProgram("token_user"), providers().at(0).*vocabulary::provider::path, pin});
        platform::ChildOptions program{.arguments = std::move(what)};
        program.environment["SOFTHSM2_CONF"] = service.state() + "/softhsm/softhsm2.conf";
        const platform::ChildResult result = platform::runChild(program, std::chrono::seconds(60));
        EXPECT_EQ(result.status, 0) << result.error;
        return result.output;
    }
    void logout(const std::string& label = "Office") { ASSERT_TRUE(tokens.TokenLogout(token(label))); }

    vocabulary::ParseResult parse(const std::string& file, const std::string& password = {}) {
        const std::string path = service.folder().file("to-import");
        platform::replaceFile(path, file, true);
        return static_cast<vocabulary::ParseResult>(
            controller->ParseCertFile(path.c_str(), password.c_str(), targets, options, crls));
    }
    vocabulary::ImportCert import(vocabulary::CertImport mode = vocabulary::CertImport::certificateOnly,
                                  std::uint32_t item = 0, bool extractable = false, const char* pin = nullptr) {
        return static_cast<vocabulary::ImportCert>(
            controller->ImportCertificate(token(), item, static_cast<CertImportMode>(mode), extractable, pin));
    }
    vocabulary::ImportCert importFile(const std::string& file, const std::string& password = {},
                                      vocabulary::CertImport mode = vocabulary::CertImport::certificateOnly,
                                      bool extractable = false) {
        EXPECT_EQ(parse(file, password), vocabulary::ParseResult::parsed);
        return import(mode, 0, extractable);
    }
    vocabulary::ImportCrl importCrl(const std::string& file) {
        EXPECT_EQ(parse(file), vocabulary::ParseResult::parsed);
        return static_cast<vocabulary::ImportCrl>(controller->ImportCRL(token(), 0));
    }

    std::vector<CertInfo> list(vocabulary::CertSelector selector = vocabulary::CertSelector::all) {
        std::vector<CertInfo> certificates;
        std::vector<PKCS11::TokenInfo> places;
        EXPECT_TRUE(controller->EnumCertificates(static_cast<std::int32_t>(selector), certificates, places))
            << bridge::lastFailure().text();
        return certificates;
    }
    std::vector<CRLInfo> listCrls() {
        std::vector<CRLInfo> listed;
        std::vector<PKCS11::TokenInfo> places;
        EXPECT_TRUE(controller->EnumCRLs(listed, places)) << bridge::lastFailure().text();
        return listed;
    }
    // The certificate whose subject ends with the text.
    CertInfo named(const std::string& subject) {
        for (const CertInfo& candidate : list()) {
            if (candidate.subject == subject) return candidate;
        }
        ADD_FAILURE() << "no certificate " << subject;
        return {};
    }
    vocabulary::CertState stateOf(const std::string& subject) {
        return static_cast<vocabulary::CertState>(named(subject).state);
    }
    bool verifies(const std::string& subject, std::uint32_t how = 0) {
        return controller->VerifyCert(token(), named(subject), static_cast<std::int32_t>(how), &text);
    }
    vocabulary::ExportCert exportAs(vocabulary::CertExport format, const CertInfo& certificate,
                                    const std::string& password = {}, bool withChain = false, bool withKey = false) {
        return static_cast<vocabulary::ExportCert>(controller->ExportCertificate(
            token(), certificate, static_cast<CertExportFormat>(format), password, withChain, withKey, content));
    }

    std::unique_ptr<VpnCertsSilentController> controller = std::make_unique<VpnCertsSilentController>();

    // The outputs of the last call.
    std::vector<PKCS11::TokenInfo> targets;
    std::vector<CertImportOption> options;
    std::vector<CRLInfo> crls;
    std::string text;
    std::string content;
};

class TheToken : public WithCertificates {
protected:
    void SetUp() override { initialize(); }
};
