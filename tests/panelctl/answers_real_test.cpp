// SPDX-License-Identifier: MIT
//
// panelctl and a real service: keys that ask for the PIN, the check of a policy file, the order of lists, arguments in
// another character set, what an account may do; and the limit of a run, with a service that never comes to an end.
#include "../support/config_service.h"
#include "../support/other_user_posix.h"
#include "../support/panelctl_fixture.h"

using nlohmann::json;

namespace {

using ARealService = PanelctlAndPanelkitd;

// ---- keys that ask for the PIN

class AKeyThatAsksForThePin : public ARealService {
protected:
    AKeyThatAsksForThePin() {
        initialize("Office");
        login();
        const auto made =
            pkcs11Tool(service, {"--token-label", "Office", "--login", "--pin", "user-1", "--keypairgen", "--key-type",
                                 "EC:prime256v1", "--label", "careful", "--id", "01", "--always-auth"});
        EXPECT_EQ(made.status, 0) << made.output << made.error;
    }
    platform::ChildResult request(std::vector<std::string> more, const std::string& input) {
        std::vector<std::string> all{"cert", "request", "--cn", "gate", "--output", folder.file("gate.csr")};
        all.insert(all.end(), more.begin(), more.end());
        return run(std::move(all), input);
    }
};

TEST_F(AKeyThatAsksForThePin, SignsARequestWithIt) {
    const std::string pinFile = folder.file("pin");
    std::ofstream(pinFile) << "user-1\n";
    const struct {
        std::vector<std::string> arguments;
        std::string input;
        int status;
        const char* error;
    } rows[] = {
        {{"--existing-key", "careful"}, "", 2, "--pin-stdin, --pin-fd or --pin-file"},
        {{"--existing-key", "careful", "--pin-stdin"}, "user-2\n", 20, "PIN is wrong"},
        {{"--existing-key", "careful", "--pin-stdin"}, "user-1\n", 0, ""},
        {{"--existing-key", "careful", "--pin-file", pinFile}, "", 0, ""},
        {{"--label", "new", "--pin-stdin"}, "user-1\n", 0, ""}, // a key that does not ask
    };
    for (const auto& [arguments, input, status, error] : rows) {
        SCOPED_TRACE(testing::PrintToString(arguments) + input);
        std::filesystem::remove(folder.file("gate.csr"));
        const auto result = request(arguments, input);
        EXPECT_EQ(result.status, status) << result.error;
        EXPECT_THAT(result.error, HasSubstr(error));
        const auto verified = program({"openssl", "req", "-in", folder.file("gate.csr"), "-verify", "-noout"});
        EXPECT_EQ(verified.status == 0, status == 0) << verified.error;
    }
    EXPECT_THAT(service.terminate().error, Not(HasSubstr("user-1")));
}

// ---- the check of a policy file

class APolicyCheck : public ARealService {
protected:
    APolicyCheck() : ARealService({"--embedded-module", ""}) {}
    platform::ChildResult check(const std::string& sections, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"policy", "check", "-"});
        return run(std::move(more), "title = Office\nversion = 1\n" + sections);
    }
};

TEST_F(APolicyCheck, SaysEachRuleInWords) {
    const struct {
        const char* section;
        const char* words;
    } rows[] = {
        {"action = drop", "drop: all traffic"},
        {"action = pass\nnetwork = fd00::/8", "let pass unprotected: all traffic with fd00::/8"},
        {"action = drop\nprotocol = 47", "drop: protocol 47 with every address"},
        {"action = pass\nprotocol = udp\nport = 67..68\nnetwork = 10.0.0.1", "udp, port 67..68, with 10.0.0.1"},
        {"action = protect\ngateway = g", "protect: all traffic, through gateway g, by any personal certificate"},
        {"action = protect\ngateway = g\nsubject = CN=a", "by the certificate \"CN=a\""},
        {"action = protect\ngateway = g\nauthentication = preshared-key\nkey = k", "by the preshared key \"k\""},
    };
    for (const auto& [section, words] : rows) {
        const auto result = check(std::string("[a]\n") + section + "\n");
        EXPECT_EQ(result.status, 0) << result.error;
        EXPECT_THAT(result.output, HasSubstr(words));
        EXPECT_EQ(result.error, "");
        EXPECT_THAT(json::parse(check(std::string("[a]\n") + section + "\n", {"--json"}).output)["rules"][0]["text"],
                    HasSubstr(words));
    }
}

TEST_F(APolicyCheck, ReportsEveryMistakeAndActivatesNothing) {
    const std::string before = run({"policy", "show", "--json"}).output;
    const auto remarked = check("[a]\naction = drop\n[b]\naction = pass\n");
    EXPECT_EQ(remarked.status, 0);
    EXPECT_THAT(remarked.error, HasSubstr("Remark: line 5: section [b] never decides"));
    const auto wrong = check("[a]\naction = dorp\n[b]\naction = pass\nport = 7\n");
    EXPECT_EQ(wrong.status, 12);
    EXPECT_EQ(wrong.output, "");
    EXPECT_THAT(wrong.error, HasSubstr("line 4: action"));
    EXPECT_THAT(wrong.error, HasSubstr("line 5: section [b]"));
    EXPECT_EQ(json::parse(check("[a]\naction = dorp\n", {"--json"}).error)["details"].size(), 1U);
    EXPECT_EQ(run({"policy", "check", folder.file("none")}).status, 12);
    EXPECT_EQ(run({"policy", "check", "-"}, std::string((1U << 20) + 1, '#')).status, 13);
    EXPECT_EQ(run({"policy", "show", "--json"}).output, before);
}

