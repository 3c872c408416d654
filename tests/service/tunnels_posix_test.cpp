// SPDX-License-Identifier: MIT
//
// The engine "charon" alone: what it carries, replaces, refuses, and what it says of tunnels that do not come up.
#include "tunnels_fixture_posix.h"

#include <service/engine/ike_state.h>

namespace panelkitd {
namespace {

using panelkit::TunnelCondition;
using panelkit::TunnelInfo;
using testing::HasSubstr;
using testing::IsEmpty;

// The daemon finds revocation lists by it.
const std::vector<std::pair<std::string, std::string>> byKeyOfIssuer{{"authorityKeyIdentifier", "keyid"}};

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
    const auto comesWithNews = [&](const std::string& reason) {
        return becomesTrue([&] { return whyDown_.lock()->contains(reason); });
    };
    apply(byCertificate);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_TRUE(comesWithNews("the policy in force has no such section"));
    std::string smaller = byCertificate;
    apply(smaller.replace(smaller.find("10.9.0.0/16"), 11, "10.9.0.0/24"));
    EXPECT_TRUE(comesWithNews("its section in the policy has changed"));
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(Tunnels, CarryIPv6) {
    gateway_->configure(gateWith("fd78::2"));
    start();
    apply("title = T\nversion = 1\n[office]\naction = protect\nnetwork = fd99::/64\ngateway = fd78::2\n");
    EXPECT_FALSE(pings("fd99::1"));
    logIn();
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("fd99::1"));
    EXPECT_TRUE(answersTcp("fd99::1"));
    const auto seen = gateway_->seen();
    EXPECT_THAT(seen.plain, IsEmpty());
    EXPECT_GE(seen.encrypted, 6U);
}

class TunnelsWithACurve : public Tunnels {
protected:
    TunnelsWithACurve() { anna_ = makeCertificate({.subject = {{"CN", "anna"}}, .serial = "5"}, ecKey(), &authority_); }
};

TEST_F(TunnelsWithACurve, CarryTrafficIfTheDaemonKnowsCurves) {
    if (!std::filesystem::exists("/usr/lib/ipsec/plugins/libstrongswan-openssl.so")) {
        GTEST_SKIP() << "libstrongswan-standard-plugins is not installed";
    }
    start();
    logIn();
    apply(byCertificate);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(Tunnels, StayUpWhenTheirSectionStaysTheSameAndAFilterThatWasChangedComesBack) {
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
    const auto rules = [] {
        platform::ChildOptions options;
        options.arguments = {"nft", "--stateless", "list", "table", "inet", "panelkit"};
        return platform::runChild(options, std::chrono::seconds(20)).output;
    };
    const std::string filter = rules();
    for (const char* change :
         {"nft flush ruleset", "nft delete table inet panelkit", "nft flush chain inet panelkit outgoing",
          "nft insert rule inet panelkit output accept", "nft add table inet panelkit { flags dormant ; }"}) {
        SCOPED_TRACE(change);
        runProgram(change);
        EXPECT_TRUE(becomesTrue([&] { return rules() == filter; }));
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
    const std::string list = makeCrl({.revoked = {77}, .extensions = byKeyOfIssuer}, authority_);
    const std::string other =
        makeCertificate({.subject = {{"CN", "another authority"}}, .extensions = authorityExtensions()}, rsaKey(2048))
            .der;
    const EngineParameters strict{{"IKE.CRL_PROCESSING", 1}};
    const struct {
        const char* what;
        std::string gateway; // its configuration; empty: it does not run
        EngineParameters parameters;
        std::vector<std::string> anchors;
        std::vector<EngineCrl> crls;
        const char* reason;
        const char* detail = "";
    } rows[] = {
        {"another name", gateWith("gate.test"), {}, {authority_.der}, {}, "the gateway 192.168.8.2 refuses us"},
        {"not ours",
         gateWith("192.168.8.2"),
         {},
         {other},
         {},
         "the certificate of the gateway 192.168.8.2 was not issued"},
        {"no algorithm",
         gateWith("192.168.8.2", "proposals = aes128-sha1-modp768"),
         {},
         {authority_.der},
         {},
         "the gateway 192.168.8.2 accepts none of our algorithms"},
        {"revoked",
         gateWith("192.168.8.2"),
         strict,
         {authority_.der},
         {{list, "CN=authority"}},
         "the certificate of the gateway 192.168.8.2 is revoked"},
        {"no list", gateWith("192.168.8.2"), strict, {authority_.der}, {}, "it is not known whether"},
        {"a list without key identifier",
         gateWith("192.168.8.2"),
         strict,
         {authority_.der},
         {{makeCrl({.revoked = {78}}, authority_), "CN=authority", false}},
         "it is not known whether",
         "the IKE daemon can't use the revocation list of \"CN=authority\": it has no authority key identifier"},
        {"a list of yesterday",
         gateWith("192.168.8.2"),
         strict,
         {authority_.der},
         {{makeCrl({.nextUpdate = "20250602000000Z", .extensions = byKeyOfIssuer}, authority_), "CN=authority"}},
         "it is not known whether the certificate of the gateway 192.168.8.2 is revoked: the list for it is out"},
        {"silent", "", {{"IKE.EXCHANGE_TIMEOUT", 5}}, {authority_.der}, {}, "the gateway 192.168.8.2 does not answer"},
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
        EXPECT_EQ(why(tunnel(), 1), row.detail);
        EXPECT_NE(tunnel().condition, TunnelCondition::up);
    }
    EXPECT_THAT(gateway_->seen().plain, IsEmpty());
}

TEST_F(Tunnels, AreSetUpAgainWithANewListAndEndIfItRevokesTheGateway) {
    const auto list = [&](long number, std::vector<long> revoked) {
        credentials_.crls = {
            {makeCrl({.revoked = std::move(revoked), .number = number, .extensions = byKeyOfIssuer}, authority_),
             "CN=authority"}};
    };
    list(1, {});
    start({{"IKE.CRL_PROCESSING", 1}});
    logIn();
    apply(byCertificate);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    list(2, {78});
    engine_->credentialsChanged(credentials_);
    EXPECT_TRUE(becomesTrue([&] { return cameUp_ == 2; })) << why(tunnel());
    list(3, {77});
    engine_->credentialsChanged(credentials_);
    EXPECT_TRUE(comesWith("the certificate of the gateway 192.168.8.2 is revoked")) << why(tunnel());
    EXPECT_FALSE(pings("10.9.0.1"));
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
    EXPECT_TRUE(comesWith("the gateway 192.168.8.2 does not answer")) << why(tunnel());
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

} // namespace
} // namespace panelkitd
