// SPDX-License-Identifier: MIT
//
// Values of every kind in the bodies of sections: as bytes, as text, as JSON.
#include <panelkit/lparams/sections/section_body.h>
#include <panelkit/lparams/sections/sections.h>

#include "../../support/bytes.h"
#include "../../support/test.h"

using panelkit::BodyError;
using panelkit::JsonMisfit;
using panelkit::JsonRules;
using panelkit::ParamKind;
using panelkit::SectionBody;
using panelkit::SectionValue;
using platform::json::Document;

namespace {

const LPARAMS::Client::ParamGroup& section(const char* name) { return *panelkit::allGroups().find(name, "").group; }

const LPARAMS::Client::Param& param(const char* section, const char* key) {
    return *panelkit::allGroups().find(section, key).param;
}

struct Row {
    const char *section, *key, *kind;
    int type;
    const char *stored, *text, *json; // as bytes, as shown to people, as in a file
};

// Values of each kind, legal or not: values from a service are neither checked nor lost.
const Row rows[] = {
    // clang-format off
    {"CERTMON", "ENABLE",            "flag",       0,  "01",                                    "on",              "true"},
    {"CERTMON", "ENABLE",            "flag",       0,  "00",                                    "off",             "false"},
    {"CERTMON", "ENABLE",            "flag",       0,  "02",                                    "off",             "2"},
    {"CERTMON", "SMTP_SERVER_PORT",  "port",       1,  "d1 01",                                 "465",             "465"},
    {"CERTMON", "SMTP_SERVER_PORT",  "port",       1,  "00 00",                                 "0",               "0"},
    {"IKE",     "EXCHANGE_TIMEOUT",  "number",     2,  "ff ff ff ff",                           "4294967295",      "4294967295"},
    {"CERTMON", "SMTP_SERVER_ADDR",  "address",    3,  "04 00 00 00 'mail'",                    "mail",            "\"mail\""},
    {"IKE",     "NATT_POLICY",       "choice",     4,  "01 00 00 00",                           "Autodetect",      "{\"value\": 1, \"name\": \"NATT_POLICY_STD\"}"},
    {"IKE",     "REDIRECT_POLICY",   "choice",     4,  "02 00 00 00",                           "Always process Redirects", "{\"value\": 2}"},
    {"IKE",     "NATT_POLICY",       "choice",     4,  "fe ff ff ff",                           "=-2",             "{\"value\": -2}"},
    {"ADMIN",   "ADMIN_GROUP",       "text",       6,  "00 00 00 00",                           "",                "\"\""},
    {"ADMIN",   "ADMIN_GROUP",       "text",       6,  "05 00 00 00 'a' 22 '\\' 0a 7f",         "a\"\\\n\x7F",     "\"a\\\"\\\\\\u000A\\u007F\""},
    {"ADMIN",   "ADMIN_GROUP",       "text",       6,  "02 00 00 00 c3 a9",                     "é",               "\"é\""},
    {"ADMIN",   "ADMIN_GROUP",       "text",       6,  "02 00 00 00 ff fe",                     "\xFF\xFE",        "{\"hex\": \"FFFE\"}"},
    {"PCAP",    "THREADS_MASK",      "processors", 6,  "04 00 00 00 '0,,1'",                    "0,,1",            "\"0,,1\""},
    {"IKE",     "QCD_SECRET",        "qcd-secret", 10, "05 00 00 00 'A:B:C'",                   "A",               "\"A:B:C\""},
    {"IKE",     "QCD_SECRET",        "qcd-secret", 10, "02 00 00 00 ':A'",                      ":A",              "\":A\""},
    {"CERTMON", "CHECKING_TIME",     "time",       9,  "a0 8c 00 00 00 00 00 00",               "10:00:00",        "\"10:00:00\""},
    {"CERTMON", "CHECKING_TIME",     "time",       9,  "ff ff ff ff ff ff ff ff",               "-1s",             "\"-1s\""},
    {"USER",    "LSP_GATES",         "gateways",   8,  "00 00 00 00",                           "",                "[]"},
    {"USER",    "LSP_GATES",         "gateways",   8,  "01 00 00 00 02 00 00 00 'gw' 00 00 00 00 01 00 00 00 ff",
                                                            "gw \"\" \xFF", "[{\"GATE_ADDRESS\": \"gw\", \"CERT_SUBJECT\": \"\", \"DST_SELECTOR\": {\"hex\": \"FF\"}}]"},
    // clang-format on
};

TEST(AValue, HasOneTextAndOneJsonForItsBytes) {
    for (const Row& row : rows) {
        const auto& one = param(row.section, row.key);
        const ParamKind& kind = panelkit::kindOf(one);
        const std::string stored = hex(row.stored);
        EXPECT_STREQ(kind.name, row.kind);
        EXPECT_EQ(one.type(), row.type) << row.key;
        const SectionValue value{&section(row.section), &one, stored};
        EXPECT_EQ(value.print(), row.text) << row.key << ' ' << row.stored;
        std::string json;
        kind.printJson(one, stored, json);
        EXPECT_EQ(json, row.json) << row.key;
        EXPECT_LE(json.size(), panelkit::maxJsonSize(stored));
        const Document file(json);
        EXPECT_EQ(toHex(kind.readJson(one, file.root(), JsonRules::stored)), toHex(stored)) << row.key;
    }
}

TEST(AValue, IsTheSameWhenItSaysTheSameToWhoEditsIt) {
    const auto same = [](const char* where, const char* key, const char* a, const char* b) {
        const std::string one = hex(a), other = hex(b);
        const SectionValue value{&section(where), &param(where, key), one};
        return value.isSameAs({value.section, value.param, other});
    };
    EXPECT_TRUE(same("CERTMON", "ENABLE", "00", "02"));
    EXPECT_FALSE(same("CERTMON", "ENABLE", "00", "01"));
    EXPECT_TRUE(same("IKE", "QCD_SECRET", "03 00 00 00 'A:B'", "01 00 00 00 'A'"));
    EXPECT_FALSE(same("IKE", "QCD_SECRET", "03 00 00 00 'A:B'", "03 00 00 00 'B:A'"));
    EXPECT_FALSE(same("ADMIN", "ADMIN_GROUP", "01 00 00 00 'a'", "01 00 00 00 'A'"));
}

// JSON that is refused, and the error; with "legal", the JSON has the right type.
TEST(AValue, IsNotReadFromOtherJson) {
    struct Misfit {
        const char *section, *key, *json;
        JsonRules rules;
        const char *what, *illegal;
    };
    constexpr auto stored = JsonRules::stored, entered = JsonRules::entered;
    const Misfit misfits[] = {
        // clang-format off
        {"CERTMON", "ENABLE",           "\"on\"",        stored,  "expected true or false", nullptr},
        {"CERTMON", "ENABLE",           "256",           stored,  "expected true or false", nullptr},
        {"CERTMON", "ENABLE",           "1",             entered, "expected true or false", nullptr},
        {"CERTMON", "SMTP_SERVER_PORT", "65536",         stored,  "expected a whole number from 0 to 65535", "65536"},
        {"CERTMON", "SMTP_SERVER_PORT", "-1",            stored,  "expected a whole number from 0 to 65535", "-1"},
        {"CERTMON", "SMTP_SERVER_PORT", "\"1\"",         stored,  "expected a whole number from 0 to 65535", nullptr},
        {"CERTMON", "SMTP_SERVER_PORT", "0",             entered, "not legal; legal: 1..65535", "0"},
        {"IKE",     "NATT_POLICY",      "\"AUTO\"",      stored,  "expected one of: 0 NATT_POLICY_DISABLED, 1 ", "AUTO"},
        {"IKE",     "NATT_POLICY",      "2",             entered, "not legal; legal: 0 NATT_POLICY_DISABLED", "2"},
        {"IKE",     "NATT_POLICY",      "{\"value\": 1, \"name\": \"NATT_POLICY_STD_PORT\"}", stored, "\"value\" and \"name\" are not the same choice; expected one of: 0 ", "1 NATT_POLICY_STD_PORT"},
        {"IKE",     "NATT_POLICY",      "{\"name\": \"NATT_POLICY_STD\"}", stored, "expected {\"value\": NUMBER, \"name\": \"NAME\"}", nullptr},
        {"IKE",     "NATT_POLICY",      "{\"value\": 1, \"text\": \"Autodetect\"}", stored, "expected {\"value\": NUMBER, \"name\": \"NAME\"}", nullptr},
        {"IKE",     "NATT_POLICY",      "{\"value\": 1.5}", stored, "expected a whole number", nullptr},
        {"ADMIN",   "ADMIN_GROUP",      "5",             stored,  "expected a text in quotes", nullptr},
        {"ADMIN",   "ADMIN_GROUP",      "{\"hex\": \"FF\"}", entered, "expected a text in quotes", nullptr},
        {"ADMIN",   "ADMIN_GROUP",      "{\"hex\": \"FFF\"}", stored, "expected an even number of the digits", nullptr},
        {"ADMIN",   "ADMIN_GROUP",      "{\"hex\": \"ff\"}", stored, "expected an even number of the digits", nullptr},
        {"PCAP",    "THREADS_MASK",     "\"0,,1\"",      entered, "not legal; legal: ALL", "0,,1"},
        {"IKE",     "QCD_SECRET",       "\"short\"",     entered, "not legal; legal: an even number of 16 to 40", "short"},
        {"CERTMON", "CHECKING_TIME",    "\"25:00\"",     stored,  "expected a time of day", "25:00"},
        {"CERTMON", "CHECKING_TIME",    "36000",         stored,  "expected a time of day", nullptr},
        {"USER",    "LSP_GATES",        "{}",            stored,  "expected a list of gateways in brackets", nullptr},
        {"USER",    "LSP_GATES",        "[5]",           stored,  "a gateway has no GATE_ADDRESS", nullptr},
        {"USER",    "LSP_GATES",        "[5]",           entered, "expected GATE_ADDRESS, CERT_SUBJECT and DST_SELECTOR", nullptr},
        {"USER",    "LSP_GATES",        "[{\"GATE_ADDRESS\": \"a\"}]", stored, "a gateway has no CERT_SUBJECT", nullptr},
        {"USER",    "LSP_GATES",        "[{\"GATE_NAME\": \"a\"}]", entered, "expected GATE_ADDRESS, CERT_SUBJECT and DST_SELECTOR", nullptr},
        // clang-format on
    };
    for (const Misfit& row : misfits) {
        const auto& one = param(row.section, row.key);
        const Document file(row.json);
        try {
            panelkit::kindOf(one).readJson(one, file.root(), row.rules);
            ADD_FAILURE() << row.key << " took " << row.json;
        } catch (const JsonMisfit& misfit) {
            EXPECT_TRUE(std::string_view(misfit.what()).starts_with(row.what)) << row.json << ": " << misfit.what();
            EXPECT_EQ(misfit.illegalText, row.illegal ? std::optional<std::string>(row.illegal) : std::nullopt);
        }
    }
}

TEST(AParameter, OfAnUnknownKindIsStreamedAllTheSame) {
    using namespace LPARAMS::Client;
    struct Odd : Param {
        explicit Odd(ParamGroup& group) : Param(group, "ODD", panelkit::Text::empty) {}
        int type() const override { return 77; }
        bool save(CommandStreamOut& out) const override { return out << std::string("odd"), true; }
        bool load(CommandStreamIn& in) override {
            std::string ignored;
            return in >> ignored, true;
        }
    };
    struct Group : ParamGroup {
        Group() : ParamGroup("ODD") {}
        Odd odd{*this};
    } group;
    const std::string bytes = encoded(std::string("sent"));
    CommandStreamIn in(bytes);
    group.load(in);
    EXPECT_EQ(group.snapshot, encoded(std::string("ODD"), std::string("odd")));
    EXPECT_THROW(panelkit::kindOf(group.odd), std::invalid_argument);
}

// ---- bodies

TEST(ABody, OfEverySectionIsCutAtItsParametersAndRefusedWhenItIsNotWhole) {
    for (const auto& group : panelkit::allGroups()) {
        const SectionBody body = SectionBody::defaultsOf(*group);
        const std::string whole(body.bytes());
        EXPECT_EQ(SectionBody(*group, whole), body);
        EXPECT_EQ(body.size(), group->params.size());
        for (std::size_t i = 0; i < body.size(); ++i) {
            EXPECT_TRUE(body[i].isDefault()) << group->name << '.' << body[i].param->key;
            EXPECT_EQ(body[i].print(), panelkit::printDefault(*group->params[i]));
            EXPECT_EQ(body.indexOf(group->params[i]->key), i);
        }
        for (std::size_t size = 0; size < whole.size(); ++size) {
            try {
                const SectionBody cut(*group, whole.substr(0, size));
                ADD_FAILURE() << group->name << " took " << size << " bytes";
            } catch (const BodyError& error) {
                EXPECT_EQ(error.why, BodyError::Why::endsEarly);
                EXPECT_THAT(error.what(), HasSubstr("the body ends within "));
            }
        }
        try {
            const SectionBody longer(*group, whole + "m");
            ADD_FAILURE() << group->name;
        } catch (const BodyError& error) {
            EXPECT_EQ(error.why, BodyError::Why::goesOn);
            EXPECT_EQ(error.what(), "the body goes on for 1 bytes after " + std::string(group->params.back()->key));
        }
    }
}

TEST(ABody, RefusesMoreGatewaysThanItHasBytes) {
    std::string bytes(SectionBody::defaultsOf(section("USER")).bytes());
    for (const char* count : {"ff ff ff ff", "ff ff ff 7f", "02 00 00 00"}) {
        bytes.replace(bytes.size() - 4, 4, hex(count));
        EXPECT_THROW(SectionBody(section("USER"), bytes + hex("00 00 00 00  00 00 00 00  00 00 00 00")), BodyError);
        bytes.resize(SectionBody::defaultsOf(section("USER")).bytes().size());
    }
}

TEST(ABody, ChangesInTheParameterThatIsEnteredAlone) {
    SectionBody body(section("CERTMON"), SectionBody::defaultsOf(section("CERTMON")).bytes());
    body.replace(body.indexOf("SMTP_SSL"), hex("07"));
    const SectionBody before = body;
    const auto enter = [&](const char* key, const char* text) { return body.enterText(body.indexOf(key), text); };
    EXPECT_FALSE(enter("smtp_user", "somebody"));
    EXPECT_FALSE(enter("DAYS_TO_EXPIRE", "366"));
    EXPECT_FALSE(enter("SMTP_SSL", "off")) << "which is what the byte 7 says";
    for (std::size_t i = 0; i < body.size(); ++i) {
        const std::string key = body[i].param->key;
        const bool isEntered = key == "SMTP_USER" || key == "DAYS_TO_EXPIRE";
        EXPECT_EQ(body[i].stored != before[i].stored, isEntered) << key;
    }
    EXPECT_EQ(body.get<std::string>("SMTP_USER"), "somebody");
    EXPECT_EQ(body.get<std::uint32_t>("DAYS_TO_EXPIRE"), 366U);
    EXPECT_EQ(SectionBody(section("CERTMON"), body.bytes()), body) << "its cuts have moved with its values";
    EXPECT_FALSE(enter("SMTP_USER", ""));
    body.reset(body.indexOf("DAYS_TO_EXPIRE"));
    EXPECT_EQ(body, before);
}

TEST(ABody, TakesOnlyWholeStoredValues) {
    SectionBody ike = SectionBody::defaultsOf(section("IKE"));
    const SectionBody before = ike;
    for (const char* bytes : {"", "01 00 00", "01 00 00 00 00"}) {
        EXPECT_THROW(ike.replace(ike.indexOf("EXCHANGE_TIMEOUT"), hex(bytes)), std::invalid_argument) << bytes;
    }
    EXPECT_THROW(ike.replace(ike.indexOf("QCD_SECRET"), hex("05 00 00 00 'auto'")), std::invalid_argument);
    EXPECT_EQ(ike, before);
}

TEST(ABody, KeepsItsValueAndTellsWhyWhenATextIsNotLegal) {
    SectionBody ike = SectionBody::defaultsOf(section("IKE"));
    const SectionBody before = ike;
    const auto error = ike.enterText(ike.indexOf("EXCHANGE_TIMEOUT"), "301");
    ASSERT_TRUE(error);
    EXPECT_EQ(describe(*error), "IKE.EXCHANGE_TIMEOUT: \"301\" is not legal; legal: 5..300; nearest: 300");
    const auto secret = ike.enterText(ike.indexOf("QCD_SECRET"), "hunter2");
    ASSERT_TRUE(secret);
    EXPECT_EQ(secret->text, "***");
    EXPECT_EQ(ike, before);

    SectionBody pcap = SectionBody::defaultsOf(section("PCAP"));
    const auto broken = pcap.enterText(pcap.indexOf("THREADS_MASK"), "0,,1");
    ASSERT_TRUE(broken);
    EXPECT_THAT(broken->constraint, HasSubstr("Param malformed: 'threads_mask'Multiple CPUs"));
    EXPECT_EQ(pcap.brokenConstraint(), "");
    pcap.replace(pcap.indexOf("THREADS_MASK"), hex("04 00 00 00 '0,,1'"));
    EXPECT_EQ(pcap.brokenConstraint(), broken->constraint);
}

TEST(ABody, TakesWhatTheServiceHoldsAlsoWhenItIsNotLegal) {
    SectionBody ike = SectionBody::defaultsOf(section("IKE"));
    const std::size_t timeout = ike.indexOf("EXCHANGE_TIMEOUT"), policy = ike.indexOf("NATT_POLICY");
    ike.replace(timeout, hex("2d 01 00 00"));
    ike.replace(policy, hex("03 00 00 00"));
    const SectionBody before = ike;
    EXPECT_FALSE(ike.enterText(timeout, "301"));
    EXPECT_FALSE(ike.enterText(policy, "=3"));
    EXPECT_FALSE(ike.enterJson(timeout, Document("301").root()));
    EXPECT_FALSE(ike.enterJson(policy, Document("{\"value\": 3}").root()));
    EXPECT_EQ(ike, before);
    const auto error = ike.enterJson(timeout, Document("302").root());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->text + ' ' + error->legal + ' ' + error->nearest, "302 5..300 300");
    EXPECT_EQ(ike.enterJson(policy, Document("\"NATT_POLICY_ST\"").root())->nearest, "NATT_POLICY_STD");
    EXPECT_THROW(ike.enterJson(timeout, Document("\"60\"").root()), JsonMisfit);
    EXPECT_EQ(ike, before);
}

TEST(ABody, PutsASecretToTheFrontOfItsHistory) {
    SectionBody ike = SectionBody::defaultsOf(section("IKE"));
    const std::size_t secret = ike.indexOf("QCD_SECRET");
    const auto enter = [&](const char* text) {
        EXPECT_FALSE(ike.enterText(secret, text)) << text;
        return ike.get<std::string>("QCD_SECRET");
    };
    EXPECT_TRUE(ike[secret].isLeftToService());
    EXPECT_EQ(enter("1111111111111111"), "1111111111111111:");
    EXPECT_EQ(enter("1111111111111111"), "1111111111111111:");
    EXPECT_FALSE(ike[secret].isLeftToService());
    EXPECT_EQ(ike[secret].show(), "***");
    EXPECT_EQ(ike[secret].print(), "1111111111111111");
    EXPECT_EQ(ike[secret].json(), "\"1111111111111111\"") << "what one edits";
    EXPECT_EQ(enter("auto"), "auto:1111111111111111:");
    EXPECT_TRUE(ike[secret].isLeftToService());
    EXPECT_EQ(ike[secret].show(), "auto");
    EXPECT_EQ(enter("no"), "no");
}

} // namespace
