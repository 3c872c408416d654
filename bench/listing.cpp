// SPDX-License-Identifier: MIT
//
// Importing certificates and listing a token with thousands of them, against using that token directly.
#include <bench/bare_token.h>
#include <bench/side_by_side.h>

#include <panelkit/bridge/sessions_pool.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/command_sender.h>
#include <platform/system/child_process.h>
#include <platform/system/files.h>
#include <service/certs/object_facts.h>
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
        token_ = std::make_unique<bench::BareToken>(*library_, library_->slotsWithToken().at(0));
        token_->login("user-1");
    }

    void store(const std::string& der) {
        const CertificateFacts facts = readCertificateFacts(der);
        const CK_ULONG kind = CKO_CERTIFICATE, type = CKC_X_509;
        bench::BareTemplate object;
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
    std::unique_ptr<bench::BareToken> token_;
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

    void list() { require(look() == certificates, "the listing"); }

    // Returns the number of certificates.
    std::size_t look() {
        std::vector<CertInfo> listed;
        std::vector<PKCS11::TokenInfo> places;
        const auto all = static_cast<std::int32_t>(vocabulary::CertSelector::all);
        require(controller_->EnumCertificates(all, listed, places), "a listing");
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

double secondsOf(std::vector<std::string> command) {
    platform::ChildOptions options;
    options.arguments = std::move(command);
    return bench::secondsOf([&] {
        require(platform::runChild(options, std::chrono::seconds(120)).status == 0, options.arguments[0].c_str());
    });
}

double secondsOfPanelctl(const RunningService& service, const std::vector<std::string>& verb) {
    std::vector<std::string> command{builtProgram("panelctl"), "--endpoint", service.endpoint()};
    command.insert(command.end(), verb.begin(), verb.end());
    return secondsOf(std::move(command));
}

// From start to exit, with the same token. The others load its module themselves.
void compareTokenLists(const Office& office) {
    const auto ours = [&] { return secondsOfPanelctl(office.service(), {"token", "list"}); };
    bench::compare("panelctl token list", "pkcs11-tool -L", 31, ours, [] {
        return secondsOf({"/usr/bin/pkcs11-tool", "--module", softHsm, "-L"});
    });
    bench::compare("panelctl token list", "p11tool --list-tokens", 31, ours, [] {
        return secondsOf({"/usr/bin/p11tool", "--provider", softHsm, "--list-tokens"});
    });
}

// An import tells what the token has already, so the ratio depends on how many certificates `before` it has. The
// service has seen them before, as one that runs for a while has.
void compareImports(Office& office, OwnLook& look, Maker& maker, int before) {
    constexpr int bundle = 200;
    const auto begin = [&] {
        look.clear();
        for (const std::string& der : maker.next(before)) look.store(der);
        return maker.next(bundle);
    };
    const auto ours = [&] {
        std::string file;
        for (const std::string& der : begin()) file += pem(der);
        office.look();
        const std::string path = office.service().folder().file("bundle.pem");
        platform::replaceFile(path, file, true);
        return secondsOfPanelctl(office.service(), {"cert", "import", path, "--token", "Office"});
    };
    const auto theirs = [&] {
        const std::vector<std::string> all = begin();
        return bench::secondsOf([&] {
            for (const std::string& der : all) look.store(der);
        });
    };
    const std::string onto = before == 0 ? "an empty token" : "a token with " + std::to_string(before);
    bench::compare("importing 200 certificates to " + onto, "writing them, in one session", 5, ours, theirs);
}

} // namespace

int main() {
    // Making objects, not listing them, would take minutes on a disk.
    if (std::filesystem::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 1);
    Office office;
    OwnLook look(office.service().state());
    Maker maker;
    compareTokenLists(office);
    for (const int before : {0, 400}) compareImports(office, look, maker, before);
    look.clear();
    maker = Maker();
    while (maker.made() < certificates) look.store(maker.next());
    const auto bare = [&] { return bench::secondsOf([&] { require(look.pass() == certificates, "the pass"); }); };
    const auto listing = [&] { return bench::secondsOf([&] { office.list(); }); };
    const std::string many = std::to_string(certificates) + " certificates";
    const double first = listing();
    bench::printRow("first listing of " + many, "a bare pass over the token", {first / bare()});
    bench::compare("listing " + many, "a bare pass over the token", 21, listing, bare);
    const double named = secondsOfPanelctl(office.service(), {"cert", "show", "user 1234"});
    bench::printRow("panelctl shows one of them by name", "0.3 seconds", {named / 0.3});
    office.restart();
    const double afterStart = listing();
    bench::printRow("first listing after a start", "a bare pass over the token", {afterStart / bare()});
    return 0;
}
