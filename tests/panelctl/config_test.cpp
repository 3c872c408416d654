// SPDX-License-Identifier: MIT
//
// panelctl config against a scripted service that keeps sections as written, and fails as the test says. Runs under
// Wine too.
#include "../support/config_service.h"
#include "../support/panelctl_fixture.h"

#include <panelkit/monitor/monitor_records.h>
#include <vocabulary/refusals.h>

using namespace LPARAMS::Client;
using nlohmann::json;

namespace {

class PanelctlConfig : public testing::Test, protected ConfigService {
protected:
    platform::ChildResult run(std::vector<std::string> arguments, const std::string& input = {}) {
        arguments.insert(arguments.begin(), "config");
        return panelctl(script.endpoint(), std::move(arguments), input);
    }
    std::string file(const std::string& content) {
        std::ofstream(folder.path() / "plan.json", std::ios::binary) << content;
        return folder.file("plan.json");
    }

    const TemporaryFolder folder;
};

// ---- reading

TEST_F(PanelctlConfig, ListsParametersAsTextAndAsJson) {
    const auto result = run({"list", "PRIVKEY", "ike.natt_policy"});
    EXPECT_EQ(result.output, "NAME                          VALUE       MEANING\n"
                             "PRIVKEY.LIFETIME_IMPORTED_SW  15          Validity of private keys on software tokens\n"
                             "PRIVKEY.LIFETIME_IMPORTED_HW  36          Validity of private keys on hardware tokens\n"
                             "IKE.NATT_POLICY               Autodetect  NAT traversal policy\n");
    const json list = json::parse(run({"list", "--json"}).output);
    std::size_t count = 0;
    for (const auto& group : panelkit::AllGroups()) count += group->params.size();
    EXPECT_EQ(list.size(), count);
    const auto policy = json::parse(run({"get", "IKE.NATT_POLICY", "--json"}).output);
    EXPECT_EQ(policy["schema"], 1);
    EXPECT_EQ(policy["value"], json({{"value", 1}, {"name", "NATT_POLICY_STD"}}));
    EXPECT_EQ(policy["text"], "Autodetect");
    EXPECT_EQ(policy["isDefault"], true);
    EXPECT_EQ(run({"get", "CERTMON.CHECKING_TIME"}).output, "10:00:00\n");
}

TEST_F(PanelctlConfig, ShowsWhatDiffersFromTheDefaults) {
    EXPECT_THAT(run({"diff"}).error, HasSubstr("Everything has its default value."));
    EXPECT_EQ(run({"diff", "--check"}).status, 0);
    USER user;
    LSP_GATE& gate = *user.LSP_GATES.items.emplace_back(std::make_unique<LSP_GATE>());
    gate.GATE_ADDRESS.value = "gw 1";
    user.PMP_IDTYPE.value = 77; // not a variant
    bodies["USER"] = bodyOf(user);
    EXPECT_EQ(run({"diff"}).output, "NAME             DEFAULT  NOW\n"
                                    "USER.PMP_IDTYPE  Key ID   =77\n"
                                    "USER.LSP_GATES            \"gw 1\" \"\" \"\"\n");
    const auto checked = run({"diff", "--check", "--json"});
    EXPECT_EQ(checked.status, 55);
    EXPECT_EQ(json::parse(checked.output)[0]["value"], json({{"value", 77}}));
    EXPECT_EQ(json::parse(checked.output)[1]["value"][0]["GATE_ADDRESS"], "gw 1");
}

TEST_F(PanelctlConfig, DescribesWithTheHalfOfTheHelpThatMatches) {
    EXPECT_THAT(run({"describe", "update.verify_downloads"}).output,
                AllOf(HasSubstr("does not contain hash)\n"), Not(HasSubstr("else"))));
    UPDATE update;
    update.VERIFY_DOWNLOADS.value = false;
    bodies["UPDATE"] = bodyOf(update);
    EXPECT_THAT(run({"describe", "UPDATE.VERIFY_DOWNLOADS"}).output,
                HasSubstr("help      Do verification only if update.ini contain hash\n"
                          "effect    none; the value is only stored\nvalue     off\ndefault   on\n"));
    EXPECT_THAT(run({"describe", "IKE.EXCHANGE_TIMEOUT"}).output, HasSubstr("legal     5..300"));
    const json described = json::parse(run({"describe", "IKE.NATT_POLICY", "--json"}).output);
    EXPECT_EQ(described["variants"].size(), 5U);
    EXPECT_EQ(described["variants"][4]["value"], 193);
    EXPECT_EQ(described["actsOnIt"], json({"charon"}));
    EXPECT_THAT(described["effect"], HasSubstr("A change sets the tunnels up again."));
}

TEST_F(PanelctlConfig, DescribesWithoutAServiceToo) {
    const auto result =
        panelctl(panelkit::testing::uniqueEndpoint(), {"config", "describe", "UPDATE.VERIFY_DOWNLOADS"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr(" else "), HasSubstr("(UPDATE: the service isn't running")));
}

// ---- mistakes

TEST_F(PanelctlConfig, TellsEachMistakeApart) {
    expectError(run({"set", "IKE.EXCHANGE_TIMEOUT", "301"}), 50,
                R"(IKE.EXCHANGE_TIMEOUT: "301" is not legal; legal: 5..300)");
    expectError(run({"set", "IKE.NATT_POLICY", "Autodetct"}), 51, R"(did you mean "Autodetect"?)");
    expectError(run({"set", "IKE.MOBIKE_ENABLED", "onn"}), 51, R"(legal: on, off; did you mean "on"?)");
    expectError(
        run({"set", "PCAP.THREADS_MASK", "0,,1"}), 52,
        R"(PCAP.THREADS_MASK: "0,,1" is not legal: Param malformed: 'threads_mask'Multiple CPUs can be provided )"
        "as a comma-separated list with no space: 0,1. Ranges of CPUs are specified with -: 0-2.");
    expectError(run({"set", "IKE.EXCHANGE_TIMOUT", "90"}), 10,
                R"(section IKE has no key "EXCHANGE_TIMOUT"; did you mean "IKE.EXCHANGE_TIMEOUT"?)");
    expectError(run({"set", "PROXYY.HTTP_LISTEN_PORT", "80"}), 10, R"(did you mean "PROXY"?)");
    expectError(run({"get", "natt_policy"}), 10, R"(did you mean "IKE.NATT_POLICY"?)");
    expectError(run({"get", "IKE"}), 2, R"("IKE" is a section; 'panelctl config list IKE' lists its parameters)");
    expectError(run({"set", "IKE.MOBIKE_ENABLED"}), 2, "IKE.MOBIKE_ENABLED needs a value");
    expectError(run({"set", "IKE.MOBIKE_ENABLED", "on", "--value-stdin"}, "on\n"), 2, "is not a secret");
    expectError(run({"reset"}), 2, "say what to reset");
    expectError(run({"reset", "IKE", "--all"}), 2, "say what to reset");
    EXPECT_TRUE(written.empty());
}

TEST_F(PanelctlConfig, MapsWhatTheServiceSaysToExitCodes) {
    const auto refuse = [](vocabulary::Refused why) {
        return Reaction::refuse("why", static_cast<std::uint32_t>(why));
    };
    script.on(Command::CommitGroups, refuse(vocabulary::Refused::badInput));
    expectError(run({"commit"}), 12, "why");
    script.on(Command::ReadGroup, refuse(vocabulary::Refused::none));
    expectError(run({"list"}), 40, "ADMIN: why");
    script.on(Command::ReadGroup, Reaction::reply("short"));
    expectError(run({"get", "IKE.DPD_IDLE_TIME"}), 6, "IKE: the service sent an incomplete reply");
    script.on(Command::ReadGroup, Reaction::reply(std::string(13, '\0')));
    expectError(run({"set", "PRIVKEY.LIFETIME_IMPORTED_SW", "2"}), 8,
                "section PRIVKEY has more parameters than this panelctl knows");
    EXPECT_TRUE(written.empty());
}

// ---- changing

TEST_F(PanelctlConfig, SetsByTextAndByNumberAndCommitsWhenTold) {
    const auto result = run({"set", "ike.natt_policy", "start from nat-t port"});
    EXPECT_EQ(result.output, "NAME             BEFORE      NOW\n"
                             "IKE.NATT_POLICY  Autodetect  Start from NAT-T port\n");
    EXPECT_THAT(result.error, HasSubstr("not permanent yet: run 'panelctl config commit'"));
    EXPECT_EQ(held<IKE>()->NATT_POLICY.value, 65);
    EXPECT_EQ(run({"set", "IKE.NATT_POLICY", "=129", "--commit"}).status, 0);
    EXPECT_EQ(held<IKE>()->NATT_POLICY.value, 129);
    EXPECT_EQ(script.requests().back().command, panelkit::commandRow(Command::CommitGroups).code);

    EXPECT_THAT(run({"set", "IKE.NATT_POLICY", "=129"}).error, HasSubstr("Nothing changes."));
    EXPECT_EQ(run({"set", "ADMIN.ADMIN_GROUP", ""}).status, 0);
    EXPECT_EQ(held<ADMIN>()->ADMIN_GROUP.value, "");
    EXPECT_EQ(run({"set", "PCAP.THREADS_MASK", "-"}).status, 0);
    EXPECT_EQ(run({"set", "ADMIN.CMS_SIGN_CERT", "Büro [1] {2}"}).status, 0);
    EXPECT_EQ(held<ADMIN>()->CMS_SIGN_CERT.value, "Büro [1] {2}");
    EXPECT_EQ(written.size(), 5U) << "what is so already is not written";

    EXPECT_EQ(run({"reset", "IKE", "ADMIN.CMS_SIGN_CERT"}).status, 0);
    EXPECT_EQ(bodies["IKE"], bodyOf(IKE()));
    EXPECT_EQ(run({"reset", "--all"}).output, "NAME               BEFORE  NOW\n"
                                              "ADMIN.ADMIN_GROUP          admin\n"
                                              "PCAP.THREADS_MASK  -       ALL\n");
}

TEST_F(PanelctlConfig, TakesSecretsByTheirOwnWaysAndMasksThemEverywhere) {
    expectError(run({"set", "CERTMON.SMTP_PASSWORD", "hunter2"}), 2, "is a secret and can't be given as an argument");
    expectError(run({"set", "IKE.QCD_SECRET"}), 2, "use --value-stdin, --value-fd or --value-file");
    expectError(run({"set", "IKE.QCD_SECRET", "--value-stdin"}, "0123456789abcdef\n"), 52,
                R"(IKE.QCD_SECRET: "***" is not legal; legal: an even number)");
    expectError(run({"set", "CERTMON.SMTP_PASSWORD", "--value-stdin"}, "***\n"), 52, "and can't be its value");
    EXPECT_EQ(run({"set", "CERTMON.SMTP_PASSWORD", "--value-stdin"}, "hunter2\n").status, 0);
    EXPECT_EQ(run({"set", "IKE.QCD_SECRET", "--value-file", file("00112233445566AA\n")}).status, 0);
    EXPECT_EQ(held<CERTMON>()->SMTP_PASSWORD.value, "hunter2");
    EXPECT_EQ(held<IKE>()->QCD_SECRET.history, "00112233445566AA:");

    for (const auto& [name, secret] :
         {std::pair{"CERTMON.SMTP_PASSWORD", "hunter2"}, {"IKE.QCD_SECRET", "0011223344"}}) {
        std::string all;
        for (const char* verb : {"list", "get", "describe", "diff", "export", "set"}) {
            std::vector<std::string> arguments{verb, name};
            if (std::string_view(verb) == "set") arguments = {"set", name, "--value-stdin"};
            const std::string other = "AABBCCDDEEFF0011\n";
            const auto text = run(arguments, other);
            arguments.emplace_back("--json");
            const auto asJson = run(arguments, other);
            all += text.output + text.error + asJson.output + asJson.error;
            EXPECT_EQ(text.status + asJson.status, 0) << text.error << asJson.error;
            if (std::string_view(verb) != "set") {
                arguments.emplace_back("--reveal");
                EXPECT_THAT(run(arguments).output, HasSubstr(secret)) << verb;
            }
        }
        EXPECT_THAT(all, AllOf(Not(HasSubstr(secret)), Not(HasSubstr("AABBCC")), HasSubstr("***")));
    }
    EXPECT_THAT(run({"export"}).error, HasSubstr("Left out: CERTMON.SMTP_PASSWORD, IKE.QCD_SECRET (--reveal"));
    EXPECT_EQ(run({"set", "IKE.QCD_SECRET", "no"}).status, 0) << "this gives nothing away";
    EXPECT_EQ(run({"get", "IKE.QCD_SECRET"}).output, "no\n");
}

// ---- files

TEST_F(PanelctlConfig, AppliesWhatItExported) {
    CERTMON certmon;
    certmon.SMTP_PASSWORD.value = R"(p"1)";
    certmon.CHECKING_TIME.value = -7;
    bodies["CERTMON"] = bodyOf(certmon);
    USER user;
    for (const char* address : {"gw1", R"(gw;"2")"}) {
        user.LSP_GATES.items.emplace_back(std::make_unique<LSP_GATE>())->GATE_ADDRESS.value = address;
    }
    bodies["USER"] = bodyOf(user);
    IKE ike;
    ike.REDIRECT_POLICY.value = 2; // the choice without a symbolic name
    ike.IPSEC_ANTI_REPLAY_WINDOW.value = 2048;
    ike.QCD_SECRET.value = "00112233445566AA";
    bodies["IKE"] = bodyOf(ike);
    const auto before = bodies;
    const auto exported = run({"export", "--reveal"});
    EXPECT_EQ(exported.error, "");
    EXPECT_THAT(run({"plan", "-"}, exported.output).error, HasSubstr("Nothing changes."));

