// SPDX-License-Identifier: MIT
//
// panelctl policy against the scripted service. Runs under Wine too.
#include "../support/panelctl_fixture.h"
#include "../support/user_folder.h"

#include <panelkit/lsp/lsp_records.h>
#include <panelkit/lsp/user_settings_file.h>
#include <vocabulary/policy.h>

using LSPcmd::LSPsettings_t;

namespace {

class PanelctlPolicy : public PanelctlTest {
protected:
    platform::ChildResult run(Arguments arguments) {
        arguments.insert(arguments.begin(), "policy");
        return PanelctlTest::run(std::move(arguments));
    }
    nlohmann::json json(Arguments arguments) {
        arguments.insert(arguments.begin(), "policy");
        return PanelctlTest::json(std::move(arguments));
    }
    void answerPolicy(const LSPrequest_t& required, const LSPinfo_t& info) {
        service.answer<Command::GetPolicyInfo>(required, info);
    }
    void answerSettings(const LSPsettings_t& settings) {
        service.answer<Command::GetSettings>(settings);
        service.answer<Command::GetUserSettings>(settings);
        service.on(Command::OfferUserSettings, Reaction::reply(""));
    }
    panelkit::testing::Received last() {
        const auto requests = service.requests();
        return requests.empty() ? panelkit::testing::Received{} : requests.back();
    }

    // A user's policy from a file, called Office, with a warning.
    static LSPinfo_t office() {
        LSPinfo_t info;
        info.request = {.type = LSPuserFile, .user = "anna", .file = "/p"};
        info.activated = 1'800'000'000;
        info.Title = "Office\x1B[2J";
        info.*vocabulary::policyInfo::name = "mine";
        info.*vocabulary::policyInfo::activatedBy = "root";
        info.*vocabulary::policyInfo::version = "1.7";
        info.*vocabulary::policyInfo::sectionCount = 2;
        info.*vocabulary::policyInfo::sections = "lan, mail";
        info.*vocabulary::policyInfo::certificate = "CN=Anna";
        info.bareMessage = true;
        info.message = "#warn: two\tdays\nleft";
        return info;
    }

