// SPDX-License-Identifier: MIT
//
// An administrator's day with the configuration: panelctl and panelkitd.
#include "../support/config_service.h"
#include "../support/panelctl.h"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include <fstream>
#include <thread>

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

namespace {

class TheConfiguration : public testing::Test {
protected:
    platform::ChildResult config(std::vector<std::string> arguments, const std::string& input = {}) {
        return configOf(service, std::move(arguments), input);
    }
    static platform::ChildResult configOf(const RunningService& where, std::vector<std::string> arguments,
                                          const std::string& input = {}) {
        arguments.insert(arguments.begin(), "config");
        return panelctl(where.endpoint(), std::move(arguments), input);
    }
    std::string get(const std::string& name) {
        const auto result = config({"get", name, "--reveal"});
        return result.status == 0 ? result.output.substr(0, result.output.size() - 1) : result.error;
    }
    void restart() {
        service.terminate();
        service.start();
    }

    RunningService service;
};

TEST_F(TheConfiguration, IsKeptOverARestartOnceItIsCommitted) {
    EXPECT_THAT(config({"diff"}).error, HasSubstr("Everything has its default value."));
    EXPECT_EQ(config({"set", "IKE.EXCHANGE_TIMEOUT", "90"}).status, 0);
    EXPECT_EQ(config({"set", "CERTMON.SMTP_PASSWORD", "--value-stdin"}, "hunter2\n").status, 0);
    EXPECT_EQ(get("IKE.EXCHANGE_TIMEOUT"), "90");
    restart();
    EXPECT_EQ(get("IKE.EXCHANGE_TIMEOUT"), "60") << "it was not committed";
    EXPECT_EQ(config({"set", "IKE.EXCHANGE_TIMEOUT", "90"}).status, 0);
    EXPECT_EQ(config({"set", "CERTMON.SMTP_PASSWORD", "--value-stdin"}, "hunter2\n").status, 0);
    EXPECT_EQ(config({"commit"}).status, 0);
    EXPECT_THAT(service.log(), AllOf(HasSubstr("WriteGroup section \"IKE\": done"), Not(HasSubstr("hunter2"))));
    restart();
    EXPECT_EQ(get("IKE.EXCHANGE_TIMEOUT"), "90");
    EXPECT_EQ(get("CERTMON.SMTP_PASSWORD"), "hunter2");
}

TEST_F(TheConfiguration, GoesFromOneServiceToAnother) {
    const std::string plan = R"({"IKE": {"NATT_POLICY": "NATT_POLICY_STD_PORT", "QCD_SECRET": "00112233445566AA"},
        "CERTMON": {"CHECKING_TIME": "06:30", "SMTP_PASSWORD": "hunter2", "EMAIL_SUBJECT": "läuft ab: \"%s\"\n"},
        "USER": {"LSP_GATES": [{"GATE_ADDRESS": "gw1", "DST_SELECTOR": "10.0.0.0/8"}, {"CERT_SUBJECT": "CN=a; b"}]}})";
    EXPECT_EQ(config({"apply", "-", "--commit"}, plan).status, 0);
    EXPECT_THAT(config({"plan", "-"}, plan).error, HasSubstr("Nothing changes."));
    const std::string exported = config({"export", "--reveal"}).output;
    const RunningService other;
    EXPECT_EQ(configOf(other, {"apply", "-"}, exported).status, 0);
    EXPECT_EQ(configOf(other, {"export", "--reveal"}).output, exported);
    EXPECT_EQ(json::parse(exported)["USER"]["LSP_GATES"][1]["CERT_SUBJECT"], "CN=a; b");
}

TEST_F(TheConfiguration, GetsItsSecretFromTheService) {
    const auto asked = config({"set", "IKE.QCD_SECRET", "auto"});
    EXPECT_THAT(asked.error, HasSubstr("The service will make a new secret when the configuration is committed"));
    EXPECT_EQ(config({"commit"}).status, 0);
    const std::string secret = get("IKE.QCD_SECRET");
    EXPECT_TRUE(LPARAMS::Client::QcdSParam::checkFormat(secret)) << secret;
    EXPECT_EQ(config({"set", "IKE.DPD_IDLE_TIME", "31", "--commit"}).status, 0);
    EXPECT_EQ(get("IKE.QCD_SECRET"), secret) << "what does not concern it leaves it alone";
    EXPECT_EQ(config({"get", "IKE.QCD_SECRET"}).output, "***\n");
}

// Ctrl-C, or a shutdown of the system, while sections are written.
TEST(AnInterruptedApply, PutsBackWhatItWrote) {
    ConfigService slow;
    const auto before = slow.bodies;
    slow.onWrite = [](const std::string& section) {
        const auto reply = panelkit::testing::Reaction::reply("");
        return section == "IKE" ? reply.after(1s) : reply;
    };
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--endpoint", slow.script.endpoint(), "config", "apply", "-"};
    options.input = R"({"ADMIN": {"ADMIN_GROUP": "ops"}, "IKE": {"DPD_IDLE_TIME": 60}, "PCAP": {"PKT_ORDER": 2}})";
    platform::ChildProcess apply(options);
    const auto writes = [&] {
        const auto requests = slow.script.requests();
        return std::count_if(requests.begin(), requests.end(),
                             [](const auto& request) { return request.command == 0; });
    };
    for (int i = 0; i < 1000 && writes() < 2; ++i) std::this_thread::sleep_for(5ms);
    apply.terminate();
    const auto result = apply.wait(30s);
    EXPECT_EQ(result.ending, platform::Ending::exited);
    EXPECT_EQ(result.status, 53);
    EXPECT_THAT(result.error,
                HasSubstr("interrupted; the sections that were already written have been restored: IKE, ADMIN"));
    EXPECT_EQ(slow.bodies, before);
}

} // namespace
