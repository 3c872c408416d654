// SPDX-License-Identifier: MIT
//
// The local security policy end to end: the controller, and a real service. Runs under Wine too.
#include "policy_fixture.h"

#include <panelkit/lparams/sections/sections.h>

using LSPcmd::LSPsettings_t;
using panelkit::Command;
using vocabulary::Refused;
namespace infoField = vocabulary::policyInfo;
namespace settingsField = vocabulary::policySettings;

namespace {

using ThePolicy = WithPolicyService;

TEST_F(ThePolicy, IsTheDriversAtFirst) {
    const Report first = report();
    EXPECT_EQ(first.text, "Default Driver Policy is active. (Pass All)");
    EXPECT_EQ(first.state, LSPrequest_t::inForce);
    EXPECT_EQ(view(), "# The default driver policy: pass-all\n");
    LSPsettings_t settings;
    settings.Source = 5;
    EXPECT_TRUE(controller.cmdGetSettings(&settings));
    EXPECT_EQ(settings, LSPsettings_t());
}

TEST_F(ThePolicy, IsActivatedFromAFile) {
    const std::string content = policyFile("Офис", "[a]\naction = drop\nnetwork = 10.0.0.0/8\r\n[b]\naction = pass\n");
    EXPECT_EQ(activate(content), "");
    const Report now = report(true);
    EXPECT_EQ(now.state, LSPrequest_t::inForce) << now.text;
    EXPECT_THAT(now.text, HasSubstr("Current Policy:\n  Type: System policy\n  Source: File: " + file()));
    EXPECT_THAT(now.text, HasSubstr("\n  Title: Офис\n"));
    EXPECT_EQ(now.info.message, "");
    EXPECT_FALSE(now.info.fromConfigDb);
    EXPECT_EQ(now.info.*infoField::version, "1.0");
    EXPECT_EQ(now.info.*infoField::sectionCount, 2U);
    EXPECT_EQ(now.info.*infoField::sections, "a, b");
    EXPECT_EQ(now.info.*infoField::activatedBy, curproc_userName());
    EXPECT_EQ(view(), content) << "byte for byte";
    EXPECT_EQ(activateSystem(std::string(200, 'n')), "");
    EXPECT_EQ(activateSystem(std::string(201, 'n')), "failed: ");
    EXPECT_EQ(activateSystem("the name"), "");
    EXPECT_EQ(report().info.*infoField::name, "the name");
}

TEST_F(ThePolicy, StaysWhenTheNextOneIsDamaged) {
    ASSERT_EQ(activate(policyFile("Good")), "");
    const std::string problem =
        "policy file " + file() + ": line 4: action: \"dorp\" is not one of: protect, pass, drop";
    EXPECT_EQ(activate(policyFile("Bad", "[a]\naction = dorp\n")), "failed: " + problem);
    const Report now = report();
    EXPECT_EQ(now.info.Title, "Good");
    EXPECT_EQ(now.state, LSPrequest_t::diagnosed);
    EXPECT_THAT(now.text, HasSubstr("\nDiagnosis: " + problem));
    EXPECT_EQ(view(), policyFile("Good"));
    expectLogged("ActivateSystem (policy file " + file());
    EXPECT_EQ(activate(std::string((1U << 20) + 1, '\n')),
              "failed: policy file " + file() + ": it is larger than 1 MiB");
    EXPECT_EQ(activate(policyFile("Better")), "") << "and the next good one is taken";
    EXPECT_EQ(report().info.message, "");
}

TEST_F(ThePolicy, IsTakenWithRemarks) {
    EXPECT_EQ(activate(policyFile("Empty", "")), "#warn: line 2: there are no sections, so nothing is protected");
    const Report now = report(true);
    EXPECT_EQ(now.state, LSPrequest_t::inForce) << "a remark is not a fault";
    EXPECT_EQ(now.info.message, "line 2: there are no sections, so nothing is protected");
}

TEST_F(ThePolicy, ComesFromTheKeptCopyWhenItsFileCantBeRead) {
    ASSERT_EQ(activate(policyFile("Kept")), "");
    std::filesystem::remove(file());
    EXPECT_EQ(activateSystem(),
              "#warn: the policy file " + file() + " is empty or can't be read; the copy that was kept is used");
    EXPECT_TRUE(report().info.fromConfigDb);
    EXPECT_THAT(report().text, HasSubstr("System policy 'Kept' activated at "));
    EXPECT_THAT(report().text, HasSubstr(" from Config DB"));
    configure([&](LSPsettings_t& settings) {
        settings.Source = 1;
        settings.File = folder.file("another.lsp");
    });
    EXPECT_EQ(activateSystem(), "failed: the policy file " + folder.file("another.lsp") +
                                    " is empty or can't be read, and no copy of it is kept");
    EXPECT_EQ(report().info.Title, "Kept");
}

TEST_F(ThePolicy, IsActivatedAgainWithoutItsFile) {
    ASSERT_EQ(activate(policyFile("Office")), "");
    platform::replaceFile(file(), policyFile("Changed meanwhile"), true);
    std::string reply = "kept";
    EXPECT_TRUE(controller.cmdActivateCurrent(reply, ""));
    EXPECT_EQ(report().info.Title, "Office");
    EXPECT_TRUE(report().info.fromConfigDb);
    EXPECT_EQ(report().info.message, "");
}

TEST_F(ThePolicy, IsNotFetchedFromServers) {
    ASSERT_EQ(activate(policyFile("Local")), "");
    const std::pair<std::uint32_t, std::string> unreachable[] = {
        {LSPsystemServer, "PMP policy servers (SOURCE_PMP)"},
        {LSPsystemOther, "TROM servers (SOURCE_TPN)"},
        {LSPsystemOther, "HTTP servers (SOURCE_HTTP)"},
        {LSPsystemOther, "security gateways (SOURCE_GATE)"},
    };
    std::int32_t source = 1;
    for (const auto& [type, servers] : unreachable) {
        configure([&](LSPsettings_t& settings) { settings.Source = ++source; });
        const std::string message = "this service has no client for " + servers;
        EXPECT_EQ(activateSystem(), "failed: " + message);
        const Report now = report();
        EXPECT_EQ(now.required.type, type);
        EXPECT_EQ(now.info.Title, "Local");
        EXPECT_EQ(now.text, "Error: loading policy failed: " + message);
        std::string reply;
        EXPECT_FALSE(controller.cmdActivateCurrent(reply, "")) << "it can't be loaded a second time either";
        EXPECT_EQ(bridge::lastFailure().text(), message);
    }
}

TEST_F(ThePolicy, OfTheDriverHasModes) {
    EXPECT_TRUE(controller.cmdActivateDDP("drop-all"));
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Drop All)");
    configure([](LSPsettings_t& settings) { settings.*settingsField::driverMode = LSPdropAllExceptDhcp; });
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Drop All)") << "settings are for the next activation";
    EXPECT_TRUE(controller.cmdActivateDDP(""));
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Drop All except DHCP)");
    EXPECT_TRUE(controller.cmdActivateDDP("pass-all"));
    EXPECT_EQ(activateSystem(), "") << "the settings' source is the driver policy";
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Drop All except DHCP)");
    EXPECT_FALSE(controller.cmdActivateDDP("pass"));
    EXPECT_THAT(bridge::lastFailure().text(), HasSubstr("there are: drop-all, drop-all-except-dhcp, pass-all"));
}

