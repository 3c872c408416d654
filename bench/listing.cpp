// SPDX-License-Identifier: MIT
//
// Listing a token with thousands of certificates, against reading that token directly.
#include <bench/side_by_side.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/command_sender.h>
#include <service/certs/object_facts.h>
#include <service/certs/token_attributes.h>
#include <service/tokens/cryptoki.h>
#include <tests/support/certificate_maker.h>
#include <tests/support/running_service.h>
#include <vocabulary/certs.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace panelkitd;

namespace {

constexpr int certificates = 2000;
constexpr const char* softHsm = "/usr/lib/softhsm/libsofthsm2.so";

void require(bool done, const char* what) {
    if (done) return;
    std::fprintf(stderr, "bench_listing: %s failed\n", what);
    std::exit(1);
}

// Direct access of this process to the service's tokens.
class OwnLook {
public:
    explicit OwnLook(const std::string& state) {
        ::setenv("SOFTHSM2_CONF", (state + "/softhsm/softhsm2.conf").c_str(), 1);
        library_ = std::make_unique<Pkcs11Library>(softHsm);
        session_ =
            std::make_unique<TokenSession>(*library_, library_->slotsWithToken().at(0), TokenSession::Mode::readWrite);
        std::string pin = "user-1";
        check((*library_)->C_Login(session_->handle(), CKU_USER, mutableBytes(pin), pin.size()), "C_Login");
    }

    void store(const std::string& der) {
        const CertificateFacts facts = readCertificateFacts(der);
        ObjectTemplate object;
        object.number(CKA_CLASS, CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, CKC_X_509);
        object.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false).bytes(CKA_LABEL, facts.shortName);
        object.bytes(CKA_ID, facts.info.fingerprint).bytes(CKA_SUBJECT, facts.subject);
        object.bytes(CKA_ISSUER, facts.issuer).bytes(CKA_SERIAL_NUMBER, facts.serial).bytes(CKA_VALUE, der);
        auto attributes = object.attributes();
        CK_OBJECT_HANDLE handle = 0;
        check((*library_)->C_CreateObject(session_->handle(), attributes.data(), attributes.size(), &handle),
              "C_CreateObject");
    }

    // The calls that any program needs to list them; returns their number.
    std::size_t pass() const {
        CK_OBJECT_CLASS kind = CKO_CERTIFICATE;
        CK_ATTRIBUTE wanted{CKA_CLASS, &kind, sizeof kind};
        check((*library_)->C_FindObjectsInit(session_->handle(), &wanted, 1), "C_FindObjectsInit");
        std::vector<CK_OBJECT_HANDLE> found(2 * certificates);
        CK_ULONG count = 0;
        check((*library_)->C_FindObjects(session_->handle(), found.data(), found.size(), &count), "C_FindObjects");
        (*library_)->C_FindObjectsFinal(session_->handle());
        std::array<std::array<char, 2048>, 5> room{};
        for (CK_ULONG i = 0; i < count; ++i) {
            std::array attributes{CK_ATTRIBUTE{CKA_VALUE, room[0].data(), room[0].size()},
                                  CK_ATTRIBUTE{CKA_ID, room[1].data(), room[1].size()},
                                  CK_ATTRIBUTE{CKA_LABEL, room[2].data(), room[2].size()},
                                  CK_ATTRIBUTE{CKA_TRUSTED, room[3].data(), room[3].size()},
                                  CK_ATTRIBUTE{CKA_PRIVATE, room[4].data(), room[4].size()}};
            (*library_)->C_GetAttributeValue(session_->handle(), found[i], attributes.data(), attributes.size());
        }
        return count;
    }

private:
    std::unique_ptr<Pkcs11Library> library_;
    std::unique_ptr<TokenSession> session_;
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

    void list() {
        std::vector<CertInfo> listed;
        std::vector<PKCS11::TokenInfo> places;
        const auto all = static_cast<std::int32_t>(vocabulary::CertSelector::all);
        require(controller_->EnumCertificates(all, listed, places) && listed.size() == certificates, "the listing");
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

void fill(OwnLook& look) {
    const Identity issuer = makeAuthority("Root");
    const Key key = ecKey();
    for (int i = 0; i < certificates; ++i) {
        CertificateSpec spec{.subject = {{"CN", "user " + std::to_string(i)}, {"O", "Example"}},
                             .serial = std::to_string(i + 1),
                             .extensions = {{"keyUsage", "digitalSignature"}, {"basicConstraints", "CA:FALSE"}}};
        look.store(makeCertificate(spec, key, &issuer).der);
    }
}

} // namespace

int main() {
    // Making objects, not listing them, would take minutes on a disk.
    if (std::filesystem::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 1);
    Office office;
    OwnLook look(office.service().state());
    fill(look);
    const auto bare = [&] { return bench::secondsOf([&] { require(look.pass() == certificates, "the pass"); }); };
    const auto listing = [&] { return bench::secondsOf([&] { office.list(); }); };
    const std::string many = std::to_string(certificates) + " certificates";
    const double first = listing();
    bench::printRow("first listing of " + many, "a bare pass over the token", {first / bare()});
    bench::compare("listing " + many, "a bare pass over the token", 21, listing, bare);
    office.restart();
    const double afterStart = listing();
    bench::printRow("first listing after a start", "a bare pass over the token", {afterStart / bare()});
    return 0;
}