    UserFolder folder;
    const ScopedVariable zone{"TZ", "UTC0"};
};

TEST_F(PanelctlPolicy, SaysWhatIsInForceInBothForms) {
    answerPolicy(office().request, office());
    EXPECT_EQ(run({"status"}).output, "User policy (anna): 'Office\\x1B[2J' activated at Fri Jan 15 08:00:00 2027\n"
                                      "Diagnosis: two days\nleft\n");
    EXPECT_EQ(run({"show"}).output, "Current Policy:\n  Type: User policy (anna)\n  Source: File: /p\n"
                                    "  Title: Office\\x1B[2J\n  Activated: Fri Jan 15 08:00:00 2027\n"
                                    "  Diagnosis: two days\nleft\n");
    expectHolds(json({"status"}), R"({"state": "diagnosed", "title": "Office\u001b[2J", "asRequired": true,
        "message": "#warn: two\tdays\nleft", "inForce": {"kind": "user-file"}, "name": "mine", "activatedBy": "root",
        "activated": "2027-01-15T08:00:00Z", "version": "1.7", "sectionCount": 2, "sections": ["lan", "mail"],
        "certificate": "CN=Anna"})");
    EXPECT_EQ(json({"show"})["state"], "in-force") << "a warning is nothing to act on";
    EXPECT_EQ(json({"show"})["message"], "two\tdays\nleft");
}

TEST_F(PanelctlPolicy, PrintsThePolicysTextAsItIs) {
    service.on(Command::ViewCurrent, Reaction::reply(std::string("a\r\n\0\xFF", 5)));
    const auto result = run({"view"});
    EXPECT_THAT(result.output, testing::StartsWith("a"));
    EXPECT_THAT(result.output, testing::EndsWith(std::string("\n\0\xFF", 3)));
    service.on(Command::ViewCurrent, Reaction::reply("rules"));
    EXPECT_EQ(json({"view"})["text"], "rules");
}

TEST_F(PanelctlPolicy, ExplainsHowThePolicyInForceDiffers) {
    const LSPserver_t byKey{.Server = "pmp1", .authKind = LSPauthPresharedKey, .presharedKeyName = "old"};
    LSPrequest_t required{.type = LSPsystemServer, .server = byKey};
    LSPinfo_t info;
    info.request = required;
    info.request.server.Server = "pmp2";
    info.bareMessage = true;
    answerPolicy(required, info);
    EXPECT_EQ(run({"explain"}).output,
              "                REQUIRED                     IN FORCE                     DIFFERS\n"
              "type            system policy from a server  system policy from a server  \n"
              "server          pmp1                         pmp2                         yes, without effect\n"
              "preshared key   old                          old                          \n"
              "authentication  preshared key                preshared key                \n"
              "The policy in force is the required one.\n");

    info.request.server.presharedKeyName = "new";
    info.fromConfigDb = true;
    info.message = "why";
    answerPolicy(required, info);
    const auto result = run({"explain"});
    EXPECT_THAT(result.output,
                HasSubstr("preshared key   old                          new                          yes\n"));
    EXPECT_THAT(result.output, HasSubstr("The policy in force is not the required one.\n"));
    EXPECT_THAT(result.output, HasSubstr("configuration database"));
    EXPECT_THAT(result.output, HasSubstr("Diagnosis: why\n"));
    expectHolds(json({"explain"}), R"({"asRequired": false, "differences": [{}, {"inForce": "new", "counts": true}]})");

    info.isLoading = true;
    required.type = LSPdriver;
    answerPolicy(required, info);
    EXPECT_THAT(run({"explain"}).output, HasSubstr("A new policy is being loaded.\n"));
    const auto whileLoading = json({"explain"});
    for (const auto& difference : whileLoading["differences"]) {
        EXPECT_EQ(difference["counts"], difference["field"] == "type") << difference;
    }
}

TEST_F(PanelctlPolicy, ActivatesEachPolicy) {
    answerSettings({});
    service.answer<Command::ActivateSystem>(true, std::string("loaded\n"));
    service.answer<Command::ActivateUser>(true, std::string());
    service.on(Command::ActivateDDP, Reaction::reply(""));
    service.on(Command::ActivateCurrent, Reaction::reply(""));
    const auto system = run({"activate", "system", "--name", "lsp"});
    EXPECT_EQ(system.output, "The system policy is activated.\n");
    EXPECT_EQ(system.error, "loaded\n");
    EXPECT_EQ(last().payload, encoded(std::string("lsp"), std::string()));
    EXPECT_EQ(run({"activate", "user", "--user", "anna"}).output, "The user policy is activated.\n");
    EXPECT_EQ(last().payload, encoded(std::string("anna"), std::string(), std::string()));
    EXPECT_TRUE(panelkit::userSettingsPath() == folder.settings() && UserFolder::exists(folder.settings()));
    EXPECT_EQ(run({"activate", "driver"}).output, "The default driver policy is activated.\n");
    EXPECT_EQ(last().command, 6U);
    EXPECT_EQ(json({"activate", "current"})["activated"], "current");
    EXPECT_EQ(last().command, 5U);
}

TEST_F(PanelctlPolicy, SaysWhyAPolicyIsNotActivated) {
    answerSettings({});
    service.on(Command::ActivateSystem, Reaction::reply(hex("02 05 00 00 00 'no\x41 x'")));
    expectError(run({"activate", "system"}), 70, "the service did not activate the policy: noA x");
    expectError(run({"activate", "user"}), 40, "no script for this command");
    expectError(run({"activate", "drivr"}), 2, "did you mean \"driver\"?");
    expectError(run({"activate", "driver", "--user", "anna"}), 2, "--user can't be used with \"driver\"");
    LSPsettings_t unreadable;
    unreadable.Source = 1;
    unreadable.File = folder.utf8() + "/missing";
    answerSettings(unreadable);
    const std::size_t before = service.requests().size();
    EXPECT_EQ(run({"activate", "system"}).status, 12);
    EXPECT_EQ(run({"activate", "user"}).status, 12);
    for (std::size_t i = before; i < service.requests().size(); ++i) {
        EXPECT_NE(service.requests()[i].command, 7U);
        EXPECT_NE(service.requests()[i].command, 10U);
    }
    expectError(panelctl(panelkit::testing::uniqueEndpoint(), {"policy", "status"}), 3, "the service isn't running");
}

TEST_F(PanelctlPolicy, ShowsAndSetsTheSourceOfTheSystem) {
    LSPsettings_t settings;
    settings.Source = 2;
    settings.server.Server = "pmp";
    settings.server.authKind = LSPauthPresharedKey;
    settings.entries = {{"a", "b", "c"}};
    answerSettings(settings);
    const auto shown = run({"source", "get"}).output;
    EXPECT_THAT(shown, HasSubstr("source          PMP (SOURCE_PMP)\n"));
    EXPECT_THAT(shown, HasSubstr("authentication  preshared key\n"));
    EXPECT_THAT(shown, HasSubstr("entry           a b c\n"));
    EXPECT_EQ(json({"source", "get"})["source"]["name"], "SOURCE_PMP");

    service.on(Command::SetSettings, Reaction::reply(hex("01")));
    const auto set = run({"source", "set", "--log-level", "details", "--id-type", "=1", "--auth", "certificate",
                          "--pmp-timeout", "20", "--subject", ""});
    EXPECT_EQ(set.output, "The policy source of the system is set.\n") << set.error;
    settings.server.LogLevel = 2;
    settings.server.PmpIdType = 1;
    settings.server.authKind = 0;
    settings.server.PmpTimeout = 20;
    EXPECT_EQ(last().payload, encoded(settings)) << "what is not named stays";
    EXPECT_FALSE(UserFolder::exists(folder.settings()));
    service.on(Command::SetSettings, Reaction::reply(hex("00")));
    expectError(run({"source", "set", "--source", "SOURCE_DDP"}), 71, "rejected the settings");
}

TEST_F(PanelctlPolicy, ShowsAndSetsDriverModeAndLoadingDelayOfTheSystemAlone) {
    LSPsettings_t settings;
    settings.*vocabulary::policySettings::driverMode = LSPdropAllExceptDhcp;
    settings.*vocabulary::policySettings::loadingDelay = 250;
    answerSettings(settings);
    const auto shown = run({"source", "get"}).output;
    EXPECT_THAT(shown, HasSubstr("driver mode     drop all except DHCP\n"));
    EXPECT_THAT(shown, HasSubstr("loading delay   250 ms\n"));
    EXPECT_THAT(run({"source", "get", "--user"}).output, testing::Not(HasSubstr("driver mode")));
    EXPECT_EQ(json({"source", "get"})["driverMode"]["name"], "drop-all-except-dhcp");
    EXPECT_EQ(json({"source", "get"})["loadingDelay"], 250);

    service.on(Command::SetSettings, Reaction::reply(hex("01")));
    EXPECT_EQ(run({"source", "set", "--driver-mode", "drop-all", "--loading-delay", "60000"}).status, 0);
    settings.*vocabulary::policySettings::driverMode = LSPdropAll;
    settings.*vocabulary::policySettings::loadingDelay = 60'000;
    EXPECT_EQ(last().payload, encoded(settings));

    const std::size_t before = service.requests().size();
    expectError(run({"source", "set", "--user", "--driver-mode", "pass-all"}), 2, "can't be used with --user");
    expectError(run({"source", "set", "--user", "--loading-delay", "0"}), 2, "can't be used with --user");
    EXPECT_EQ(service.requests().size(), before);
    expectError(run({"source", "set", "--driver-mode", "pas-all"}), 12, "did you mean \"pass-all\"?");
    expectError(run({"source", "set", "--loading-delay", "60001"}), 12, "60001 is not between 0 and 60000");
    expectError(run({"source", "set", "--loading-delay", "-1"}), 12, "-1 is not between");
}

TEST_F(PanelctlPolicy, SetsTheSourceOfAUserAndTheUsersOwnFile) {
    answerSettings({});
    service.on(Command::SetUserSettings, Reaction::reply(hex("01")));
    UserFolder::put(folder.settings(), "<UserLSP><Mine/><Active>1</Active></UserLSP>");
    const std::string path = platform::fromPath(folder.path() / "p.lsp");
    EXPECT_EQ(run({"source", "set", "--user", "--source", "file", "--file", path}).output,
              "The policy source of the user is set.\n");
    LSPsettings_t expected;
    expected.Source = 1;
    expected.File = path;
    EXPECT_EQ(last().payload, encoded(std::string(), expected));
    const std::string file = UserFolder::read(folder.settings());
    EXPECT_THAT(file, HasSubstr("<Mine/>\n\t<Active>1</Active>\n\t<Source>SOURCE_FILE</Source>"));
    EXPECT_THAT(file, HasSubstr("<PmpIdType>PMPID_DN</PmpIdType>"));

    EXPECT_EQ(run({"source", "set", "--user", "boris", "--source", "DDP"}).status, 0);
    EXPECT_EQ(last().payload, encoded(std::string("boris"), LSPsettings_t()));
    EXPECT_EQ(UserFolder::read(folder.settings()), file) << "another user's choice is not ours";
    EXPECT_EQ(run({"source", "get", "--user", "boris"}).status, 0);
    EXPECT_EQ(last().payload, encoded(std::string("boris")));
}

TEST_F(PanelctlPolicy, RefusesSettingsThatDoNotFitBeforeAnythingIsSent) {
    answerSettings({});
    expectError(run({"source", "set"}), 2, "nothing to change");
    expectError(run({"source", "set", "--source", "fil"}), 12, "--source: \"fil\" is not one of: ");
    expectError(run({"source", "set", "--source", "fil"}), 12, "did you mean \"File\"?");
    expectError(run({"source", "set", "--source", "file"}), 12, "give --file");
    expectError(run({"source", "set", "--source", "pmp"}), 12, "give --server");
    expectError(run({"source", "set", "--auth", "key"}), 12, "certificate, preshared-key");
    expectError(run({"source", "set", "--pmp-timeout", "-1"}), 12, "give --pmp-timeout");
    expectError(run({"source", "set", "--pmp-timeout", "soon"}), 2, "--pmp-timeout");
    expectError(run({"source"}), 2, "needs one of: get, set");
    for (const auto& request : service.requests()) EXPECT_EQ(request.command, 3U);
}

} // namespace
