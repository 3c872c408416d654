// SPDX-License-Identifier: MIT
//
// From sections, certificates and parameters to the connections of the IKE daemon, and from its listings and log to
// what people read.
#include <service/engine/engine_wishes.h>
#include <service/engine/ike_daemon.h>
#include <service/engine/tunnel_board.h>

#include <panelkit/lparams/sections/sections.h>

#include <gmock/gmock.h>

#include <string>

namespace panelkitd {
namespace {

using panelkit::TunnelCondition;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const EngineToken token{"/module.so", 4, "work", "01"};

EngineCertificate certificateOf(const std::string& subject, const std::string& der) {
    EngineCertificate certificate;
    certificate.token = token;
    certificate.keyId = "\x01";
    certificate.der = der;
    certificate.subject = subject;
    certificate.notAfter = 1000;
    certificate.hasPrivateKey = certificate.tokenIsOpen = true;
    return certificate;
}

PolicyText policyOf(const std::string& sections) { return readPolicyText("title = t\nversion = 1\n" + sections); }

std::string protect(const std::string& name, const std::string& rest) {
    return "[" + name + "]\naction = protect\n" + rest;
}

TEST(TrafficSelectors, AreNetworksWithProtocolAndPorts) {
    const struct {
        const char* keys;
        std::vector<std::string> selectors;
    } rows[] = {
        {"", {"0.0.0.0/0", "::/0"}},
        {"network = 10.0.0.7\n", {"10.0.0.7/32"}},
        {"network = 10.1.2.3/8\nprotocol = tcp\nport = 443\n", {"10.0.0.0/8[tcp/443]"}},
        {"network = 10.0.0.1..10.0.0.9\nprotocol = udp\nport = 67..68\n",
         {"10.0.0.1/32[udp/67-68]", "10.0.0.2/31[udp/67-68]", "10.0.0.4/30[udp/67-68]", "10.0.0.8/31[udp/67-68]"}},
        {"network = 0.0.0.0..255.255.255.255\n", {"0.0.0.0/0"}},
        {"network = 255.255.255.254..255.255.255.255\n", {"255.255.255.254/31"}},
        {"network = fd00::/8\nprotocol = icmp\n", {"fd00::/8[ipv6-icmp]"}},
        {"network = fd00::1\nprotocol = 47\n", {"fd00::1/128[47]"}},
        {"protocol = icmp\n", {"0.0.0.0/0[icmp]", "::/0[ipv6-icmp]"}},
    };
    for (const auto& row : rows) {
        const PolicyText policy = policyOf(protect("a", std::string("gateway = g\n") + row.keys));
        EXPECT_EQ(trafficSelectors(policy.sections[0]), row.selectors) << row.keys;
    }
}

TEST(IkeConnections, AreSharedBySectionsWithTheSameGatewayAndCredential) {
    const PolicyText policy =
        policyOf(protect("a", "gateway = g.test\nnetwork = 10.0.0.0/8\n") + "[b]\naction = drop\n" +
                 protect("c", "gateway = 192.0.2.1\n") + protect("d", "gateway = g.test\nnetwork = 192.0.2.0/24\n"));
    EngineCredentials credentials;
    credentials.certificates = {certificateOf("CN=anna", "DER")};
    credentials.anchors = {"CA"};
    const auto connections = ikeConnections(policy, credentials, {.now = 500});
    ASSERT_EQ(connections.size(), 2U);
    ASSERT_EQ(connections[0].children.size(), 2U);
    EXPECT_EQ(connections[0].children[1].section->name, "d");
    const ViciSection message = loadMessage(connections[0]);
    const ViciSection& config = *message.section(connections[0].name);
    EXPECT_EQ(config.section("remote")->text("id"), "fqdn:g.test");
    EXPECT_THAT(*config.section("remote")->list("cacerts"), ElementsAre("CA"));
    EXPECT_THAT(*config.section("local")->list("certs"), ElementsAre("DER"));
    EXPECT_THAT(*config.section("children")->section("d")->list("remote_ts"), ElementsAre("192.0.2.0/24"));
    EXPECT_EQ(loadMessage(connections[1]).section(connections[1].name)->section("remote")->text("id"), "192.0.2.1");
}

// The daemon reads other texts as patterns.
TEST(IkeConnections, AreOnlyWithAGatewayThatIsOneHost) {
    for (const char* gateway :
         {"%any", "0.0.0.0", "::", "10.0.0.0/8", "*.test", "a,b", "C=DE", "10.0.0", "[fd00::1]"}) {
        const PolicyText policy = policyOf(protect("a", std::string("gateway = ") + gateway + "\n"));
        EXPECT_THROW(ikeConnections(policy, {}, {}), EngineError) << gateway;
    }
    const PolicyText two =
        policyOf(protect("a", "gateway = g\nauthentication = preshared-key\nkey = one\n") +
                 protect("b", "gateway = g\nauthentication = preshared-key\nkey = two\nnetwork = 10.0.0.0/8\n"));
    EXPECT_THROW(ikeConnections(two, {}, {}), EngineError);
}

TEST(IkeConnections, UseTheCertificateThatFits) {
    const auto with = [](void (*change)(EngineCertificate&), const char* der) {
        EngineCertificate certificate = certificateOf("CN=anna", der);
        change(certificate);
        return certificate;
    };
    const EngineCertificate fits = certificateOf("CN=anna", "fits");
    const EngineCertificate expired = with([](EngineCertificate& c) { c.notAfter = 1; }, "expired");
    const EngineCertificate revoked = with([](EngineCertificate& c) { c.revoked = true; }, "revoked");
    const EngineCertificate keyless = with([](EngineCertificate& c) { c.hasPrivateKey = false; }, "keyless");
    const EngineCertificate closed =
        with([](EngineCertificate& c) { c.tokenIsOpen = c.hasPrivateKey = false; }, "closed");
    const EngineCertificate server = with([](EngineCertificate& c) { c.forIke = false; }, "server");
    const EngineCertificate berta = certificateOf("CN=berta", "berta");
    const struct {
        std::vector<EngineCertificate> there;
        const char* subject;
        const char* chosen;
        const char* lacks; // "": it can be used
        bool mayCome;
    } rows[] = {
        {{expired, fits, closed}, "CN=anna", "fits", "", false},
        {{expired, closed}, "CN=anna", "closed", "nobody is logged in", true},
        {{revoked, expired}, "CN=anna", "expired", "has expired", false},
        {{revoked}, "CN=anna", "revoked", "is revoked", false},
        {{keyless}, "CN=anna", "keyless", "has no private key", false},
        {{server}, "CN=anna", "server", "may not be used for IKE", false},
        {{berta}, "CN=anna", "", "\"CN=anna\" is on no token", false},
        {{keyless, berta}, "", "berta", "", false},
        {{}, "", "", "is on no token", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.chosen);
        EngineCredentials credentials;
        credentials.complete = true;
        credentials.certificates = row.there;
        credentials.anchors = {"CA"};
        const std::string subject = *row.subject ? std::string("subject = ") + row.subject + "\n" : "";
        const PolicyText policy = policyOf(protect("a", "gateway = g\n" + subject));
        const auto connections =
            ikeConnections(policy, credentials, {.parameters = {{"IKE.CRL_PROCESSING", 2}}, .now = 500});
        const IkeConnection& made = connections.at(0);
        const ViciSection* local = made.config.section("local");
        EXPECT_EQ(local ? local->list("certs")->at(0) : "", row.chosen);
        EXPECT_EQ(made.lacks.has_value(), *row.lacks != '\0');
        if (made.lacks) {
            EXPECT_THAT(Loc::fill(made.lacks->phrase), HasSubstr(row.lacks));
        }
        EXPECT_EQ(made.mayCome, row.mayCome);
    }
}

TEST(IkeConnections, MayGetWhatIsOnATokenThatCanNotBeReadNow) {
    EngineCredentials credentials; // not complete
    const PolicyText policy = policyOf(protect("a", "gateway = g\nsubject = CN=anna\n"));
    const auto lacks = [&] {
        const IkeConnection made = ikeConnections(policy, credentials, {.now = 500}).at(0);
        EXPECT_TRUE(made.mayCome);
        return made.lacks ? Loc::fill(made.lacks->phrase) : "";
    };
    EXPECT_EQ(lacks(), "the personal certificate \"CN=anna\" is on no token that can be read");
    credentials.certificates = {certificateOf("CN=anna", "DER")};
    EXPECT_THAT(lacks(), HasSubstr("no token that can be read has a trusted certificate"));
}

TEST(EngineWishes, KeepThePresharedKeysOfATokenThatCanNotBeReadNow) {
    const EngineToken other{"/module.so", 5, "other", "02"};
    EngineWishes wishes;
    EngineCredentials read;
    read.presharedKeys = {{token, "a", platform::Secret("one")}, {other, "b", platform::Secret("two")}};
    wishes.learn(read);
    read.presharedKeys.clear();
    read.keysUnread = {token};
    wishes.learn(read);
    ASSERT_EQ(wishes.credentials.presharedKeys.size(), 1U);
    EXPECT_EQ(wishes.credentials.presharedKeys[0].name, "a");
    wishes.forget(token);
    wishes.learn(read);
    EXPECT_EQ(wishes.credentials.presharedKeys.size(), 0U) << "its log-in has ended";
}

// Without a list of anchors the daemon would trust every certificate that it has.
TEST(IkeConnections, NeedAnAnchor) {
    EngineCredentials credentials;
    credentials.complete = true;
    credentials.certificates = {certificateOf("CN=anna", "DER")};
    const PolicyText policy = policyOf(protect("a", "gateway = g\n"));
    const auto connections = ikeConnections(policy, credentials, {.now = 500});
    ASSERT_TRUE(connections[0].lacks);
    EXPECT_THAT(Loc::fill(connections[0].lacks->phrase), HasSubstr("no token has a trusted certificate"));
}

TEST(Parameters, TakeEffect) {
    const struct {
        const char* name;
        std::int64_t value;
        const char* line; // of the daemon's configuration, or option and value of a connection or its child
    } rows[] = {
        {"IKE.EXCHANGE_TIMEOUT", 60, "retransmit_timeout = 1.463"},
        {"IKE.EXCHANGE_TIMEOUT", 5, "retransmit_timeout = 0.121"},
        {"IKE.MAX_HALFOPEN", 0, "init_limit_half_open = 0"},
        {"IKE.IKE_CLIENT", 0, "initiator_only = no"},
        {"IKE.NATKA_INTERVAL", 7, "keep_alive = 7s"},
        {"IKE.REDIRECT_POLICY", 2, "follow_redirects = yes"},
        {"IKE.REDIRECT_POLICY", 1, "follow_redirects = no"},
        {"IKE.REDIRECT_EXTIP", 1, "follow_redirects = no"},
        {"IKE.IPSEC_DELAYED_DELETE_IN_SA", 9, "delete_rekeyed_delay = 9"},
        {"IKE.DPD_IDLE_TIME", 12, "dpd_delay = 12s"},
        {"IKE.MOBIKE_ENABLED", 0, "mobike = no"},
        {"IKE.IKE2_FRAGMENTATION", 2, "fragmentation = force"},
        {"IKE.IKE2_LIFETIME_JITTER", 0, "rand_time = 0s"},
        {"IKE.NATT_POLICY", 193, "remote_port = 4500"},
        {"IKE.IPSEC_ANTI_REPLAY_WINDOW", 64, "replay_window = 64"},
        {"IKE.IPSEC_TFC_PADDING", 1, "tfc_padding = mtu"},
    };
    const PolicyText policy = policyOf(protect("a", "gateway = g\n"));
    for (const auto& row : rows) {
        const EngineParameters parameters{{row.name, row.value}};
        std::string all = daemonConfiguration({.mark = 9, .modules = {}, .parameters = parameters}, "/run/vici");
        const auto connections = ikeConnections(policy, {}, {.parameters = parameters});
        for (const ViciSection* part : {&connections[0].config, &connections[0].children[0].config}) {
            for (const ViciItem& item : part->items) all += "  " + item.name + " = " + part->text(item.name) + "\n";
        }
        EXPECT_THAT(all, HasSubstr("  " + std::string(row.line) + "\n"));
    }
}

TEST(Parameters, ThatHaveAnEffectExist) {
    for (const vocabulary::ParameterEffect& row : vocabulary::parameterEffects) {
        panelkit::Place place;
        EXPECT_FALSE(panelkit::findByName(panelkit::allGroups(), row.name, place)) << row.name;
        EXPECT_EQ(row.user == vocabulary::ParameterUser::service, std::string(row.option).empty()) << row.name;
    }
}

TEST(DaemonConfiguration, QuotesPaths) {
    const IkeDaemonSettings settings{.modules = {{"/a \"b\"\\#.so", {}}}, .parameters = {}};
    EXPECT_THAT(daemonConfiguration(settings, "/s"), HasSubstr("path = \"/a \\\"b\\\"\\\\#.so\"\n"));
    EXPECT_THROW(daemonConfiguration({.modules = {{"/a\n.so", {}}}, .parameters = {}}, "/s"), EngineError);
}

// ---- what people read

ViciSection listed(const char* connection, const char* state, const char* child, const char* childState) {
    ViciSection ike, children;
    ike.add("uniqueid", "1").add("state", state).add("remote-host", "192.0.2.1").add("remote-id", "g");
    if (*child)
        children.add("x-1", ViciSection().add("name", child).add("state", childState).add("encr-alg", "AES_CBC"));
    ike.add("child-sas", children);
    return ViciSection().add(connection, ike);
}

struct Board {
    Board() {
        EngineCredentials credentials;
        credentials.certificates = {certificateOf("CN=anna", "DER")};
        credentials.anchors = {"CA"};
        connections = ikeConnections(policy, credentials, {.now = 500});
        board.setPlan(connections, true);
    }
    panelkit::TunnelInfo shown() const { return board.tunnels().at(0); }
    std::string why() const {
        const auto tunnel = shown();
        return tunnel.why.empty() ? "" : Loc::fill({tunnel.why[0].wording, tunnel.why[0].arguments});
    }
    const PolicyText policy = policyOf(protect("a", "gateway = g\n"));
    std::vector<IkeConnection> connections;
    TunnelBoard board;
};

TEST(ATunnelBoard, FollowsATunnelAndTellsTheNewsOnce) {
    Board b;
    const char* name = b.connections[0].name.c_str();
    EXPECT_EQ(b.shown().condition, TunnelCondition::down);
    EXPECT_TRUE(b.board.update(ikeStates({listed(name, "CONNECTING", "", "")})).empty());
    EXPECT_EQ(b.shown().condition, TunnelCondition::connecting);
    const auto up = ikeStates({listed(name, "ESTABLISHED", "a", "INSTALLED")});
    EXPECT_EQ(b.board.update(up).size(), 1U);
    EXPECT_TRUE(b.board.update(up).empty());
    EXPECT_EQ(b.shown().condition, TunnelCondition::up);
    EXPECT_EQ(b.shown().suite, "AES_CBC");
    b.board.heard(name, "received AUTHENTICATION_FAILED notify error");
    EXPECT_EQ(b.why(), "");
    const auto gone = b.board.update({});
    ASSERT_EQ(gone.size(), 1U);
    EXPECT_THAT(inEnglish(gone[0].why), HasSubstr("refuses us"));
    EXPECT_EQ(b.shown().suite, "");
    b.board.turn("a", true);
    b.board.update(up);
    EXPECT_EQ(b.shown().condition, TunnelCondition::turnedOff);
    b.board.setPlan(b.connections, true); // a new activation
    b.board.update(up);
    EXPECT_EQ(b.shown().condition, TunnelCondition::up);
}

TEST(ATunnelBoard, SaysWhyATunnelHasEnded) {
    const bridge::Remark because = remark(vocabulary::Refused::none, "because");
    const struct {
        const char* what;
        std::function<void(Board&)> end;
        const char* why;
    } rows[] = {
        {"its part of the connection", [&](Board& b) { b.board.ended(b.connections[0].name, "a", because); },
         "because"},
        {"the connection", [&](Board& b) { b.board.ended(b.connections[0].name, "", because); }, "because"},
        {"the daemon", [&](Board& b) { b.board.startedAgain(because); }, "because"},
        {"turned off", [](Board& b) { b.board.turn("a", true); }, "an administrator turned it off"},
        {"not in the policy", [](Board& b) { b.board.setPlan({}, true); }, "the policy in force has no such section"},
        {"another gateway",
         [](Board& b) {
             b.connections[0].name = "panelkit-other";
             b.board.setPlan(b.connections, true);
         },
         "its section in the policy has changed"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Board b;
        b.board.update(ikeStates({listed(b.connections[0].name.c_str(), "ESTABLISHED", "a", "INSTALLED")}));
        row.end(b);
        b.board.ended(b.connections[0].name, "", remark(vocabulary::Refused::none, "another reason"));
        const auto news = b.board.update({});
        ASSERT_EQ(news.size(), 1U);
        EXPECT_FALSE(news[0].up);
        EXPECT_EQ(inEnglish(news[0].why), row.why);
    }
}

TEST(ATunnelBoard, DoesNotTakeATunnelThatWasToldToEndForANewOne) {
    Board b;
    const char* name = b.connections[0].name.c_str();
    const auto listing = [&](const char* id) {
        ViciSection ike, children;
        children.add("x", ViciSection().add("name", "a").add("state", "INSTALLED").add("uniqueid", id));
        ike.add("state", "ESTABLISHED").add("child-sas", children);
        return ikeStates({ViciSection().add(name, ike)});
    };
    const auto isUp = [&] { return b.shown().condition == TunnelCondition::up; };
    b.board.update(listing("7"));
    b.board.ended(name, "a", remark(vocabulary::Refused::none, "because"));
    b.board.update(listing("7"));
    EXPECT_FALSE(isUp());
    b.board.update(listing("8"));
    EXPECT_TRUE(isUp());
    EXPECT_EQ(b.why(), "");
    b.board.startedAgain(remark(vocabulary::Refused::none, "because"));
    b.board.update(listing("1"));
    EXPECT_TRUE(isUp()) << "another process counts from the beginning";
    b.board.ended(name, "a", remark(vocabulary::Refused::none, "because"));
    b.board.heard(name, "received NO_PROPOSAL_CHOSEN notify error");
    EXPECT_THAT(b.why(), HasSubstr("none of our algorithms")) << "of the next attempt";
}

TEST(ATunnelBoard, ShowsTheReasonThatSaysMostOfTheLastAttempt) {
    Board b;
    const std::string name = b.connections[0].name;
    b.board.heard(name, "initiating IKE_SA " + name + "[1] to 192.0.2.1");
    b.board.heard(name, "certificate was revoked on Jan 01");
    b.board.heard(name, "no trusted RSA public key found for 'g'");
    EXPECT_THAT(b.why(), HasSubstr("revoked"));
    b.board.heard(name, "initiating IKE_SA " + name + "[2] to 192.0.2.1");
    EXPECT_THAT(b.why(), HasSubstr("revoked")); // nothing else is known yet
    b.board.heard(name, "retransmit 1 of request with message ID 0");
    EXPECT_THAT(b.why(), HasSubstr("does not answer"));
    b.board.heard("another", "received NO_PROPOSAL_CHOSEN notify error");
    b.board.heard(name, "received retransmit of request with ID 3, retransmitting response");
    EXPECT_THAT(b.why(), HasSubstr("does not answer"));
}

} // namespace
// ---- news

TEST(NewsOfTunnels, AreBoundedPerTimeAndEndWithTheStateThatLasts) {
    const TunnelNewsLimit::Clock::time_point start{};
    const auto told = [&](TunnelNewsLimit& limit, std::vector<TunnelNews> fresh, std::chrono::seconds when) {
        std::vector<std::string> lines;
        for (const TunnelNews& news : limit.toTell(fresh, start + when)) {
            lines.push_back(news.section + (news.up ? " up " : " down ") + std::to_string(news.changes));
        }
        return lines;
    };
    const auto news = [](const std::string& section, bool up) { return TunnelNews{section, "g", up, {}, 1, {}}; };
    using std::chrono::seconds;
    TunnelNewsLimit limit;
    EXPECT_THAT(told(limit, {news("a", true)}, seconds(1)), ElementsAre("a up 1"));
    EXPECT_THAT(told(limit, {news("a", false), news("b", true)}, seconds(2)), ElementsAre("b up 1"));
    EXPECT_THAT(told(limit, {news("a", true)}, seconds(3)), IsEmpty());
    EXPECT_TRUE(limit.holds());
    EXPECT_THAT(told(limit, {news("a", false)}, seconds(11)), ElementsAre("a down 3"));
    EXPECT_THAT(told(limit, {news("a", true)}, seconds(12)), IsEmpty());

    TunnelNewsLimit many;
    std::vector<TunnelNews> all;
    for (int i = 0; i < 30; ++i) all.push_back(news("s" + std::to_string(i), true));
    EXPECT_EQ(told(many, all, seconds(1)).size(), 20U);
    EXPECT_EQ(told(many, all, seconds(2)).size(), 0U);
    EXPECT_EQ(told(many, {}, seconds(11)).size(), 20U) << "those that wait, also of tunnels that were told of";
    EXPECT_TRUE(many.holds());
}

} // namespace panelkitd