    for (const auto& group : panelkit::AllGroups()) bodies[group->name] = bodyOf(*group);
    EXPECT_EQ(run({"plan", "-", "--check"}, exported.output).status, 55);
    EXPECT_TRUE(written.empty()) << "a plan changes nothing";
    EXPECT_EQ(run({"apply", "-"}, exported.output).status, 0);
    EXPECT_EQ(written, (std::vector<std::string>{"CERTMON", "IKE", "USER"})) << "only what differs";
    for (const auto& [section, body] : before) EXPECT_EQ(toHex(bodies[section]), toHex(body)) << section;
}

TEST_F(PanelctlConfig, NamesEveryFaultOfAFileAndChangesNothing) {
    const auto apply = [&](const std::string& content) { return run({"apply", file(content)}); };
    const auto result = apply(R"({"schema": 1,
        "IKE": {"EXCHANGE_TIMEOUT": 301, "DPD_IDLE_TIME": "30", "NATTPOLICY": 1},
        "ADMIN": {"ADMIN_GROUP": "ops"}, "PCAP": {"THREADS_MASK": "0,,1"}, "IKEE": {}, "LOG": [],
        "CERTMON": {"SMTP_PASSWORD": 12345}, "USER": {"LSP_GATES": [{"ADDRESS": "a"}]}})");
    EXPECT_EQ(result.status, 12);
    for (const char* fault :
         {R"(plan.json:2: IKE.EXCHANGE_TIMEOUT: "301" is not legal; legal: 5..300)",
          R"(IKE.DPD_IDLE_TIME: "30" is not a valid value; JSON needs an integer)",
          R"(section IKE has no key "NATTPOLICY"; did you mean "IKE.NATT_POLICY"?)",
          R"(plan.json:3: PCAP.THREADS_MASK: "0,,1" is not legal: Param malformed: 'threads_mask')",
          R"(there is no section "IKEE"; did you mean "IKE"?)", "section LOG is not an object",
          "CERTMON.SMTP_PASSWORD: *** is not a valid value", R"(plan.json:4: USER.LSP_GATES: [{"ADDRESS":"a"}])",
          "plan.json: 8 errors; nothing was changed"}) {
        EXPECT_THAT(result.error, HasSubstr(fault));
    }
    expectError(apply("{\n \"IKE\": {\n  \"QCD_SECRET\": hunter2\n"), 12, "plan.json:3:17: not valid JSON");
    EXPECT_THAT(apply(R"({"CERTMON": {"SMTP_PASSWORD" "hunter2"}})").error, Not(HasSubstr("hunter2")));
    expectError(apply("[]"), 12, "a configuration must be an object");
    expectError(apply("{\n\"IKE\": {},\n\"IKE\": {}}"), 12, R"(plan.json:3: duplicate key "IKE")");
    expectError(apply(R"({"USER": {"LSP_GATES": [{"GATE_ADDRESS": "a", "GATE_ADDRESS": "b"}]}})"), 12,
                R"(duplicate key "USER.LSP_GATES[0].GATE_ADDRESS")");
    expectError(apply(std::string(17, '[') + std::string(17, ']')), 12,
                "plan.json:1: objects and lists are nested more than 16");
    expectError(apply(R"({"schema": 2})"), 12, "schema 2 is unknown");
    expectError(apply(R"({"ike": {}})"), 10, R"(did you mean "IKE"?)");
    expectError(apply(R"({"CERTMON": {"SMTP_PASSWORD": "***"}})"), 52, "and can't be its value");
    expectError(run({"apply", folder.file("none.json")}), 12, "none.json");
    EXPECT_TRUE(written.empty());
}

