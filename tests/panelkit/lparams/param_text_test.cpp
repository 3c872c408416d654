// SPDX-License-Identifier: MIT
#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/sections/sections.h>

#include "../../support/test.h"

using namespace LPARAMS::Client;
using panelkit::ParamError;
using panelkit::parseParam;
using panelkit::printParam;
using panelkit::showParam;
using panelkit::TextForm;

namespace {

struct Configuration {
    ADMIN admin;
    CERTMON certmon;
    IKE ike;
    LOG log;
    PCAP pcap;
    PROXY proxy;
    USER user;
};

class TextOfParameters : public testing::Test, protected Configuration {
protected:
    // Sets a parameter from a text; returns what it then prints, or the error.
    static std::string set(ParamGroup& group, Param& param, std::string_view text, TextForm form = TextForm::display) {
        if (const auto error = parseParam(group, param, text, form)) return describe(*error);
        return printParam(param);
    }
};

TEST_F(TextOfParameters, ReadsFlags) {
    for (const char* yes : {"on", "ON", "true", "yes", "1"}) EXPECT_EQ(set(log, log.SYSLOG_ON, yes), "on") << yes;
    for (const char* no : {"off", "False", "no", "0"}) EXPECT_EQ(set(log, log.SYSLOG_ON, no), "off") << no;
    EXPECT_EQ(set(log, log.SYSLOG_ON, "onn"), "LOG.SYSLOG_ON: \"onn\" is not legal; legal: on, off; nearest: on");
    EXPECT_EQ(set(log, log.SYSLOG_ON, ""), "LOG.SYSLOG_ON: \"\" is not legal; legal: on, off");
}

TEST_F(TextOfParameters, ReadsNumbersWithinTheirBounds) {
    const auto timeout = [this](const std::string& text) { return set(ike, ike.EXCHANGE_TIMEOUT, text); };
    EXPECT_EQ(timeout("300"), "300");
    EXPECT_EQ(timeout("5"), "5");
    const std::string refusal = "IKE.EXCHANGE_TIMEOUT: \"%\" is not legal; legal: 5..300";
    const auto refused = [&](std::string text) { return std::string(refusal).replace(refusal.find('%'), 1, text); };
    EXPECT_EQ(timeout("301"), refused("301") + "; nearest: 300");
    EXPECT_EQ(timeout("4"), refused("4") + "; nearest: 5");
    for (const char* bad : {"", "-1", "+7", " 7", "7 ", "0x7", "seven", "7.0", "1e1"}) {
        EXPECT_EQ(timeout(bad), refused(bad));
    }
    EXPECT_EQ(ike.EXCHANGE_TIMEOUT.value, 5U); // refused texts did not change it
    EXPECT_EQ(set(log, log.MAX_LOG_SIZE, "4294967295"), "4294967295");
    EXPECT_THAT(set(log, log.MAX_LOG_SIZE, "4294967296"), HasSubstr("nearest: 4294967295"));
    EXPECT_EQ(set(proxy, proxy.HTTP_LISTEN_PORT, "65535"), "65535");
    EXPECT_THAT(set(proxy, proxy.HTTP_LISTEN_PORT, "65536"), HasSubstr("legal: 0..65535; nearest: 65535"));
    EXPECT_THAT(set(certmon, certmon.SMTP_SERVER_PORT, "0"), HasSubstr("legal: 1..65535; nearest: 1"));
}

TEST_F(TextOfParameters, ReadsChoicesAsPeopleGiveThem) {
    EXPECT_EQ(set(ike, ike.IKE2_FRAGMENTATION, "always"), "Always");
    EXPECT_EQ(set(ike, ike.IKE2_FRAGMENTATION, "=0"), "Disabled");
    EXPECT_EQ(set(ike, ike.ERRNTF_POLICY, "=-1"), "Always send (not recommended)");
    EXPECT_EQ(set(ike, ike.IPSEC_ANTI_REPLAY_WINDOW, "2048"), "2048"); // here the text is a number
    const ParamError expected{"IKE", "IKE2_FRAGMENTATION", "Alwyas", R"("Disabled", "Auto", "Always")", "Always"};
    EXPECT_EQ(parseParam(ike, ike.IKE2_FRAGMENTATION, "Alwyas"), expected);
    for (const char* bad : {"", "0", "=3", "=", "=1x", "IKE2_FRAGM_AUTO", "0 IKE2_FRAGM_DISABLED"}) {
        EXPECT_TRUE(parseParam(ike, ike.IKE2_FRAGMENTATION, bad)) << bad;
    }
    EXPECT_TRUE(parseParam(ike, ike.IKE2_FRAGMENTATION, std::string_view("Auto\0", 5)));
    EXPECT_EQ(ike.IKE2_FRAGMENTATION.value, 0);
}

TEST_F(TextOfParameters, ReadsChoicesAsFilesHoldThem) {
    const auto stored = [this](const char* text) { return set(ike, ike.IKE2_FRAGMENTATION, text, TextForm::stored); };
    EXPECT_EQ(stored("2"), "Always");
    EXPECT_EQ(stored("IKE2_FRAGM_DISABLED"), "Disabled");
    EXPECT_EQ(stored("2 IKE2_FRAGM_ALWAYS"), "Always");
    EXPECT_EQ(stored("IKE2_FRAGM_AUT"),
              "IKE.IKE2_FRAGMENTATION: \"IKE2_FRAGM_AUT\" is not legal; legal: 0 IKE2_FRAGM_DISABLED, "
              "1 IKE2_FRAGM_AUTO, 2 IKE2_FRAGM_ALWAYS; nearest: IKE2_FRAGM_AUTO");
    for (const char* bad :
         {"", "3", "Auto", "=1", "1 IKE2_FRAGM_ALWAYS", "x IKE2_FRAGM_AUTO", "1 ", "ike2_fragm_auto"}) {
        EXPECT_TRUE(parseParam(ike, ike.IKE2_FRAGMENTATION, bad, TextForm::stored)) << bad;
    }
    EXPECT_EQ(set(ike, ike.IKETCP_ENABLED, "2", TextForm::stored), "Force"); // its symbolic names are numbers
    EXPECT_EQ(set(ike, ike.IPSEC_ANTI_REPLAY_WINDOW, "4*32", TextForm::stored), "128");
}

TEST_F(TextOfParameters, ReadsTimesOfDay) {
    const std::pair<const char*, const char*> times[] = {{"10:00", "10:00:00"},
                                                         {"9:05", "09:05:00"},
                                                         {"00:00:00", "00:00:00"},
                                                         {"23:59:59", "23:59:59"},
                                                         {"36000s", "10:00:00"},
                                                         {"86400s", "86400s"},
                                                         {"-1s", "-1s"}};
    for (const auto& [text, printed] : times) EXPECT_EQ(set(certmon, certmon.CHECKING_TIME, text), printed);
    for (const char* bad : {"", "10", "24:00", "10:60", "10:00:60", "1:2", "10:0:00", "10:00:", ":10", "100:00",
                            "1x:00", "-1:00", "s", "+1s", "1:00:00:00", "9223372036854775808s"}) {
        EXPECT_TRUE(parseParam(certmon, certmon.CHECKING_TIME, bad)) << bad;
    }
    EXPECT_EQ(certmon.CHECKING_TIME.value, -1);
}

TEST_F(TextOfParameters, ReadsAddresses) {
    for (const char* good :
         {"", "127.0.0.1", "255.255.255.255", "mail", "mail.example.org", "mail.example.org.", "a-b_c", "3com",
          "::", "::1", "fe80::1%eth0", "1:2:3:4:5:6:7:8", "::ffff:10.0.0.1", "1::", "2001:DB8::"}) {
        EXPECT_EQ(set(certmon, certmon.SMTP_SERVER_ADDR, good), good);
    }
    // clang-format off
    for (const std::string_view bad : {
        "10.0.0.300", "1.2.3", "1.2.3.4.5", "1..2", "host name", ".", "a..b", "-a", "a-", "a.-b", ":", ":::",
        "1:2:3", "1:2:3:4:5:6:7:8:9", "::1::2", "1:2:3:4:5:6:7::8", "12345::", "g::1", "fe80::1%", "::1.2.3",
        "1.2.3.4::", "1.2.3.4:25", "mail/x"}) {
        // clang-format on
        EXPECT_TRUE(parseParam(certmon, certmon.SMTP_SERVER_ADDR, bad)) << bad;
    }
    const std::string label = std::string(63, 'a') + '.', three = label + label + label;
    EXPECT_FALSE(parseParam(certmon, certmon.SMTP_SERVER_ADDR, three + std::string(61, 'a'))) << "253 in all";
    EXPECT_TRUE(parseParam(certmon, certmon.SMTP_SERVER_ADDR, three + std::string(62, 'a')));
    EXPECT_TRUE(parseParam(certmon, certmon.SMTP_SERVER_ADDR, std::string(64, 'a')));
}

TEST_F(TextOfParameters, ReadsGateways) {
    const auto roundTrip = [this](const char* text) { return set(user, user.LSP_GATES, text); };
    EXPECT_EQ(roundTrip(R"(gw1 "CN=a, O=b" 10.0.0.0/8 ;gw2 "" "say \"\\\"")"),
              R"(gw1 "CN=a, O=b" 10.0.0.0/8; gw2 "" "say \"\\\"")");
    ASSERT_EQ(user.LSP_GATES.items.size(), 2U);
    EXPECT_EQ(user.LSP_GATES.items[0]->CERT_SUBJECT.value, "CN=a, O=b");
    EXPECT_EQ(user.LSP_GATES.items[1]->DST_SELECTOR.value, "say \"\\\"");
    for (const char* bad : {"a", "a b", "a b c d", "a b c;", ";", "a b c; d", "a \"b c", "a b \"c\\", "a;b c"}) {
        EXPECT_TRUE(parseParam(user, user.LSP_GATES, bad)) << bad;
    }
    EXPECT_EQ(user.LSP_GATES.items.size(), 2U);
    EXPECT_EQ(roundTrip(" "), "");
}

TEST_F(TextOfParameters, ReadsWhatHasAFormatOfItsOwn) {
    EXPECT_EQ(set(pcap, pcap.THREADS_MASK, "0,2-3"), "0,2-3");
    EXPECT_THAT(set(pcap, pcap.THREADS_MASK, "all"), HasSubstr("PCAP.THREADS_MASK: \"all\" is not legal; legal: ALL;"));
    for (const char* good : {"no", "auto", "", "0123456789ABCDEF"}) EXPECT_EQ(set(ike, ike.QCD_SECRET, good), good);
    EXPECT_EQ(set(certmon, certmon.EMAIL_SUBJECT, " any\ntext "), " any\ntext ");
}

TEST_F(TextOfParameters, NeverShowsASecret) {
    const auto error = parseParam(ike, ike.QCD_SECRET, "0123456789abcdef");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->text, "***");
    EXPECT_EQ(error->nearest, "");
    EXPECT_EQ(describe(*error).find("0123456789abcdef\""), std::string::npos);
    ike.QCD_SECRET.value = "0123456789ABCDEF";
    certmon.SMTP_PASSWORD.value = "no";
    EXPECT_EQ(showParam(ike, ike.QCD_SECRET), "***");
    EXPECT_EQ(showParam(certmon, certmon.SMTP_PASSWORD), "***");
    ike.QCD_SECRET.value = "auto";
    certmon.SMTP_PASSWORD.value = "";
    EXPECT_EQ(showParam(ike, ike.QCD_SECRET), "auto");
    EXPECT_EQ(showParam(certmon, certmon.SMTP_PASSWORD), "");
    EXPECT_EQ(showParam(ike, ike.EXCHANGE_TIMEOUT), "60");
}

