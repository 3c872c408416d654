// SPDX-License-Identifier: MIT
//
// The configuration as front ends see it: groups of the library against a real service.
#include "../support/bytes.h"
#include "with_service.h"

#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/sections/sections.h>
#include <platform/system/files.h>

using namespace LPARAMS::Client;

namespace {

class TheConfiguration : public WithService {
protected:
    std::string file() const { return platform::readFile(service.state() + "/configuration.json", 1 << 24); }

    static bool writeBytes(const std::string& section, const std::string& body) {
        return send(Command::WriteGroup, encoded(section) + body);
    }
    static std::string readBytes(const std::string& section) {
        std::string body;
        EXPECT_TRUE(send(Command::ReadGroup, encoded(section), &body)) << section;
        return body;
    }
    static void expectRefused(Refused why, const std::string& text) {
        EXPECT_EQ(refusal(), why);
        EXPECT_THAT(bridge::lastFailure().text(), HasSubstr(text));
    }
};

TEST_F(TheConfiguration, HasTheDefaultsOfAllSectionsAtFirst) {
    for (const panelkit::Section& section : panelkit::sections()) {
        const auto loaded = section.make(), fresh = section.make();
        ASSERT_TRUE(loaded->load()) << section.name;
        for (std::size_t i = 0; i < fresh->params.size(); ++i) {
            EXPECT_EQ(panelkit::printParam(*loaded->params[i]), panelkit::printParam(*fresh->params[i]))
                << section.name;
        }
    }
}

TEST_F(TheConfiguration, IsEditedAndKeptOverARestartOnceItIsCommitted) {
    IKE ike;
    ASSERT_TRUE(ike.load());
    ike.EXCHANGE_TIMEOUT.value = 90;
    ASSERT_TRUE(ike.save());
    EXPECT_FALSE(std::filesystem::exists(service.state() + "/configuration.json"));
    ASSERT_TRUE(writeToDisk());
    ike.EXCHANGE_TIMEOUT.value = 91;
    ASSERT_TRUE(ike.save());
    IKE read;
    ASSERT_TRUE(read.load());
    EXPECT_EQ(read.EXCHANGE_TIMEOUT.value, 91U);

    restart(false);
    IKE after;
    ASSERT_TRUE(after.load());
    EXPECT_EQ(after.EXCHANGE_TIMEOUT.value, 90U) << "the last commit";
}

// How bodies are cut: tests/panelkit/lparams/section_body_test.cpp.
TEST_F(TheConfiguration, RefusesBodiesThatAreNotOfTheirSectionAndKeepsWhatItHad) {
    const std::string whole = readBytes("PROXY");
    const std::string gateways = readBytes("USER").substr(0, readBytes("USER").size() - 4);
    const auto expectBad = [](const std::string& section, const std::string& body, const std::string& text) {
        EXPECT_FALSE(writeBytes(section, body));
        expectRefused(Refused::badInput, text);
    };
    expectBad("PROXY", "", "section \"PROXY\" is not taken: the body ends within HTTP_LISTEN_PORT");
    expectBad("PROXY", hex("00 00  ff ff ff ff 'short'"), "the body ends within HTTP_LISTEN_ADDR");
    expectBad("PROXY", whole + "more", "the body goes on for 4 bytes after HTTP_LISTEN_ADDR");
    expectBad("PROXY", encoded(std::uint16_t{0}, std::string(1 << 20, 'x')), "at most 1048576 are taken");
    expectBad("USER", gateways + hex("ff ff ff 7f  00 00 00 00  00 00 00 00  00 00 00 00"),
              "the body ends within LSP_GATES");
    EXPECT_EQ(toHex(readBytes("PROXY")), toHex(whole));
}

TEST_F(TheConfiguration, HasNoOtherSections) {
    for (const std::string name : {"", "ike", "LSP_GATE", "IKE ", "NEWS"}) {
        EXPECT_FALSE(writeBytes(name, "")) << name;
        expectRefused(Refused::noSuchObject, "there is no section \"" + name + '"');
        EXPECT_FALSE(send(Command::ReadGroup, encoded(name))) << name;
    }
    EXPECT_FALSE(send(Command::ReadGroup, "\5"));
    EXPECT_THAT(bridge::lastFailure().text(), HasSubstr("ends early"));
}

TEST_F(TheConfiguration, IsAReadableFileWithWhatWasWritten) {
    POLICY policy;
    policy.SYSTEM_LSP_SOURCE.value = 3;
    policy.PMP_LOGLEVEL.value = 77;
    policy.PSK_NAME.value = "\"Büro\"";
    ASSERT_TRUE(policy.save() && writeToDisk());
    EXPECT_EQ(file(), R"({
  "format": 1,
  "sections": {
    "POLICY": {
      "SYSTEM_LSP_SOURCE": {"value": 3, "name": "SOURCE_TPN"},
      "SYSTEM_LSP_FROM_FILE": "",
      "PMP_SERVERS": "",
      "PMP_LOGLEVEL": {"value": 77},
      "PMP_AUTH": {"value": 0, "name": "PMPAUTH_SIG"},
      "PMP_IDTYPE": {"value": 0, "name": "PMPID_KEY_ID"},
      "PMP_IDDATA": "",
      "LOCAL_CERT_SUBJECT": "",
      "PSK_NAME": "\"Büro\"",
      "PMP_TIMEOUT": 10,
      "DDP_LOGLEVEL": {"value": 0, "name": "_LL_DISABLED"}
    }
  }
}
)");
}

TEST_F(TheConfiguration, SetsTheLevelOfTheLogWhenItIsCommittedAndFromTheNextStartOn) {
    LOG log;
    ASSERT_TRUE(log.load());
    log.LOG_LEVEL.value = 0;
    ASSERT_TRUE(log.save());
    expectLogged("WriteGroup section \"LOG\": done");
    ASSERT_TRUE(writeToDisk());
    ASSERT_TRUE(writeToDisk());
    log.LOG_LEVEL.value = 99; // not a level: the command line's is used
    ASSERT_TRUE(log.save() && writeToDisk());
    expectLogged("CommitGroups of LOG: done");
    EXPECT_EQ(service.log().find("CommitGroups"), service.log().rfind("CommitGroups"))
        << "the others met a log that is off";
    restart();
    EXPECT_THAT(service.log(), HasSubstr(" serves "));
}

} // namespace