TEST_F(ThePolicy, SurvivesARestart) {
    ASSERT_EQ(activate(policyFile("Office")), "");
    const Report before = report();
    restart();
    const Report after = report();
    EXPECT_EQ(after.info.Title, "Office");
    EXPECT_EQ(after.info.activated, before.info.activated);
    EXPECT_TRUE(after.info.fromConfigDb);
    EXPECT_EQ(view(), policyFile("Office"));
    LSPsettings_t settings;
    EXPECT_TRUE(controller.cmdGetSettings(&settings));
    EXPECT_EQ(settings.File, file());

    EXPECT_EQ(activate(policyFile("Half-way"), 60'000), "");
    restart(false);
    EXPECT_EQ(report().info.Title, "Half-way") << "what was loading is loaded";
    std::string reply;
    EXPECT_TRUE(controller.cmdActivateDDP("drop-all"));
    restart();
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Drop All)");
    EXPECT_FALSE(report().info.fromConfigDb);
}

// What is damaged, and what is in use then: state_damage_test.cpp.
TEST_F(ThePolicy, ClosesTheHostAndHasNoSettingsWhenWhatWasStoredCantBeUsed) {
    const std::string stored = service.state() + "/policy.json";
    platform::replaceFile(stored, "{ not JSON", true);
    restart();
    EXPECT_EQ(report().info.request.driverMode, LSPdropAllExceptDhcp);
    EXPECT_THAT(report().info.message, HasSubstr("the stored policy can't be used"));
    expectLogged("policy.json can't be used and is kept as it is: ");
    EXPECT_FALSE(controller.cmdActivateDDP("pass-all"));
    EXPECT_EQ(refusal(), Refused::notStored);
    LSPsettings_t settings;
    bool applied = false;
    EXPECT_FALSE(controller.cmdGetSettings(&settings)) << "nobody knows them";
    EXPECT_FALSE(controller.cmdSetSettings(settings, applied) && applied);
    EXPECT_FALSE(controller.cmdSetUserSettings("", settings, applied) && applied);
    std::filesystem::remove(stored);
    restart();
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Pass All)");
}

// ---- users

