// SPDX-License-Identifier: MIT
//
// What measurements with certificates on a SoftHSM2 token use: the service, logged in to it, and a program that uses
// the same token directly.
#pragma once

#include <bench/bare_token.h>
#include <bench/side_by_side.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/command_sender.h>
#include <platform/bridge/failure.h>
#include <platform/system/files.h>
#include <service/certs/object_facts.h>
#include <tests/support/certificate_maker.h>
#include <tests/support/running_service.h>
#include <vocabulary/certs.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace bench {

using namespace panelkitd;

inline constexpr const char* softHsm = "/usr/lib/softhsm/libsofthsm2.so";

inline void require(bool done, const char* what) {
    if (done) return;
    std::fprintf(stderr, "bench: %s failed\n", what);
    std::exit(1);
}

// Direct access of this process to the service's tokens.
class OwnLook {
public:
    explicit OwnLook(const std::string& state) {
        ::setenv("SOFTHSM2_CONF", (state + "/softhsm/softhsm2.conf").c_str(), 1);
        library_ = std::make_unique<Pkcs11Library>(softHsm);
        token_ = std::make_unique<BareToken>(*library_, library_->slotsWithToken().at(0));
        token_->login("user-1");
    }

    void store(const std::string& der) {
        const CertificateFacts facts = readCertificateFacts(der);
        const CK_ULONG kind = CKO_CERTIFICATE, type = CKC_X_509;
        BareTemplate object;
        object.number(CKA_CLASS, kind).number(CKA_CERTIFICATE_TYPE, type);
        object.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false).bytes(CKA_LABEL, facts.shortName);
        object.bytes(CKA_ID, facts.info.fingerprint).bytes(CKA_SUBJECT, facts.subject);
        object.bytes(CKA_ISSUER, facts.issuer).bytes(CKA_SERIAL_NUMBER, facts.serial).bytes(CKA_VALUE, der);
        token_->create(object);
    }

    void clear() const { token_->destroyCertificates(); }

    // What any program needs to list them; returns their number.
    std::size_t pass() const { return token_->certificates().size(); }

private:
    std::unique_ptr<Pkcs11Library> library_;
    std::unique_ptr<BareToken> token_;
};

// The service, logged in to a token.
class Office {
public:
    Office() : service_({"--log-level", "details"}) {
        begin();
        require(tokens_.TokenInitialize(token(), "Office", "so-pin-1", "user-1", false), "initialising the token");
        require(tokens_.TokenLogin(token(), "user-1", false, nullptr), "the log-in");
    }
    const RunningService& service() const { return service_; }

    // Returns the number of certificates.
    std::size_t look() {
        std::vector<CertInfo> listed;
        std::vector<PKCS11::TokenInfo> places;
        const auto all = static_cast<std::int32_t>(vocabulary::CertSelector::all);
        const bool done = controller_->EnumCertificates(all, listed, places);
        require(done, ("a listing (" + bridge::lastFailure().text() + ")").c_str());
        return listed.size();
    }

    // Returns after the service has read the tokens for the first time.
    void restart() {
        service_.terminate();
        service_.start();
        begin();
        while (service_.log().find("have been looked into") == std::string::npos) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

private:
    void begin() {
        for (const SessionId_t id : {SessionCertificates, SessionTokens}) SessionsPool::CloseSession(id);
        CommandSender::Instance().SetEndpoint(service_.endpoint());
        controller_ = std::make_unique<VpnCertsSilentController>();
    }
    PKCS11::TokenInfo token() {
        std::vector<PKCS11::TokenInfo> listed;
        require(tokens_.EnumProviderTokens(nullptr, listed) && !listed.empty(), "looking for a token");
        return listed[0];
    }

    RunningService service_;
    VpnTokensController tokens_;
    std::unique_ptr<VpnCertsSilentController> controller_;
};

// Makes certificates that differ.
class Maker {
public:
    std::string next() {
        const std::string number = std::to_string(++made_);
        CertificateSpec spec{.subject = {{"CN", "user " + number}, {"O", "Example"}},
                             .serial = number,
                             .extensions = {{"keyUsage", "digitalSignature"}, {"basicConstraints", "CA:FALSE"}}};
        return makeCertificate(spec, key_, &issuer_).der;
    }
    std::vector<std::string> next(int count) {
        std::vector<std::string> all;
        for (int i = 0; i < count; ++i) all.push_back(next());
        return all;
    }
    int made() const { return made_; }

private:
    Identity issuer_ = makeAuthority("Root");
    Key key_ = ecKey();
    int made_ = 0;
};

inline double secondsOfPanelctl(const RunningService& service, const std::vector<std::string>& verb) {
    std::vector<std::string> command{builtProgram("panelctl"), "--endpoint", service.endpoint()};
    command.insert(command.end(), verb.begin(), verb.end());
    return secondsOfProgram(std::move(command));
}

} // namespace bench
