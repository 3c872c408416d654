// SPDX-License-Identifier: MIT
//
// The configuration as front ends see it: groups of the library against a real service.
#include "../support/bytes.h"
#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <panelkit/bridge/commands.h>
#include <panelkit/lparams/param_text.h>
#include <panelkit/lparams/sections/sections.h>
#include <platform/system/files.h>
#include <vocabulary/refusals.h>

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

using namespace LPARAMS::Client;
using panelkit::Command;
using testing::HasSubstr;
using vocabulary::Refused;

namespace {

class TheConfiguration : public testing::Test {
protected:
    TheConfiguration() { connect(); }
    ~TheConfiguration() override { closePooledSessions(); }

    void connect() const {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
    }
    void restart(bool inGoodOrder = true) {
        inGoodOrder ? void(service.terminate()) : service.kill();
        service.start();
        connect();
    }
    std::string file() const { return platform::readFile(service.state() + "/configuration.json", 1 << 24); }

    static bool send(Command command, const std::string& request, std::string& reply) {
        const panelkit::CommandRow& row = panelkit::commandRow(command);
        return SessionsPool::GetSession(row.session)
            ->__SendCommand(row.module, static_cast<long>(row.code), request.data(),
                            static_cast<unsigned>(request.size()), &reply);
    }
    static bool writeBytes(const std::string& section, const std::string& body) {
        std::string ignored;
        return send(Command::WriteGroup, encoded(section) + body, ignored);
    }
    static std::string readBytes(const std::string& section) {
        std::string body;
        EXPECT_TRUE(send(Command::ReadGroup, encoded(section), body)) << section;
        return body;
    }
    // The service's output may arrive a little later.
    void expectLogged(const std::string& text) const {
        for (int i = 0; i < 2000 && service.log().find(text) == std::string::npos; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        EXPECT_THAT(service.log(), HasSubstr(text));
    }
    static void expectRefused(Refused why, const std::string& text) {
        EXPECT_EQ(bridge::lastFailure().detail, static_cast<std::uint32_t>(why));
        EXPECT_THAT(bridge::lastFailure().text(), HasSubstr(text));
    }

    RunningService service;
};

// Another value than the default for every parameter, and unusual ones: texts that are not UTF-8, empty, long; flags
// that are neither 0 nor 1; choices and numbers that are not legal.
std::string unusualBody(const ParamGroup& group, unsigned turn) {
    static const std::vector<std::string> texts{"",       "x",    "\xFF\xC0\x80",        std::string("a\0\"\\\n", 5),
                                                "привет", "\x7F", std::string(5000, 'q')};
    std::string body;
    CommandStreamOut out(body);
    for (const Param* param : group.params) {
        const std::uint32_t number = turn * 2654435761U ^ static_cast<std::uint32_t>(body.size() * 40503U);
        switch (param->type()) {
        case 0: body += static_cast<char>(turn); break;
        case 1: out << static_cast<std::uint16_t>(number); break;
        case 2: out << number; break;
        case 4: out << static_cast<std::int32_t>(turn % 2 ? number : turn); break;
        case 9: out << static_cast<std::int64_t>(turn % 2 ? number : -std::int64_t{number} * 977); break;
        case 8: {
            out << turn;
            for (unsigned i = 0; i < 3 * turn; ++i) out << texts[(turn + i) % texts.size()];
            break;
        }
        case 10: out << "AAAABBBBCCCCDDD" + std::to_string(turn) + ":no:\xC3:x"; break;
        default: out << texts[(turn + body.size()) % texts.size()];
        }
    }
    return body;
}

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

TEST_F(TheConfiguration, GivesBackEveryBodyByteForByteAlsoFromDisk) {
    const panelkit::AllGroups groups;
    for (const unsigned turn : {1U, 2U, 3U, 4U, 255U}) {
        for (const auto& group : groups) ASSERT_TRUE(writeBytes(group->name, unusualBody(*group, turn)));
        ASSERT_TRUE(writeToDisk()) << bridge::lastFailure().text();
        restart();
        for (const auto& group : groups) {
            EXPECT_EQ(toHex(readBytes(group->name)), toHex(unusualBody(*group, turn))) << group->name << ' ' << turn;
        }
    }
    EXPECT_THAT(service.log(), Not(HasSubstr("error")));
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
        std::string ignored;
        EXPECT_FALSE(send(Command::ReadGroup, encoded(name), ignored)) << name;
    }
    std::string ignored;
    EXPECT_FALSE(send(Command::ReadGroup, "\5", ignored));
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