TEST_F(ThePolicy, OfAUserIsThatUsersOwn) {
    const std::string me = curproc_userName();
    LSPsettings_t settings;
    settings.Source = 1;
    settings.File = file();
    bool applied = false;
    ASSERT_TRUE(controller.cmdSetUserSettings("", settings, applied)) << bridge::lastFailure().text();
    EXPECT_TRUE(applied);
    platform::replaceFile(file(), policyFile("Mine"), true);
    EXPECT_EQ(activateUser(), "");
    EXPECT_THAT(report().text, HasSubstr("User policy (" + me + "): 'Mine' activated at "));
    std::string loggedIn;
    EXPECT_TRUE(controller.cmdIsOtherUserLoggedIn("somebody-else", loggedIn));
    EXPECT_EQ(loggedIn, me);
    EXPECT_FALSE(controller.cmdIsOtherUserLoggedIn("", loggedIn));

    std::string reply;
    EXPECT_TRUE(controller.cmdActivateCurrent(reply, "again"));
    EXPECT_EQ(report().info.*infoField::name, "again");
    restart();
    EXPECT_THAT(report().text, HasSubstr("User policy (" + me + "): 'Mine'"));
    LSPsettings_t kept;
    EXPECT_TRUE(controller.cmdGetUserSettings(me, &kept));
    EXPECT_EQ(kept, settings);

    EXPECT_TRUE(controller.cmdActivateDDP(""));
    EXPECT_FALSE(controller.cmdIsOtherUserLoggedIn("somebody-else", loggedIn));
    EXPECT_EQ(loggedIn, "");
}

TEST_F(ThePolicy, OfAUserCantOpenTheHost) {
    configure([](LSPsettings_t& settings) { settings.*settingsField::driverMode = LSPdropAll; });
    LSPsettings_t settings;
    settings.*settingsField::driverMode = LSPpassAll;
    bool applied = false;
    ASSERT_TRUE(controller.cmdSetUserSettings("", settings, applied));
    EXPECT_EQ(activateUser(), "");
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Drop All)");
}

TEST_F(ThePolicy, SettingsOfAUserComeFromTheUsersFileUntilTheyAreSet) {
    UserFolder::put(userFolder.settings(), "<UserLSP><Source>SOURCE_FILE</Source><File>" + file() +
                                               "</File><PmpTimeout>42</PmpTimeout></UserLSP>");
    platform::replaceFile(file(), policyFile("Offered"), true);
    LSPsettings_t settings;
    ASSERT_TRUE(controller.cmdGetUserSettings("", &settings));
    EXPECT_EQ(settings.File, file());
    EXPECT_EQ(settings.server.PmpTimeout, 42);
    EXPECT_EQ(activateUser(), "");
    EXPECT_EQ(report().info.Title, "Offered");
    EXPECT_TRUE(send(Command::OfferUserSettings, encoded(std::string())));

    settings.File = folder.file("set.lsp");
    bool applied = false;
    ASSERT_TRUE(controller.cmdSetUserSettings("", settings, applied));
    ASSERT_TRUE(controller.cmdGetUserSettings("", &settings));
    EXPECT_EQ(settings.File, folder.file("set.lsp"));
    EXPECT_FALSE(send(Command::OfferUserSettings, encoded(std::string()))) << "the file is not asked for any more";
    EXPECT_EQ(refusal(), Refused::badInput);
}

TEST_F(ThePolicy, OfNobodyIsRefused) {
    LSPsettings_t settings;
    EXPECT_FALSE(controller.cmdGetUserSettings("no such account", &settings));
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    EXPECT_EQ(bridge::lastFailure().text(), "there is no account \"no such account\" on this host");
}

// ---- invalid requests

// Which settings are refused: policies_test.cpp.
TEST_F(ThePolicy, SettingsAreTakenWholeOrNotAtAll) {
    configure([](LSPsettings_t& settings) { settings.entries = {{"gate", "CN=g", "10.0.0.0/8"}, {"h", "", ""}}; });
    LSPsettings_t before, after;
    ASSERT_TRUE(controller.cmdGetSettings(&before));
    EXPECT_EQ(before.entries.size(), 2U);
    LSPsettings_t settings = before;
    settings.File = "/another.lsp";
    settings.Source = 6;
    bool applied = false;
    EXPECT_FALSE(controller.cmdSetSettings(settings, applied));
    EXPECT_EQ(refusal(), Refused::badInput);
    EXPECT_THAT(bridge::lastFailure().text(), HasSubstr("Source"));
    EXPECT_FALSE(controller.cmdSetUserSettings("", settings, applied));
    ASSERT_TRUE(controller.cmdGetSettings(&after));
    EXPECT_EQ(after, before);
}

// ---- the source, which is a parameter of the configuration too