// ---- lists and arguments

TEST_F(ARealService, ListsTokensAndTheirObjectsInOrder) {
    for (const char* label : {"middle", "Zebra", "anna"}) initialize(label);
    login("anna");
    for (const char* name : {"two", "One"}) {
        EXPECT_EQ(run({"psk", "create", name, "--token", "anna", "--value-stdin"}, "secret\n").status, 0);
    }
    const auto names = [&](std::vector<std::string> arguments, const char* member) {
        std::string all;
        for (const auto& entry : json(std::move(arguments))) {
            all += entry[member].get<std::string>() + ' ';
        }
        return all;
    };
    EXPECT_EQ(names({"token", "list"}, "label"), "anna middle Zebra  ") << "the blank one comes last";
    EXPECT_EQ(names({"psk", "list"}, "name"), "One two ");
}

// localedef makes the locale, since few systems have it.
TEST_F(ARealService, TakesArgumentsInTheCharacterSetOfTheLocale) {
    initialize("Офис");
    login("Офис");
    const std::string koi8 = "\xEF\xC6\xC9\xD3"; // the same in KOI8-R
    program({"localedef", "-i", "ru_RU", "-f", "KOI8-R", folder.file("ru_RU.KOI8-R")});
    if (!std::filesystem::exists(folder.file("ru_RU.KOI8-R"))) GTEST_SKIP() << "there is no localedef";
    const Environment environment{{"LC_ALL", "ru_RU.KOI8-R"}, {"LOCPATH", folder.file("")}};
    const auto result = run({"token", "logout", koi8, "--json"}, {}, environment);
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(json::parse(result.output)["label"], "Офис");
    std::ofstream(folder.file(koi8)) << "title = a\nversion = 1\n";
    EXPECT_EQ(run({"policy", "check", folder.file(koi8)}, {}, environment).status, 0) << "names of files are bytes";
}

// ---- what an account may do

TEST(AnAccount, LearnsWhatItMayDo) {
    if (!OtherUser::canBecome()) GTEST_SKIP() << "needs root";
    RunningService service({"--embedded-module", "", "--users-group", "nogroup", "--admin-group", "staff"});
    const OtherUser others(service.endpoint());
    const auto rights = [&](const std::string& groups) {
        const auto result = others.run("nobody", groups, {"doctor", "--json"});
        for (const json& check : json::parse(result.output)) {
            if (check["check"] == "rights") return check["found"].get<std::string>();
        }
        return std::string();
    };
    EXPECT_EQ(rights("--groups=staff"), "this account may use and administer the service");
    EXPECT_THAT(rights("--clear-groups"), HasSubstr("may use the service, and not administer it"));
    EXPECT_THAT(rights("--clear-groups"), HasSubstr("group is \"staff\""));
    const auto status = others.run("nobody", "--clear-groups", {"status", "--json"});
    EXPECT_EQ(status.status, 0) << status.error;
    EXPECT_EQ(json::parse(status.output)["uncommitted"], nullptr);
}

// ---- the limit of a run

TEST(ARun, EndsAtItsLimitAlsoWhileTheServiceSaysThatItIsAtWork) {
    const Reaction never[] = {
        Reaction::reply("").after(60s, 600), // says every 100 ms that it is at work
        Reaction::claim(1U << 20),           // announces a reply, and sends none of it
        Reaction::silence(),
    };
    for (const Reaction& reaction : never) {
        panelkit::testing::ScriptedService service;
        service.on(Command::EnumProviders, reaction);
        const auto result = panelctl(service.endpoint(), {"provider", "list", "--time-limit", "0.5"});
        EXPECT_EQ(result.status, 5) << result.error;
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(panelctl(service.endpoint(), {"provider", "list", "--time-limit", "x"}).status, 2);
    }
}

// The first Ctrl-C waits for the end of the command, since settings must not be written half-way.
TEST(ARun, EndsAtTheSecondCtrlCWhenTheServiceDoesNotAnswer) {
    ConfigService script;
    script.onWrite = [](const std::string&) { return Reaction::reply("").after(60s, 600); };
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--endpoint", script.script.endpoint(), "config", "set",
                         "IKE.DPD_IDLE_TIME",      "60"};
    platform::ChildProcess set(options);
    script.awaitWrites(1);
    set.terminate();
    std::this_thread::sleep_for(300ms);
    EXPECT_FALSE(set.ended());
    set.terminate();
    const auto result = set.wait(20s);
    EXPECT_EQ(result.ending, platform::Ending::exited);
    EXPECT_EQ(result.status, 54) << result.error;
}

} // namespace
