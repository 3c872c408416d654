// SPDX-License-Identifier: MIT
//
// An administrator's day with the configuration: panelctl and panelkitd.
#include "../support/config_service.h"
#include "../support/panelctl_fixture.h"

namespace {

using TheConfiguration = PanelctlWith<RunningService>;

TEST_F(TheConfiguration, IsKeptOverARestartAndGoesFromOneServiceToAnother) {
    const std::string plan = R"({"IKE": {"NATT_POLICY": "NATT_POLICY_STD_PORT", "QCD_SECRET": "00112233445566AA"},
        "CERTMON": {"CHECKING_TIME": "06:30", "SMTP_PASSWORD": "hunter2", "EMAIL_SUBJECT": "läuft ab: \"%s\"\n"},
        "USER": {"LSP_GATES": [{"GATE_ADDRESS": "gw1", "DST_SELECTOR": "10.0.0.0/8"}, {"CERT_SUBJECT": "CN=a; b"}]}})";
    good({"config", "apply", "-"}, plan);
    service.terminate();
    service.start();
    EXPECT_THAT(run({"config", "diff"}).error, HasSubstr("Everything has its default value."))
        << "nothing was committed";
    good({"config", "apply", "-", "--commit"}, plan);
    EXPECT_THAT(service.log(), AllOf(HasSubstr("WriteGroup section \"IKE\": done"), Not(HasSubstr("hunter2"))));
    service.terminate();
    service.start();
    EXPECT_THAT(run({"config", "plan", "-"}, plan).error, HasSubstr("Nothing changes."));
    const std::string exported = run({"config", "export", "--reveal"}).output;
    const RunningService other;
    EXPECT_EQ(panelctl(other.endpoint(), {"config", "apply", "-"}, exported).status, 0);
    EXPECT_EQ(panelctl(other.endpoint(), {"config", "export", "--reveal"}).output, exported);
    EXPECT_EQ(nlohmann::json::parse(exported)["USER"]["LSP_GATES"][1]["CERT_SUBJECT"], "CN=a; b");
}

TEST_F(TheConfiguration, GetsItsSecretFromTheService) {
    EXPECT_THAT(run({"config", "set", "IKE.QCD_SECRET", "auto"}).error,
                HasSubstr("The service will make a new secret when the configuration is committed"));
    good({"config", "commit"});
    const std::string secret = run({"config", "get", "IKE.QCD_SECRET", "--reveal"}).output;
    EXPECT_TRUE(LPARAMS::Client::QcdSParam::checkFormat(secret.substr(0, secret.size() - 1))) << secret;
    good({"config", "set", "IKE.DPD_IDLE_TIME", "31", "--commit"});
    EXPECT_EQ(run({"config", "get", "IKE.QCD_SECRET", "--reveal"}).output, secret)
        << "what does not concern it leaves it alone";
    EXPECT_EQ(run({"config", "get", "IKE.QCD_SECRET"}).output, "***\n");
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
    slow.awaitWrites(2);
    apply.terminate();
    const auto result = apply.wait(30s);
    EXPECT_EQ(result.ending, platform::Ending::exited);
    EXPECT_EQ(result.status, 53);
    EXPECT_THAT(result.error,
                HasSubstr("interrupted; the sections that were already written have been restored: IKE, ADMIN"));
    EXPECT_EQ(slow.bodies, before);
}

} // namespace