TEST_F(PanelctlConfig, LeavesOutOfAnExportWhatJsonCannotCarry) {
    ADMIN admin;
    admin.ADMIN_GROUP.value = "\xFF\xFE";
    bodies["ADMIN"] = bodyOf(admin);
    const auto result = run({"export", "ADMIN"});
    EXPECT_THAT(result.error, HasSubstr("Left out: ADMIN.ADMIN_GROUP (text that is not UTF-8"));
    EXPECT_FALSE(json::parse(result.output)["ADMIN"].contains("ADMIN_GROUP"));
}

// ---- failures half-way

constexpr const char* threeSections =
    R"({"ADMIN": {"ADMIN_GROUP": "ops"}, "IKE": {"DPD_IDLE_TIME": 60}, "PCAP": {"PKT_ORDER": 2}})";

// The library restores the sections (config_transaction_test.cpp). This checks the output of panelctl.
TEST_F(PanelctlConfig, SaysThatEverythingIsRestoredWhenTheServiceRefusesASection) {
    const auto before = bodies;
    onWrite = [&](const std::string& section) { // a service that stores the section and refuses it
        return section == "PCAP" && bodies["PCAP"] != before.at("PCAP") ? Reaction::refuse("not that way")
                                                                        : Reaction::reply("");
    };
    expectError(run({"apply", file(threeSections)}), 53,
                "PCAP: not that way; the sections that were already written have been restored: PCAP, IKE, ADMIN");
    EXPECT_EQ(bodies, before);
}

