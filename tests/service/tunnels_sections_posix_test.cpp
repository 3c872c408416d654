// SPDX-License-Identifier: MIT
//
// Which packets go through a tunnel, beside it, or nowhere: the sections in one order and in the other.
#include "tunnels_fixture_posix.h"

#include <algorithm>

namespace panelkitd {
namespace {

struct Family {
    const char* name;
    const char *network, *part, *others; // others: where a list of sections has addresses
    const char *gateway, *host;
    const char *tcp, *ping; // on the cable
};

class TunnelsOfAFamily : public Tunnels, public testing::WithParamInterface<Family> {
protected:
    enum class Way : unsigned char { tunnel, clear, nowhere };

    void letTheFirstSectionDecide(const Family& family) {
        const std::string head = "title = T\nversion = 1\n";
        const std::string protect = std::string("[office]\naction = protect\nnetwork = ") + family.network +
                                    "\ngateway = " + family.gateway + "\nsubject = CN=anna\n";
        const auto web = [&](const std::string& action) {
            return "[" + action + "]\naction = " + action + "\nnetwork = " + family.part +
                   "\nprotocol = tcp\nport = 7777\n";
        };
        const std::string onlyWeb = protect + "protocol = tcp\nport = 7777\n";
        std::string many;
        for (int i = 0; i < 30; ++i) {
            many +=
                "[s" + std::to_string(i) + "]\naction = pass\nnetwork = " + family.others + std::to_string(i) + "\n";
        }
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
        gateway_->configure(gateWith(family.gateway));
        start();
        logIn();
        for (const auto& row : rows) {
            SCOPED_TRACE(row.what);
            apply(head + row.sections);
            ASSERT_TRUE(comesUp()) << why(tunnel());
            gateway_->seen();
            EXPECT_EQ(answersTcp(family.host), row.tcp != Way::nowhere);
            const bool answered = pings(family.host);
            EXPECT_TRUE(answered || row.ping == Way::clear); // then the gateway may send its answers into the tunnel
            const auto plain = gateway_->seen().plain;
            EXPECT_EQ(std::count(plain.begin(), plain.end(), family.tcp) > 0, row.tcp == Way::clear);
            EXPECT_EQ(std::count(plain.begin(), plain.end(), family.ping) > 0, row.ping == Way::clear);
        }
    }
};

TEST_P(TunnelsOfAFamily, LetTheFirstSectionDecide) { letTheFirstSectionDecide(GetParam()); }

const Family families[] = {
    // clang-format off
    {"IPv4", "10.9.0.0/16", "10.9.0.0/24", "10.10.0.", "192.168.8.2", "10.9.0.1", "6 10.9.0.1:7777", "1 10.9.0.1"},
    {"IPv6", "fd99::/64",   "fd99::/112",  "fd10::",   "fd78::2",     "fd99::1",  "6 fd99::1:7777",  "58 fd99::1"},
    // clang-format on
};
INSTANTIATE_TEST_SUITE_P(With, TunnelsOfAFamily, testing::ValuesIn(families),
                         [](const auto& family) { return family.param.name; });

TEST_F(Tunnels, ThatAreTooManyForTheDaemonAreRefusedAndTheFormerOnesStay) {
    start();
    logIn();
    apply(byCertificate);
    ASSERT_TRUE(comesUp()) << why(tunnel());
    std::string many = "title = T\nversion = 1\n";
    for (int i = 0; i < 1000; ++i) {
        many += "[s" + std::to_string(i) +
                "]\naction = protect\nnetwork = 10.0.0.1..10.255.255.254\ngateway = 192.168.8.2\n"
                "subject = CN=anna\n";
    }
    try {
        apply(many);
        ADD_FAILURE() << "put into force";
    } catch (const EngineError& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("line 3: section [s0] can't be put into force: what the IKE "));
    }
    EXPECT_TRUE(pings("10.9.0.1"));
    EXPECT_EQ(wentDown_, 0U);
}

// The daemon ends with the last tunnel, and the pauses before it is started again are for one that dies.
TEST_F(Tunnels, AreAskedForAgainAsOftenAsSomebodyLikes) {
    start();
    logIn();
    for (unsigned round = 0; round < 4; ++round) {
        apply(byCertificate);
        apply("title = T\nversion = 1\n");
    }
    apply(byCertificate);
    EXPECT_TRUE(comesUp()) << why(tunnel());
}

} // namespace
} // namespace panelkitd
