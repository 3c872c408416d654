// SPDX-License-Identifier: MIT
//
// The engine "charon", alone and in a service, against a gateway that is a plain charon with a configuration written by
// hand. The key is on a SoftHSM2 token. Needs root.
#pragma once

#include "../support/certificate_maker.h"
#include "../support/gateway_posix.h"
#include "../support/panelctl.h"
#include "../support/running_service.h"

#include <service/engine/charon_engine.h>
#include <service/engine/vici_connection.h>

#include <platform/system/guarded.h>

#include <gmock/gmock.h>

#include <netdb.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <thread>

namespace panelkitd {

inline constexpr const char* byCertificate = R"(title = Office
version = 1
[office]
action = protect
network = 10.9.0.0/16
gateway = 192.168.8.2
subject = CN=anna
[rest]
action = drop
network = 10.0.0.0/8
)";

inline constexpr const char* byKey = R"(title = Partner
version = 2
[partner]
action = protect
network = 10.9.0.0/16
gateway = 192.168.8.2
authentication = preshared-key
key = shared
)";

inline constexpr const char* gate = R"(connections {
  clients {
    local { auth = pubkey
      certs = gate.pem
      id = ID }
    remote { auth = pubkey
      cacerts = ca.pem }
    OPTIONS
    children { nets { local_ts = 10.9.0.0/16, fd99::/64
        esp_proposals = aes128-sha256 } }
    encap = yes
  }
  partners {
    local { auth = psk
      id = 192.168.8.2 }
    remote { auth = psk }
    OPTIONS
    children { nets { local_ts = 10.9.0.0/16
        esp_proposals = aes128-sha256 } }
    encap = yes
  }
}
secrets { ike-1 { secret = "open sesame" } }
)";

inline std::string gateWith(const std::string& identity, const std::string& options = {}) {
    std::string text = gate;
    text.replace(text.find("ID "), 2, identity);
    for (std::size_t at = text.find("OPTIONS"); at != text.npos; at = text.find("OPTIONS"))
        text.replace(at, 7, options);
    return text;
}