TEST_F(PanelctlConfig, SaysWhatCouldNotBeRestored) {
    onWrite = [](const std::string& section) {
        return section == "PCAP" ? Reaction::cutBefore() : Reaction::reply("");
    };
    const auto result =
        run({"apply", file(R"({"IKE": {"QCD_SECRET": "FFFFFFFFFFFFFFFF"}, "PCAP": {"PKT_ORDER": 2}})")});
    EXPECT_EQ(result.status, 54) << "the service is gone each time PCAP is written";
    EXPECT_THAT(result.error, HasSubstr("these sections could NOT be restored: PCAP"));
    EXPECT_THAT(result.error, Not(HasSubstr("FFFF")));
}

TEST_F(PanelctlConfig, SaysThatNothingChangedWhenTheFirstSectionIsRefused) {
    script.on(Command::WriteGroup, Reaction::refuse("read only"));
    expectError(run({"apply", file(threeSections)}), 40, "ADMIN: read only; nothing was changed");
}

TEST_F(PanelctlConfig, NoticesAServiceThatHoldsSomethingElse) {
    const std::string before = bodies["IKE"];
    onWrite = [&](const std::string&) {
        IKE other;
        other.DPD_IDLE_TIME.value = 45;
        if (bodies["IKE"] != before) bodies["IKE"] = bodyOf(other);
        return Reaction::reply("");
    };
    expectError(
        run({"set", "IKE.DPD_IDLE_TIME", "60"}), 53,
        R"(IKE.DPD_IDLE_TIME: the service accepted the value, but holds "45"; the sections that were already written have been restored)");
    EXPECT_EQ(bodies["IKE"], before);
}

