// SPDX-License-Identifier: MIT
//
// The engine "charon" against a gateway that is a plain charon with a configuration written by hand: a certificate
// whose key is on a SoftHSM2 token, a preshared key, and what is said of tunnels that do not come up.
#include "../support/certificate_maker.h"
#include "../support/gateway_posix.h"
#include "../support/panelctl.h"
#include "../support/running_service.h"

#include <service/engine/charon_engine.h>
#include <service/engine/ike_state.h>
#include <service/engine/vici_connection.h>

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

namespace panelkitd {
namespace {

using panelkit::TunnelCondition;
using panelkit::TunnelInfo;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* byCertificate = R"(title = Office
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

constexpr const char* byKey = R"(title = Partner
version = 2
[partner]
action = protect
network = 10.9.0.0/16
gateway = 192.168.8.2
authentication = preshared-key
key = shared
)";

constexpr const char* gate = R"(connections {
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

std::string gateWith(const std::string& identity, const std::string& options = {}) {
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
bool becomesTrue(const std::function<bool()>& what) {
    for (unsigned tries = 0; tries < 600; ++tries) {
        if (what()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

class Tunnels : public testing::Test {
protected:
    void SetUp() override {
        if (const std::string lack = Gateway::missing(); !lack.empty()) GTEST_SKIP() << lack;
        std::filesystem::create_directory(folder_.path + "/us");
        std::filesystem::permissions(folder_.path + "/us", std::filesystem::perms::owner_all);
        makeToken();
        gateway_ = std::make_unique<Gateway>(folder_.path + "/gate");
        const Identity host = makeCertificate({.subject = {{"CN", "gate"}},
                                               .serial = "77",
                                               .extensions = {{"subjectAltName", "IP:192.168.8.2,DNS:gate.test"}}},
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
        settings.news = [this](const TunnelNews& news) { ++(news.up ? cameUp_ : wentDown_); };
        engine_ = makeCharonEngine(std::move(settings));
        engine_->credentialsChanged(credentials_);
    }
    void apply(const std::string& policy) const { engine_->apply({0, readPolicyText(policy)}); }
    void logIn() const { engine_->tokenLoggedIn(token_, platform::Secret("1234")); }

    TunnelInfo tunnel() const { return engine_->tunnels().at(0); }
    bool comesUp() const {
        return becomesTrue([&] { return tunnel().condition == TunnelCondition::up; });
    }
    static std::string why(const TunnelInfo& tunnel) {
        return tunnel.why.empty() ? "" : Loc::fill({tunnel.why[0].wording, tunnel.why[0].arguments});
    }
    bool comesWith(const std::string& reason) const {
        return becomesTrue([&] { return why(tunnel()).find(reason) != std::string::npos; });
    }
    static bool pings(const std::string& address) {
        platform::ChildOptions options;
        options.arguments = {"ping", "-n", "-c", "3", "-i", "0.2", "-W", "2", address};
        return platform::runChild(options, std::chrono::seconds(20)).status == 0;
    }
    // Whether a server there answers "x" to a client here.
    bool answersTcp(const std::string& address) const {
        int server = -1;
        sockaddr_in where{};
        where.sin_family = AF_INET;
        where.sin_port = htons(7777);
        ::inet_pton(AF_INET, address.c_str(), &where.sin_addr);
        const auto* const at = reinterpret_cast<const sockaddr*>(&where);
        gateway_->inside([&] {
            server = ::socket(AF_INET, SOCK_STREAM, 0);
            const int again = 1;
            ::setsockopt(server, SOL_SOCKET, SO_REUSEADDR, &again, sizeof again);
            if (::bind(server, at, sizeof where) != 0 || ::listen(server, 1) != 0) throw std::runtime_error("listen");
        });
        const int client = ::socket(AF_INET, SOCK_STREAM, 0);
        const timeval limit{5, 0};
        ::setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        char got = 0;
        bool answered = ::connect(client, at, sizeof where) == 0;
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

    // The engine's daemon, by its configuration.
    pid_t daemonProcess() const {
        const std::string entry = "STRONGSWAN_CONF=" + folder_.path + "/us/charon.conf";
        for (const auto& process : std::filesystem::directory_iterator("/proc")) {
            std::ifstream file(process.path() / "environ", std::ios::binary);
            const std::string all{std::istreambuf_iterator<char>(file), {}};
            if (all.find(entry) != std::string::npos) return std::stoi(process.path().filename());
        }
        throw std::runtime_error("the daemon does not run");
    }

    Folder folder_;
    Identity authority_ =
        makeCertificate({.subject = {{"CN", "authority"}}, .extensions = authorityExtensions()}, rsaKey(2048));
    Identity anna_ = makeCertificate({.subject = {{"CN", "anna"}}, .serial = "5"}, rsaKey(2048), &authority_);
    EngineToken token_;
    EngineCredentials credentials_;
    std::atomic<unsigned> cameUp_ = 0, wentDown_ = 0;
    std::unique_ptr<Gateway> gateway_;
    std::unique_ptr<Engine> engine_;
};

TEST_F(Tunnels, CarryTrafficWithAKeyOnATokenFromTheLogInToTheLogOut) {
    start();
    apply(byCertificate);
    EXPECT_TRUE(comesWith("nobody is logged in")) << why(tunnel());
    EXPECT_FALSE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());

    logIn();
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_TRUE(answersTcp("10.9.0.1"));
    EXPECT_FALSE(pings("10.8.0.1")); // the section [rest] drops it
    const auto seen = gateway_->seen();
    EXPECT_THAT(seen.plain, IsEmpty());
    EXPECT_GE(seen.encrypted, 6U);
    const TunnelInfo up = tunnel();
    EXPECT_EQ(up.gatewayIdentity, "192.168.8.2");
    EXPECT_EQ(up.credential, "CN=anna");
    EXPECT_THAT(up.suite, HasSubstr("AES"));
    EXPECT_NO_THROW(engine_->act(panelkit::TunnelAction::rekey, "office"));
    EXPECT_EQ(daemonKeys().size(), 1U);

    engine_->tokenLoggedOut(token_);
    EXPECT_THAT(daemonKeys(), IsEmpty());
    ASSERT_TRUE(becomesTrue([&] {
        try {
            engine_->act(panelkit::TunnelAction::rekey, "office");
            return false;
        } catch (const EngineError& error) {
            return std::string(error.what()).find("nobody is logged in") != std::string::npos;
        }
    }));
}

TEST_F(Tunnels, ComeUpWithAPresharedKeyAndAreReplacedByAnotherPolicy) {
    credentials_.presharedKeys.push_back({token_, "shared", platform::Secret("open sesame")});
    start();
    apply(byKey);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    logIn();
    apply(byCertificate);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

// Which packets go through the tunnel, beside it, or nowhere: the sections in one order and in the other.
TEST_F(Tunnels, LetTheFirstSectionDecideWithinAProtectedNetwork) {
    const std::string head = "title = T\nversion = 1\n";
    const std::string protect = "[office]\naction = protect\nnetwork = 10.9.0.0/16\ngateway = 192.168.8.2\n"
                                "subject = CN=anna\n";
    const auto web = [](const std::string& action) {
        return "[" + action + "]\naction = " + action + "\nnetwork = 10.9.0.0/24\nprotocol = tcp\nport = 7777\n";
    };
    const std::string onlyWeb = protect + "protocol = tcp\nport = 7777\n";
    std::string many;
    for (int i = 0; i < 30; ++i) {
        many += "[s" + std::to_string(i) + "]\naction = pass\nnetwork = 10.10.0." + std::to_string(i) + "\n";
    }
    enum class Way : unsigned char { tunnel, clear, nowhere };
    const struct {
        const char* what;
        std::string sections;
        Way tcp, ping;
    } rows[] = {
        {"pass first", web("pass") + protect, Way::clear, Way::tunnel},
        {"protect before pass", protect + web("pass"), Way::tunnel, Way::tunnel},
        {"drop first", web("drop") + protect, Way::nowhere, Way::tunnel},
        {"protect before drop", protect + web("drop"), Way::tunnel, Way::tunnel},
        {"pass before drop", web("pass") + web("drop") + protect, Way::clear, Way::tunnel},
        {"drop before pass", web("drop") + web("pass") + protect, Way::nowhere, Way::tunnel},
        {"nothing matches the rest", onlyWeb, Way::tunnel, Way::clear},
        {"lists of sections", many + web("pass") + protect, Way::clear, Way::tunnel},
    };
    start();
    logIn();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        apply(head + row.sections);
        ASSERT_TRUE(comesUp()) << why(tunnel());
        gateway_->seen();
        EXPECT_EQ(answersTcp("10.9.0.1"), row.tcp != Way::nowhere);
        const bool answered = pings("10.9.0.1");
        EXPECT_TRUE(answered || row.ping == Way::clear); // then the gateway may send its answers into the tunnel
        const auto plain = gateway_->seen().plain;
        EXPECT_EQ(std::count(plain.begin(), plain.end(), "6 10.9.0.1:7777") > 0, row.tcp == Way::clear);
        EXPECT_EQ(std::count(plain.begin(), plain.end(), "1 10.9.0.1") > 0, row.ping == Way::clear);
    }
}

TEST_F(Tunnels, StayUpWhenTheirSectionStaysTheSameAndAFilterThatWasRemovedComesBack) {
    start();
    logIn();
    apply(byCertificate);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    const auto ids = [&] {
        ViciConnection vici(folder_.path + "/us/vici", std::chrono::seconds(5));
        const IkeStates states = ikeStates(vici.listing("list-sas", "list-sa"));
        return std::pair{states.tunnels.at("office").id, states.all};
    };
    const auto before = ids();
    apply(std::string(byCertificate) + "[more]\naction = pass\nnetwork = 172.16.0.0/12\n");
    apply("title = T\nversion = 1\n[first]\naction = drop\nnetwork = 172.16.0.0/12\n" +
          std::string(byCertificate).substr(std::string(byCertificate).find("[office]")));
    EXPECT_TRUE(comesUp());
    EXPECT_EQ(ids(), before);
    EXPECT_EQ(wentDown_, 0U);
    for (const char* removal : {"nft flush ruleset", "nft delete table inet panelkit"}) {
        runProgram(removal);
        EXPECT_TRUE(becomesTrue([&] { return runProgram("nft list ruleset").find("[first]") != std::string::npos; }));
        EXPECT_THAT(engine_->problems(), IsEmpty());
        EXPECT_FALSE(pings("10.8.0.1"));
        EXPECT_TRUE(pings("10.9.0.1"));
    }
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(Tunnels, AreRefusedWhereAnotherProgramHasThePortsOfIke) {
    const int other = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_port = htons(500);
    ASSERT_EQ(::bind(other, reinterpret_cast<const sockaddr*>(&where), sizeof where), 0);
    try {
        start();
        ADD_FAILURE() << "started";
    } catch (const EngineError& error) {
        EXPECT_THAT(error.what(), HasSubstr("another program uses UDP port 500"));
    }
    ::close(other);
}

TEST_F(Tunnels, SayWhyTheyAreNotUp) {
    const std::string list = makeCrl({.revoked = {77}}, authority_);
    const std::string other =
        makeCertificate({.subject = {{"CN", "another authority"}}, .extensions = authorityExtensions()}, rsaKey(2048))
            .der;
    const EngineParameters strict{{"IKE.CRL_PROCESSING", 1}};
    const struct {
        const char* what;
        std::string gateway; // its configuration; empty: it does not run
        EngineParameters parameters;
        std::vector<std::string> anchors, crls;
        const char* reason;
    } rows[] = {
        {"another name", gateWith("gate.test"), {}, {authority_.der}, {}, "refuses us"},
        {"not ours", gateWith("192.168.8.2"), {}, {other}, {}, "was not issued by an authority that is trusted here"},
        {"no algorithm",
         gateWith("192.168.8.2", "proposals = aes128-sha1-modp768"),
         {},
         {authority_.der},
         {},
         "accepts none of our algorithms"},
        {"revoked", gateWith("192.168.8.2"), strict, {authority_.der}, {list}, "is revoked"},
        {"no list", gateWith("192.168.8.2"), strict, {authority_.der}, {}, "it is not known whether"},
        {"silent", "", {{"IKE.EXCHANGE_TIMEOUT", 5}}, {authority_.der}, {}, "does not answer"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        if (row.gateway.empty()) {
            gateway_->kill();
        } else {
            gateway_->configure(row.gateway);
        }
        credentials_.anchors = row.anchors;
        credentials_.crls = row.crls;
        engine_.reset();
        start(row.parameters);
        apply(byCertificate);
        logIn();
        EXPECT_TRUE(comesWith(row.reason)) << why(tunnel());
        EXPECT_NE(tunnel().condition, TunnelCondition::up);
    }
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(Tunnels, ComeBackWhenTheDaemonOrTheGatewayWasKilled) {
    start({{"IKE.DPD_IDLE_TIME", 2}, {"IKE.EXCHANGE_TIMEOUT", 5}});
    apply(byCertificate);
    logIn();
    ASSERT_TRUE(comesUp()) << why(tunnel());
    for (unsigned round = 0; round < 2; ++round) {
        ::kill(daemonProcess(), SIGKILL);
        ASSERT_TRUE(becomesTrue([&] { return cameUp_ == 2 + round; })) << why(tunnel());
        EXPECT_TRUE(pings("10.9.0.1"));
        EXPECT_THAT(gateway_->seen().plain, IsEmpty());
    }
    gateway_->kill();
    EXPECT_TRUE(comesWith("does not answer")) << why(tunnel());
    EXPECT_FALSE(pings("10.9.0.1"));
    gateway_->configure(gateWith("192.168.8.2"));
    EXPECT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(Tunnels, KeepTheFormerPolicyIfTheNextOneCantBePutIntoForce) {
    start();
    logIn();
    apply(byCertificate);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    const struct {
        const char* from;
        const char* to;
        const char* reason;
    } rows[] = {
        {"192.168.8.2", "no-such-gateway.invalid",
         "line 3: section [office] can't be put into force: "
         "the address of the gateway no-such-gateway.invalid"},
        {"192.168.8.2", "%any", "line 3: section [office]: \"%any\" is not the host name"},
        {"CN=anna", "CN=berta", "\"CN=berta\" is on no token"},
    };
    for (const auto& row : rows) {
        std::string policy = byCertificate;
        policy.replace(policy.find(row.from), std::string(row.from).size(), row.to);
        try {
            apply(policy);
            ADD_FAILURE() << "put into force: " << row.to;
        } catch (const EngineError& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.reason));
        }
        EXPECT_TRUE(pings("10.9.0.1"));
        EXPECT_FALSE(pings("10.8.0.1"));
    }
    EXPECT_EQ(wentDown_, 0U);
}

// ---- the whole service

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
    void logIn() const { run({"token", "login", "work", "--pin-stdin"}, "1234567\n"); }

    // A token with anna's certificate and key, and the authority as anchor; the policy is activated.
    void start() {
        service_ = std::make_unique<RunningService>(std::vector<std::string>{"--engine", "charon"});
        const std::string folder = service_->folder().path().string();
        std::ofstream(folder + "/anna.p12", std::ios::binary) << pkcs12(anna_, {authority_.der}, "secret");
        std::ofstream(folder + "/office.lsp") << byCertificate;
        run({"token", "init", "--label", "work", "--so-pin-stdin", "--pin-stdin"}, "7654321\n1234567\n");
        logIn();
        run({"cert", "import", folder + "/anna.p12", "--token", "work", "--password-stdin"}, "secret\n");
        run({"policy", "source", "set", "--source", "SOURCE_FILE", "--file", folder + "/office.lsp"});
        ASSERT_TRUE(becomesTrue([&] { // until the engine has read the token
            return panelctl(service_->endpoint(), {"policy", "activate", "system"}).status == 0;
        })) << service_->log();
    }

    std::unique_ptr<RunningService> service_;
};

TEST_F(AServiceWithTunnels, ProtectsTrafficFromTheLogInToTheLogOutAndAfterItWasKilled) {
    start();
    ASSERT_TRUE(listsTunnel("up")) << service_->log();
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(run({"policy", "show"}),
                testing::AllOf(HasSubstr("Details: the tunnel of section [office] to the gateway 192.168.8.2"),
                               HasSubstr("with the certificate \"CN=anna\""), testing::Not(HasSubstr("Diagnosis"))));
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--endpoint", service_->endpoint(), "watch"};
    platform::ChildProcess watch(options);
    ASSERT_TRUE(becomesTrue([&] { return watch.errorSoFar().find("Watching") != std::string::npos; }));
    run({"tunnel", "down", "office"});
    EXPECT_TRUE(becomesTrue([&] {
        return watch.outputSoFar().find("to the gateway 192.168.8.2 is down: an administrator") != std::string::npos;
    })) << watch.outputSoFar();
    run({"tunnel", "up", "office"});
    ASSERT_TRUE(listsTunnel("up")) << service_->log();
    run({"token", "logout", "work"});
    EXPECT_NE(panelctl(service_->endpoint(), {"tunnel", "rekey", "office"}).status, 0);

    service_->kill();
    EXPECT_FALSE(pings("10.8.0.1"));
    service_->start();
    EXPECT_TRUE(listsTunnel("down"));
    EXPECT_FALSE(pings("10.9.0.1"));
    EXPECT_THAT(run({"policy", "show"}), HasSubstr("nobody is logged in to the token"));
    logIn();
    ASSERT_TRUE(listsTunnel("up")) << service_->log();
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
    EXPECT_THAT(service_->log(), testing::Not(HasSubstr("1234567")));
}

TEST_F(AServiceWithTunnels, UsesAPresharedKeyOfAToken) {
    start();
    const std::string file = service_->folder().file("partner.lsp");
    std::ofstream(file) << byKey;
    run({"psk", "create", "shared", "--token", "work", "--value-stdin"}, "open sesame\n");
    run({"policy", "source", "set", "--source", "SOURCE_FILE", "--file", file});
    run({"policy", "activate", "system"});
    ASSERT_TRUE(becomesTrue([&] { return pings("10.9.0.1"); })) << run({"tunnel", "list"}) << service_->log();
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
    EXPECT_THAT(service_->log(), testing::Not(HasSubstr("open sesame")));
}

} // namespace
} // namespace panelkitd
