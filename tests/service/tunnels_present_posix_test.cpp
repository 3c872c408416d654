// SPDX-License-Identifier: MIT
//
// The engine "charon" with a daemon that somebody else has started, configured and uses.
#include "tunnels_fixture_posix.h"

#include <sys/stat.h>

namespace panelkitd {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class TunnelsOfAPresentDaemon : public Tunnels {
protected:
    void SetUp() override {
        Tunnels::SetUp();
        if (IsSkipped()) return;
        std::filesystem::create_directory(place_);
        startDaemon();
        ViciSection own;
        own.add("version", "2").add("remote_addrs", std::vector<std::string>{"192.168.8.7"});
        own.add("local", ViciSection().add("auth", "psk")).add("remote", ViciSection().add("auth", "psk"));
        own.add("children", ViciSection().add("office", ViciSection()));
        ask("load-conn", ViciSection().add("own", own));
        ask("load-shared", ViciSection().add("id", "shared").add("type", "IKE").add("data", "of somebody else"));
    }

    void TearDown() override {
        engine_.reset(); // before its daemon
        Tunnels::TearDown();
    }

    // What docs/engine.md asks of its settings.
    void startDaemon() {
        std::ofstream(place_ + "/charon.conf")
            << "charon-systemd {\n"
               "  load = random nonce drbg openssl aes gcm sha1 sha2 hmac kdf mgf1 gmp curve25519 pem pkcs1 pkcs8 x509 "
               "pubkey pkcs11 constraints revocation vici kernel-libipsec kernel-netlink socket-default\n"
               "  journal { default = -1 }\n  plugins {\n    vici { socket = \"unix://"
            << socket_
            << "\" }\n    socket-default { fwmark = 0x70616e65 }\n"
               "    kernel-netlink { fwmark = !0x70616e64/0xfffffffe }\n"
               "    kernel-libipsec { allow_peer_ts = yes }\n"
               "    pkcs11 { modules { soft { path = /usr/lib/softhsm/libsofthsm2.so\n load_certs = no } } }\n  }\n}\n";
        platform::ChildOptions options;
        options.arguments = {"/usr/sbin/charon-systemd"};
        options.environment["STRONGSWAN_CONF"] = place_ + "/charon.conf";
        options.environment["SOFTHSM2_CONF"] = folder_.path + "/softhsm.conf";
        daemon_ = std::make_unique<platform::ChildProcess>(options);
        ASSERT_TRUE(becomesTrue([&] { return ::access(socket_.c_str(), F_OK) == 0; })) << daemon_->errorSoFar();
    }
    ViciSection ask(const std::string& command, ViciSection message = {}) const {
        return ViciConnection(socket_, std::chrono::seconds(5)).request(command, std::move(message));
    }
    std::vector<std::string> listed(const char* command, const char* name) const {
        const ViciSection answer = ask(command);
        return answer.list(name) ? *answer.list(name) : std::vector<std::string>();
    }

    void start() {
        CharonSettings settings;
        settings.folder = folder_.path + "/us";
        settings.socket = socket_;
        engine_ = makeCharonEngine(std::move(settings));
        engine_->credentialsChanged(credentials_);
    }
    std::string refusal() {
        try {
            start();
        } catch (const EngineError& error) {
            return error.what();
        }
        return "";
    }

    const std::string place_ = folder_.path + "/there", socket_ = place_ + "/vici";
    std::unique_ptr<platform::ChildProcess> daemon_;
};

TEST_F(TunnelsOfAPresentDaemon, LeaveItAsItWas) {
    start();
    apply(byCertificate);
    EXPECT_THAT(inEnglish(engine_->condition()), HasSubstr("settings and modules of its own"));
    logIn();
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_EQ(listed("get-keys", "keys").size(), 1U);
    EXPECT_EQ(listed("get-conns", "conns").size(), 2U);
    engine_->tokenLoggedOut(token_);
    EXPECT_THAT(listed("get-keys", "keys"), IsEmpty());

    credentials_.presharedKeys.push_back({token_, "shared", platform::Secret("open sesame")});
    engine_->credentialsChanged(credentials_);
    apply(byKey);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_EQ(listed("get-shared", "keys").size(), 2U);
    engine_.reset();
    EXPECT_THAT(listed("get-conns", "conns"), ElementsAre("own"));
    EXPECT_THAT(listed("get-shared", "keys"), ElementsAre("shared"));
    EXPECT_FALSE(daemon_->ended());
    EXPECT_FALSE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(TunnelsOfAPresentDaemon, TakeAwayWhatAKilledServiceHasLeftThere) {
    const std::string key = ask("load-token", ViciSection().add("handle", "a1b2").add("pin", "1234")).text("id");
    std::ofstream(folder_.path + "/us/keys-of-others") << key << '\n';
    ask("load-shared", ViciSection().add("id", "panelkit-x").add("type", "IKE").add("data", "secret"));
    ViciSection former;
    former.add("remote_addrs", std::vector<std::string>{"192.168.8.2"}).add("local", ViciSection());
    ask("load-conn", ViciSection().add("panelkit-1", former.add("remote", ViciSection())));
    start();
    apply(byCertificate);
    EXPECT_TRUE(becomesTrue([&] { return listed("get-keys", "keys").empty(); }));
    EXPECT_THAT(listed("get-shared", "keys"), ElementsAre("shared"));
    EXPECT_THAT(listed("get-conns", "conns"), testing::Not(testing::Contains("panelkit-1")));
}

TEST_F(TunnelsOfAPresentDaemon, ComeBackWhenItWasStartedAgain) {
    start();
    apply(byCertificate);
    logIn();
    ASSERT_TRUE(comesUp()) << why(tunnel());
    daemon_->kill();
    daemon_->wait(std::chrono::seconds(10));
    EXPECT_TRUE(becomesTrue([&] { return why(tunnel()).find("can't be reached") != std::string::npos; }))
        << why(tunnel());
    EXPECT_FALSE(pings("10.9.0.1"));
    std::filesystem::remove(socket_);
    startDaemon();
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(TunnelsOfAPresentDaemon, AreRefusedIfOthersThanRootCouldMakeItsSocket) {
    constexpr uid_t somebody = 65534;
    ASSERT_EQ(::chown(socket_.c_str(), somebody, 0), 0);
    EXPECT_THAT(refusal(), HasSubstr("vici does not belong to root"));
    ASSERT_EQ(::chown(socket_.c_str(), 0, somebody), 0);
    ASSERT_EQ(::chmod(place_.c_str(), 0775), 0);
    EXPECT_EQ(refusal(), "") << "the group is root's";
    engine_.reset();
    ASSERT_EQ(::chmod(place_.c_str(), 0777), 0);
    EXPECT_THAT(refusal(), HasSubstr("there can be written by other accounts"));
    ASSERT_EQ(::chmod(place_.c_str(), 0755), 0);
    ASSERT_EQ(::chown(place_.c_str(), somebody, 0), 0);
    EXPECT_THAT(refusal(), HasSubstr("there does not belong to root"));
    ASSERT_EQ(::chown(place_.c_str(), 0, 0), 0);
    std::filesystem::remove(socket_);
    std::ofstream(socket_) << "text";
    EXPECT_THAT(refusal(), HasSubstr("is not a socket"));
}

} // namespace
} // namespace panelkitd