TEST_F(PanelctlConfig, SaysWhatIsWrittenWhenTheCommitFails) {
    script.on(Command::CommitGroups, Reaction::refuse("the disk is full"));
    const auto result = run({"set", "IKE.DPD_IDLE_TIME", "60", "--commit"});
    EXPECT_EQ(result.status, 40);
    EXPECT_THAT(result.error, HasSubstr("the changes are written, but could not be made permanent: the disk is full"));
}

// ---- written and not committed

TEST_F(PanelctlConfig, ShowsAndTakesBackWhatIsNotCommitted) {
    const std::vector<panelkit::UncommittedValue> values{
        {"CERTMON", "SMTP_PASSWORD", true, "", ""},
        {"IKE", "NATT_POLICY", false, encoded(std::int32_t{1}), encoded(std::int32_t{0})},
        {"PROXY", "HTTP_LISTEN_PORT", false, encoded(std::uint16_t{0}), encoded(std::uint16_t{8080})}};
    script.answer<Command::GetUncommitted>(values);
    script.answer<Command::RevertSettings>(values);
    const auto pending = run({"pending"});
    EXPECT_EQ(pending.status, 0);
    EXPECT_EQ(pending.output, "NAME                    PERMANENT   WRITTEN\n"
                              "CERTMON.SMTP_PASSWORD   ***         ***\n"
                              "IKE.NATT_POLICY         Autodetect  Disabled\n"
                              "PROXY.HTTP_LISTEN_PORT  0           8080\n");
    const auto checked = run({"pending", "proxy", "IKE.EXCHANGE_TIMEOUT", "--check", "--json"});
    EXPECT_EQ(checked.status, 55);
    EXPECT_THAT(checked.error, HasSubstr("1 parameter is written and not permanent"));
    const json changes = json::parse(checked.output)["changes"];
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0]["from"], 0);
    EXPECT_EQ(changes[0]["to"], 8080);
    EXPECT_EQ(run({"pending", "LOG", "--check"}).status, 0);

    const auto reverted = run({"revert", "--all"});
    EXPECT_THAT(reverted.output, HasSubstr("PROXY.HTTP_LISTEN_PORT  8080      0\n"));
    EXPECT_EQ(script.requests().back().payload, encoded(std::vector<std::string>{}));
    const json back = json::parse(run({"revert", "PROXY", "ike.natt_policy", "--json"}).output)["changes"];
    EXPECT_EQ(back[1]["to"], json({{"value", 1}, {"name", "NATT_POLICY_STD"}}));
    EXPECT_EQ(script.requests().back().payload, encoded(std::vector<std::string>{"PROXY", "ike.natt_policy"}));
    const std::size_t before = script.requests().size();
    expectError(run({"revert"}), 2, "say what to take back");
    expectError(run({"revert", "PROXI"}), 10, "did you mean \"PROXY\"?");
    EXPECT_EQ(script.requests().size(), before);
}

TEST_F(PanelctlConfig, SaysWhenNothingIsUncommittedOrNotKnown) {
    script.answer<Command::GetUncommitted>(std::vector<panelkit::UncommittedValue>{});
    script.answer<Command::RevertSettings>(std::vector<panelkit::UncommittedValue>{});
    EXPECT_THAT(run({"pending"}).error, HasSubstr("Everything that was written is permanent."));
    EXPECT_EQ(run({"pending", "--check"}).status, 0);
    EXPECT_THAT(run({"revert", "--all"}).error, HasSubstr("Nothing changes."));
    script.answer<Command::GetUncommitted>(std::vector<panelkit::UncommittedValue>{{"IKE", "NEW", false, "a", "b"}});
    expectError(run({"pending"}), 8, "this panelctl does not know the parameter IKE.NEW");
    script.answer<Command::GetUncommitted>(
        std::vector<panelkit::UncommittedValue>{{"PROXY", "HTTP_LISTEN_PORT", false, "a", "b"}});
    expectError(run({"pending"}), 6, "incomplete reply");
    script.on(Command::RevertSettings, panelkit::testing::Reaction::refuse("not you"));
    expectError(run({"revert", "--all"}), 40, "not you");
}

} // namespace