TEST_F(TextOfParameters, PrintsAndRestoresDefaults) {
    panelkit::AllGroups groups;
    for (const auto& group : groups) {
        for (Param* param : group->params) {
            for (const TextForm form : {TextForm::display, TextForm::stored}) {
                const std::string text = panelkit::printDefault(*param, form);
                EXPECT_EQ(printParam(*param, form), text) << param->key;
                EXPECT_FALSE(parseParam(*group, *param, text, form)) << group->name << ' ' << param->key;
            }
        }
    }
    EXPECT_EQ(set(ike, ike.NATT_POLICY, "=65"), "Start from NAT-T port");
    EXPECT_EQ(set(user, user.LSP_GATES, "a b c"), "a b c");
    panelkit::resetParam(ike.NATT_POLICY);
    panelkit::resetParam(user.LSP_GATES);
    EXPECT_EQ(printParam(ike.NATT_POLICY), "Autodetect");
    EXPECT_EQ(printParam(user.LSP_GATES), "");
}

TEST_F(TextOfParameters, FindsParametersByNameAndNamesTheNearest) {
    const panelkit::AllGroups groups;
    panelkit::Place place;
    EXPECT_FALSE(findByName(groups, "IKE.CRL_TIMEOUT", place));
    EXPECT_EQ(place.param->key, std::string("CRL_TIMEOUT"));
    EXPECT_FALSE(findByName(groups, "logon.crl_timeout", place));
    EXPECT_EQ(place.group->name, std::string("LOGON"));
    const auto error = [&](const char* name) { return describe(*findByName(groups, name, place)); };
    EXPECT_EQ(error("IKE.EXCHANGE_TIMOUT"),
              "IKE: \"EXCHANGE_TIMOUT\" is not legal; legal: a key of the section; nearest: EXCHANGE_TIMEOUT");
    EXPECT_EQ(error("IKE.EXCHANGE"),
              "IKE: \"EXCHANGE\" is not legal; legal: a key of the section; nearest: EXCHANGE_TIMEOUT");
    EXPECT_EQ(error("CERTMN.ENABLE"), "\"CERTMN\" is not legal; legal: a section; nearest: CERTMON");
    EXPECT_EQ(error("LSP_GATE.GATE_ADDRESS"), "\"LSP_GATE\" is not legal; legal: a section");
    EXPECT_EQ(error("IKE"), "IKE: \"\" is not legal; legal: a key of the section");
    EXPECT_EQ(error(""), "\"\" is not legal; legal: a section");
}

} // namespace