TEST_F(ThePolicy, SourceIsOneThingInTheSettingsAndInTheConfiguration) {
    using Source = std::pair<int, std::string>;
    const auto both = [&] {
        LPARAMS::Client::POLICY policy;
        LSPsettings_t settings;
        EXPECT_TRUE(policy.load() && controller.cmdGetSettings(&settings)) << bridge::lastFailure().text();
        return std::pair{Source(policy.SYSTEM_LSP_SOURCE.value, policy.SYSTEM_LSP_FROM_FILE.value),
                         Source(settings.Source, settings.File)};
    };
    const auto commit = [](int source, const std::string& file) {
        LPARAMS::Client::POLICY policy;
        policy.SYSTEM_LSP_SOURCE.value = source;
        policy.SYSTEM_LSP_FROM_FILE.value = file;
        return policy.save() && LPARAMS::Client::writeToDisk();
    };
    const auto are = [](const Source& source) { return std::pair{source, source}; };
    configure([](LSPsettings_t& settings) { settings.Source = 1, settings.File = "/a.lsp"; });
    EXPECT_EQ(both(), are({1, "/a.lsp"}));
    restart(false);
    EXPECT_EQ(both(), are({1, "/a.lsp"}));
    EXPECT_TRUE(commit(2, "/b.lsp"));
    EXPECT_EQ(both(), are({2, "/b.lsp"}));
    restart(false);
    EXPECT_EQ(both(), are({2, "/b.lsp"}));
    configure([](LSPsettings_t& settings) { settings.Source = 1, settings.File = "/c.lsp"; });
    restart(false);
    EXPECT_EQ(both(), are({1, "/c.lsp"})) << "the file of the configuration has a former one";

    EXPECT_FALSE(commit(6, ""));
    EXPECT_EQ(refusal(), Refused::badInput);
    for (const char* stored : {"/policy.json", "/configuration.json"}) {
        const std::string path = service.state() + stored;
        platform::replaceFile(path + ".away", platform::readFile(path, 1 << 20), true);
        std::filesystem::remove(path);
        std::filesystem::create_directories(path + "/in the way");
        EXPECT_FALSE(commit(3, "/d.lsp")) << stored;
        EXPECT_EQ(refusal(), Refused::notStored);
        EXPECT_TRUE(send(Command::RevertSettings, encoded(std::vector<std::string>())));
        EXPECT_EQ(both(), are({1, "/c.lsp"})) << stored;
        std::filesystem::remove_all(path);
        std::filesystem::rename(path + ".away", path);
        restart(false);
        EXPECT_EQ(both(), are({1, "/c.lsp"})) << stored;
    }
}

// A policy that is not from a file: other front ends may send one.
TEST_F(ThePolicy, MayBeHandedOverWithoutAFile) {
    configure([](LSPsettings_t& settings) { settings.Source = 1; });
    std::string reply;
    ASSERT_TRUE(send(Command::ActivateSystem, encoded(std::string(), policyFile("Handed over")), &reply));
    EXPECT_EQ(reply, encoded(true, std::string()));
    EXPECT_THAT(report(true).text, HasSubstr("Source: Local Host"));
    restart();
    EXPECT_THAT(report().text, HasSubstr("System policy 'Handed over' activated at "))
        << "it is the required one still";
    EXPECT_TRUE(send(Command::ActivateCurrent, encoded(std::string()), &reply));
    EXPECT_EQ(report().info.message, "") << "and nothing else could be read for it";
    configure([](LSPsettings_t&) {});
    ASSERT_TRUE(send(Command::ActivateSystem, encoded(std::string(), policyFile("Unwanted")), &reply));
    EXPECT_EQ(reply, encoded(false, std::string("the settings ask for the driver policy, which takes no file")));
}

// Activates a policy repeatedly over a session of its own. Returns how often that succeeded.
int activateOften(const std::string& title, int times) {
    Client client;
    int done = 0;
    for (int i = 0; i < times; ++i) {
        std::string reply;
        EXPECT_TRUE(client.send(Command::ActivateSystem, encoded(title, policyFile(title)), &reply));
        done += reply.starts_with('\1');
    }
    return done;
}

// Sessions in parallel: the information is always consistent, and the final policy is one of theirs.
TEST_F(ThePolicy, IsWholeWhileManyChangeIt) {
    configure([](LSPsettings_t& settings) { settings.Source = 1; });
    std::atomic<int> running{4};
    std::atomic<int> done{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, title = "Policy " + std::to_string(i)] {
            done += activateOften(title, 15);
            --running;
        });
    }
    while (running > 0) {
        const LSPinfo_t info = report().info;
        if (info.request.type != LSPdriver) {
            EXPECT_EQ(info.Title, info.*infoField::name);
        }
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(done, 60);
    EXPECT_EQ(view(), policyFile(report().info.Title));
}

} // namespace