// A folder that ends with the object. Its name is short: it holds sockets.
struct Folder {
    Folder() : path("/tmp/panelkit-tunnels-" + std::to_string(::getpid())) {
        std::filesystem::create_directory(path);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string path;
};

// Returns false if it does not come true in a minute: then something is wrong.
inline bool becomesTrue(const std::function<bool()>& what) {
    for (unsigned tries = 0; tries < 600; ++tries) {
        if (what()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

// The IKE daemon whose configuration is in the folder.
inline std::optional<pid_t> daemonIn(const std::string& folder) {
    const std::string entry = "STRONGSWAN_CONF=" + folder + "/charon.conf";
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(process.path() / "environ", std::ios::binary);
        const std::string all{std::istreambuf_iterator<char>(file), {}};
        if (all.find(entry) != std::string::npos) return std::stoi(process.path().filename());
    }
    return std::nullopt;
}

// An address as numbers, and a port.
inline std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> placeOf(const std::string& address, const char* port) {
    addrinfo hints{}, *found = nullptr;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    if (::getaddrinfo(address.c_str(), port, &hints, &found) != 0) throw std::runtime_error("no address: " + address);
    return {found, &::freeaddrinfo};
}

class Tunnels : public testing::Test {
protected:
    void SetUp() override {
        if (const std::string lack = Gateway::missing(); !lack.empty()) GTEST_SKIP() << lack;
        std::filesystem::create_directory(folder_.path + "/us");
        std::filesystem::permissions(folder_.path + "/us", std::filesystem::perms::owner_all);
        makeToken();
        gateway_ = std::make_unique<Gateway>(folder_.path + "/gate");
        const Identity host =
            makeCertificate({.subject = {{"CN", "gate"}},
                             .serial = "77",
                             .extensions = {{"subjectAltName", "IP:192.168.8.2,IP:fd78::2,DNS:gate.test"}}},
                            rsaKey(2048), &authority_);
        gateway_->write("x509/gate.pem", pem(host.der));
        gateway_->write("x509ca/ca.pem", pem(authority_.der));
        gateway_->write("private/gate.pem", keyPem(host.key));
        gateway_->configure(gateWith("192.168.8.2"));
    }

    void TearDown() override {
        if (HasFailure() && gateway_) std::cerr << "the gateway's log:\n" << gateway_->log();
    }

    void makeToken() {
        const std::string conf = folder_.path + "/softhsm.conf";
        std::filesystem::create_directory(folder_.path + "/tokens");
        std::ofstream(conf) << "directories.tokendir = " << folder_.path << "/tokens\nlog.level = ERROR\n";
        std::ofstream(folder_.path + "/key.pem") << keyPem(anna_.key);
        const std::map<std::string, std::optional<std::string>> environment{{"SOFTHSM2_CONF", conf}};
        runProgram("softhsm2-util --init-token --free --label anna --pin 1234 --so-pin 12345678", environment);
        runProgram("softhsm2-util --import " + folder_.path + "/key.pem --token anna --label key --id a1b2 --pin 1234",
                   environment);
        token_ = {"/usr/lib/softhsm/libsofthsm2.so", 0, "anna", "1"};
        credentials_.complete = true;
        credentials_.modules = {{token_.module, {{"SOFTHSM2_CONF", conf}}}};
        EngineCertificate certificate;
        certificate.token = token_;
        certificate.keyId = "\xA1\xB2";
        certificate.der = anna_.der;
        certificate.subject = "CN=anna";
        certificate.notAfter = 4'000'000'000;
        credentials_.certificates = {certificate};
        credentials_.anchors = {makeAuthority("unreadable to a daemon without elliptic curves").der, authority_.der};
    }

    void start(EngineParameters parameters = {}) {
        CharonSettings settings;
        settings.folder = folder_.path + "/us";
        settings.parameters = std::move(parameters);
        settings.news = [this](const TunnelNews& news) {
            ++(news.up ? cameUp_ : wentDown_);
            if (!news.up) whyDown_.lock()->insert(inEnglish(news.why));
        };
        engine_ = makeCharonEngine(std::move(settings));
        engine_->credentialsChanged(credentials_);
    }
    void apply(const std::string& policy) const { engine_->apply({0, readPolicyText(policy)}); }
    void logIn() const { engine_->tokenLoggedIn(token_, platform::Secret("1234")); }

    panelkit::TunnelInfo tunnel() const { return engine_->tunnels().at(0); }
    bool comesUp() const {
        return becomesTrue([&] { return tunnel().condition == panelkit::TunnelCondition::up; });
    }
    static std::string why(const panelkit::TunnelInfo& tunnel, std::size_t remark = 0) {
        if (remark >= tunnel.why.size()) return "";
        return Loc::fill({tunnel.why[remark].wording, tunnel.why[remark].arguments});
    }
    bool comesWith(const std::string& reason) const {
        return becomesTrue([&] { return why(tunnel()).starts_with(reason); });
    }
    static bool pings(const std::string& address) {
        platform::ChildOptions options;
        options.arguments = {"ping", "-n", "-c", "3", "-i", "0.2", "-W", "2", address};
        return platform::runChild(options, std::chrono::seconds(20)).status == 0;
    }
    // Whether a server there answers "x" to a client here.
    bool answersTcp(const std::string& address) const {
        int server = -1;
        const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> where = placeOf(address, "7777");
        gateway_->inside([&] {
            server = ::socket(where->ai_family, SOCK_STREAM, 0);
            const int again = 1;
            ::setsockopt(server, SOL_SOCKET, SO_REUSEADDR, &again, sizeof again);
            if (::bind(server, where->ai_addr, where->ai_addrlen) != 0 || ::listen(server, 1) != 0) {
                throw std::runtime_error("listen");
            }
        });
        const int client = ::socket(where->ai_family, SOCK_STREAM, 0);
        const timeval limit{5, 0};
        ::setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        char got = 0;
        bool answered = ::connect(client, where->ai_addr, where->ai_addrlen) == 0;
        if (answered) {
            const int peer = ::accept(server, nullptr, nullptr);
            answered = ::write(peer, "x", 1) == 1 && ::read(client, &got, 1) == 1 && got == 'x';
            ::close(peer);
        }
        ::close(client);
        ::close(server);
        return answered;
    }
    std::vector<std::string> daemonKeys() const {
        ViciConnection vici(folder_.path + "/us/vici", std::chrono::seconds(5));
        const ViciSection answer = vici.request("get-keys");
        return answer.list("keys") ? *answer.list("keys") : std::vector<std::string>();
    }

    // The engine's daemon.
    pid_t daemonProcess() const {
        const auto daemon = daemonIn(folder_.path + "/us");
        if (!daemon) throw std::runtime_error("the daemon does not run");
        return *daemon;
    }

    Folder folder_;
    Identity authority_ =
        makeCertificate({.subject = {{"CN", "authority"}}, .extensions = authorityExtensions()}, rsaKey(2048));
    Identity anna_ = makeCertificate({.subject = {{"CN", "anna"}}, .serial = "5"}, rsaKey(2048), &authority_);
    EngineToken token_;
    EngineCredentials credentials_;
    std::atomic<unsigned> cameUp_ = 0, wentDown_ = 0;
    platform::Guarded<std::set<std::string>> whyDown_;
    std::unique_ptr<Gateway> gateway_;
    std::unique_ptr<Engine> engine_;
};

class AServiceWithTunnels : public Tunnels {
protected:
    std::string run(std::vector<std::string> arguments, const std::string& input = {}) const {
        const platform::ChildResult result = panelctl(service_->endpoint(), std::move(arguments), input);
        EXPECT_EQ(result.status, 0) << result.error << service_->log();
        return result.output;
    }
    bool listsTunnel(const std::string& text) const {
        return becomesTrue([&] { return run({"tunnel", "list"}).find(text) != std::string::npos; });
    }
    void logIn() const { run({"token", "login", "work", "--pin-stdin"}, pin + "\n"); }

    // A token with anna's certificate and key, and the authority as anchor; the policy is activated.
    void start(std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--engine", "charon"});
        service_ = std::make_unique<RunningService>(std::move(options));
        const std::string folder = service_->folder().path().string();
        std::ofstream(folder + "/anna.p12", std::ios::binary) << pkcs12(anna_, {authority_.der}, "secret");
        std::ofstream(folder + "/office.lsp") << byCertificate;
        run({"token", "init", "--label", "work", "--so-pin-stdin", "--pin-stdin"}, "7654321\n" + pin + "\n");
        logIn();
        run({"cert", "import", folder + "/anna.p12", "--token", "work", "--password-stdin"}, "secret\n");
        run({"policy", "source", "set", "--source", "SOURCE_FILE", "--file", folder + "/office.lsp"});
        ASSERT_TRUE(becomesTrue([&] { // until the engine has read the token
            return panelctl(service_->endpoint(), {"policy", "activate", "system"}).status == 0;
        })) << service_->log();
    }

    const std::string pin = "a PIN that is longer than what free() overwrites";
    std::unique_ptr<RunningService> service_;
};

} // namespace panelkitd
