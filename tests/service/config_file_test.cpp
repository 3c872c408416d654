// SPDX-License-Identifier: MIT
//
// The configuration's file: mistakes are reported with line, section and key, the last good state is used, and nothing
// is lost.
#include "../support/running_service.h"
#include "../support/test.h"

#include <service/config/configuration_file.h>
#include <service/config/configuration_text.h>

#include <panelkit/lparams/sections/sections.h>
#include <platform/system/files.h>

#include <regex>

using namespace panelkitd;

namespace {

Bodies bodiesWith(const std::string& listenAddress) {
    Bodies bodies;
    for (const char* name : {"CERTMON", "IKE", "PROXY", "USER"}) {
        bodies.emplace(name, panelkit::SectionBody::defaultsOf(*findSection(name)));
    }
    const auto enter = [&](const char* section, const char* key, const std::string& text) {
        panelkit::SectionBody& body = bodies.at(section);
        EXPECT_FALSE(body.enterText(body.indexOf(key), text));
    };
    enter("PROXY", "HTTP_LISTEN_ADDR", listenAddress);
    enter("USER", "LSP_GATES", "gw \"\" \"\"");
    return bodies;
}

class TheFile : public testing::Test {
protected:
    std::string read(const std::string& name) const { return platform::readFile(state.file(name), 1 << 24); }
    void write(const std::string& name, const std::string& text) const {
        platform::replaceFile(state.file(name), text, true);
    }
    Bodies load() const { return ConfigurationFile(state).load(); }
    void save(const Bodies& bodies) const {
        ConfigurationFile file(state);
        file.load();
        file.save(bodies);
    }

    TemporaryFolder folder;
    StateFolder state{folder.file("state")};
    const Bodies first = bodiesWith("first"), second = bodiesWith("second");
    const std::string whole = printConfiguration(first);
};

struct Damage {
    const char* name;
    const char* what; // the first occurrence is replaced; with "..." all that follows too; "" is the whole
    const char* with;
    const char* problem;
};

// Lines are those of the file that TheFile makes. More mistakes of JSON: tests/platform/json/json_test.cpp; of values:
// tests/panelkit/lparams/section_body_test.cpp.
const Damage damages[] = {
    // clang-format off
    // not JSON
    {"nothing in it",           "",                                     "",                                    "line 1: not valid JSON"},
    {"cut in the middle",       R"("SMTP_SSL"...)",                     "",                                    "line 11: not valid JSON at or after sections.CERTMON.SMTP_SERVER_PORT"},
    {"a comma lost",            R"("SMTP_SSL": true,)",                 "\"SMTP_SSL\": true",                  "line 12: not valid JSON at or after sections.CERTMON.SMTP_SSL"},
    {"a key twice",             R"("SMTP_SSL")",                        "\"SEND_EMAIL\"",                      "line 11: duplicate key sections.CERTMON.SEND_EMAIL"},
    {"a section twice",         R"("PROXY")",                           "\"IKE\"",                             "duplicate key sections.IKE"},
    {"nested without end",      R"("ENABLE": true)",                    "\"ENABLE\": [[[[[[[[[[[[[[[[[[[[",    "line 5: nested too deeply"},
    // not a configuration
    {"a list",                  "",                                     "[]",                                  "line 1: expected an object in braces"},
    {"no sections",             R"("sections")",                        "\"section\"",                         "line 3: section: unknown; expected \"format\" and \"sections\""},
    {"sections as a list",      R"("sections": ...)",                   "\"sections\": []\n}",                 "line 3: sections: expected an object in braces"},
    {"an unknown section",      R"("PROXY")",                           "\"PROXIES\"",                         "PROXIES: there is no such section"},
    {"gateways as a section",   R"("PROXY")",                           "\"LSP_GATE\"",                        "LSP_GATE: there is no such section"},
    {"a section as a number",   R"("PROXY": ...)",                      "\"PROXY\": 5}}",                      "PROXY: expected the section's parameters in braces"},
    // not a section
    {"an unknown parameter",    R"("SMTP_SSL")",                        "\"SMTP_TLS\"",                        "line 11: CERTMON.SMTP_TLS: the section has no such parameter"},
    {"a parameter lost",        "      \"SMTP_SSL\": true,\n",          "",                                    "line 4: CERTMON: SMTP_SSL is missing"},
    {"a text for a number",     R"("DAYS_TO_EXPIRE": 30)",              "\"DAYS_TO_EXPIRE\": \"30\"",          "line 6: CERTMON.DAYS_TO_EXPIRE: expected a whole number from 0 to 4294967295"},
    {"a number too large",      R"("DAYS_TO_EXPIRE": 30)",              "\"DAYS_TO_EXPIRE\": 4294967296",      "line 6: CERTMON.DAYS_TO_EXPIRE: expected a whole number"},
    {"a hole",                  R"("ENABLE": true)",                    "\"ENABLE\": null",                    "line 5: CERTMON.ENABLE: expected true or false"},
    {"a gateway's field lost",  R"("GATE_ADDRESS": "gw", )",            "",                                    "USER.LSP_GATES: a gateway has no GATE_ADDRESS"},
    // clang-format on
};

std::string apply(const Damage& damage, std::string text) {
    std::string_view what = damage.what;
    const bool toTheEnd = what.empty() || what.ends_with("...");
    if (what.ends_with("...")) what.remove_suffix(3);
    text.replace(text.find(what), toTheEnd ? std::string::npos : what.size(), damage.with);
    return text;
}

// What happens to a damaged file and its last good copy: state_damage_test.cpp.
TEST_F(TheFile, IsRefusedWithTheLineOfTheDamage) {
    for (const Damage& damage : damages) {
        const std::string damaged = apply(damage, whole);
        ASSERT_NE(damaged, whole) << damage.name;
        EXPECT_THAT(readConfiguration(damaged).problems, Contains(HasSubstr(damage.problem))) << damage.name;
    }
}

TEST_F(TheFile, NamesAllItsProblems) {
    std::string damaged = std::regex_replace(whole, std::regex("true"), "1.5");
    damaged = std::regex_replace(damaged, std::regex("10:00:00"), "noon");
    EXPECT_THAT(readConfiguration(damaged).problems,
                testing::IsSupersetOf({HasSubstr("CERTMON.ENABLE"), HasSubstr("CERTMON.CHECKING_TIME"),
                                       HasSubstr("CERTMON.SMTP_SSL"), HasSubstr("IKE.MOBIKE_ENABLED")}));
}

TEST_F(TheFile, TellsNoSecretWithItsProblems) {
    const std::string damaged =
        std::regex_replace(whole, std::regex(R"("SMTP_PASSWORD": "")"), R"("SMTP_PASSWORD": ["hunter2"])");
    EXPECT_THAT(readConfiguration(damaged).problems, ElementsAre(Not(HasSubstr("hunter2"))));
    EXPECT_THAT(readConfiguration(damaged + "hunter2").problems, ElementsAre(Not(HasSubstr("hunter2"))));
}

TEST_F(TheFile, MayBeEditedWithinItsRules) {
    save(first);
    std::string edited = std::regex_replace(whole, std::regex("\"first\""), "\"second\"");
    edited = std::regex_replace(edited, std::regex(R"(\{"value": 1, "name": ("IKE2_FRAGM_AUTO")\})"), "$1");
    edited = std::regex_replace(edited, std::regex(R"(\{"value": 1, "name": "NATT_POLICY_STD"\})"), "1");
    edited = std::regex_replace(edited, std::regex("\n +"), "\r\n\t");
    write("configuration.json", edited);
    EXPECT_TRUE(load() == second);
    EXPECT_EQ(read("configuration.last-good.json"), edited) << "what is good is the last good state from then on";

    const auto outside = readConfiguration(
        std::regex_replace(whole, std::regex(R"("DAYS_TO_EXPIRE": 30)"), R"("DAYS_TO_EXPIRE": 9999)"));
    EXPECT_TRUE(outside.bodies);
    EXPECT_THAT(outside.notes, ElementsAre("line 6: CERTMON.DAYS_TO_EXPIRE: 9999 is outside 1..366"));
}

} // namespace
