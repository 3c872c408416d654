// SPDX-License-Identifier: MIT
//
// The local security policy end to end: the controller, and a real service. Runs under Wine too.
#include "policy_fixture.h"

#include <atomic>
#include <chrono>
#include <thread>

using bridge::FailureCode;
using LSPcmd::LSPsettings_t;
using panelkit::Command;
using testing::HasSubstr;
using vocabulary::Refused;
using namespace std::chrono_literals;
namespace infoField = vocabulary::policyInfo;
namespace settingsField = vocabulary::policySettings;

namespace {

class ThePolicy : public WithPolicyService {
protected:
    // Waits for the end of loading.
    Report settled() {
        Report now = report();
        for (int i = 0; i < 200 && now.info.isLoading; ++i) {
            std::this_thread::sleep_for(20ms);
            now = report();
        }
        EXPECT_FALSE(now.info.isLoading);
        return now;
    }
};

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
    EXPECT_EQ(now.state, LSPrequest_t::inForce) << "a remark is no fault";
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

struct SourceRow {
    std::int32_t source;
    std::uint32_t type;
    const char* message;
};

// clang-format off
const SourceRow unreachable[] = {
    {2, LSPsystemServer, "this service has no client for PMP policy servers (SOURCE_PMP)"},
    {3, LSPsystemOther,  "this service has no client for TROM servers (SOURCE_TPN)"},
    {4, LSPsystemOther,  "this service has no client for HTTP servers (SOURCE_HTTP)"},
    {5, LSPsystemOther,  "this service has no client for security gateways (SOURCE_GATE)"},
};
// clang-format on

TEST_F(ThePolicy, IsNotFetchedFromServers) {
    ASSERT_EQ(activate(policyFile("Local")), "");
    for (const SourceRow& row : unreachable) {
        configure([&](LSPsettings_t& settings) {
            settings.Source = row.source;
            settings.server.Server = "pmp.example";
        });
        EXPECT_EQ(activateSystem(), std::string("failed: ") + row.message);
        const Report now = report();
        EXPECT_EQ(now.required.type, row.type);
        EXPECT_EQ(now.info.Title, "Local");
        EXPECT_EQ(now.text, std::string("Error: loading policy failed: ") + row.message);
    }
    EXPECT_THAT(report(true).text, HasSubstr("Error: Could not load policy.\nRequired policy:\n"));
    std::string reply;
    EXPECT_FALSE(controller.cmdActivateCurrent(reply, "")) << "the required one can't be loaded a second time either";
    EXPECT_EQ(bridge::lastFailure().text(), unreachable[3].message);
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

TEST_F(ThePolicy, TakesItsTimeToLoadWhenAskedTo) {
    ASSERT_EQ(activate(policyFile("Old")), "");
    EXPECT_EQ(activate(policyFile("New"), 700), "") << "answered at once";
    const Report loading = report();
    EXPECT_EQ(loading.text, "Policy loading...");
    EXPECT_EQ(loading.state, LSPrequest_t::loading);
    EXPECT_EQ(loading.info.Title, "Old") << "in force until then";
    EXPECT_THAT(report(true).text, HasSubstr("Loading new policy:\n"));
    EXPECT_EQ(settled().info.Title, "New");

    EXPECT_EQ(activate(policyFile("Never"), 60'000), "");
    EXPECT_EQ(activate(policyFile("Instead"), 100), "") << "it takes the place of the one that loads";
    EXPECT_EQ(settled().info.Title, "Instead");
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
    service.kill();
    service.start();
    connect();
    EXPECT_EQ(report().info.Title, "Half-way") << "what was loading is loaded";
    std::string reply;
    EXPECT_TRUE(controller.cmdActivateDDP("drop-all"));
    restart();
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Drop All)");
    EXPECT_FALSE(report().info.fromConfigDb);
}

// A policy that may have dropped traffic must not become one that passes it because its file can't be read.
TEST_F(ThePolicy, ClosesTheHostAndKeepsTheFileWhenWhatWasStoredCantBeUsed) {
    const std::string stored = service.state() + "/policy.json";
    const std::string nested(100'000, '[');
    for (const std::string& damage :
         {std::string("{ not JSON"), std::string(R"({"format": 1, "systemSettings": 7})"),
          std::string(R"({"format": 99})"), std::string(), nested, std::string((16U << 20) + 1, ' ')}) {
        SCOPED_TRACE(damage.substr(0, 40));
        service.terminate();
        platform::replaceFile(stored, damage, true);
        service.start();
        connect();
        EXPECT_EQ(report().info.request.driverMode, LSPdropAllExceptDhcp);
        EXPECT_THAT(report().info.message, HasSubstr("the stored policy can't be used"));
        expectLogged("policy.json can't be used and is kept as it is: ");

        EXPECT_FALSE(controller.cmdActivateDDP("pass-all"));
        EXPECT_EQ(refusal(), vocabulary::Refused::notStored);
        LSPsettings_t settings;
        bool applied = false;
        EXPECT_FALSE(controller.cmdGetSettings(&settings)) << "nobody knows them";
        EXPECT_FALSE(controller.cmdSetSettings(settings, applied) && applied);
        EXPECT_FALSE(controller.cmdSetUserSettings("", settings, applied) && applied);
        EXPECT_EQ(platform::readFile(stored, damage.size()), damage);
    }
    std::filesystem::remove(stored);
    restart();
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Pass All)");
    EXPECT_EQ(activate(policyFile("Office")), "");
}

// Three requests of one account could make the file larger than the next start would read.
TEST_F(ThePolicy, IsNotWipedByWhatAnAccountStores) {
    ASSERT_TRUE(controller.cmdActivateDDP("drop-all"));
    LSPsettings_t huge;
    huge.Source = 1;
    huge.entries.assign(1000, {std::string(1024, '"'), std::string(1024, '"'), std::string(1024, '"')});
    std::string offered;
    CommandStreamOut(offered).append(std::string(), huge);
    EXPECT_FALSE(send(Command::GetUserSettings, offered));
    EXPECT_EQ(refusal(), vocabulary::Refused::badInput);
    EXPECT_FALSE(send(Command::SetUserSettings, offered));
    huge.entries.resize(50);
    bool applied = false;
    EXPECT_TRUE(controller.cmdSetUserSettings("", huge, applied) && applied) << bridge::lastFailure().text();
    platform::replaceFile(file(), policyFile("Mine") + std::string(1000 << 10, '\n'), true);
    activateUser();
    ASSERT_TRUE(controller.cmdActivateDDP("drop-all"));
    restart();
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Drop All)");
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

    settings.File = folder.file("set.lsp");
    bool applied = false;
    ASSERT_TRUE(controller.cmdSetUserSettings("", settings, applied));
    ASSERT_TRUE(controller.cmdGetUserSettings("", &settings));
    EXPECT_EQ(settings.File, folder.file("set.lsp")) << "the file is not asked for any more";
}

TEST_F(ThePolicy, OfNobodyIsRefused) {
    LSPsettings_t settings;
    EXPECT_FALSE(controller.cmdGetUserSettings("no such account", &settings));
    EXPECT_EQ(refusal(), Refused::noSuchObject);
    EXPECT_EQ(bridge::lastFailure().text(), "there is no account \"no such account\" on this host");
}

// ---- invalid requests

const std::vector<std::pair<std::string, void (*)(LSPsettings_t&)>> unfit{
    {"Source", [](LSPsettings_t& s) { s.Source = 6; }},
    {"File", [](LSPsettings_t& s) { s.File = "a\nb"; }},
    {"Server", [](LSPsettings_t& s) { s.server.Server = "\xFF"; }},
    {"LogLevel", [](LSPsettings_t& s) { s.server.LogLevel = -1; }},
    {"PmpIdType", [](LSPsettings_t& s) { s.server.PmpIdType = 6; }},
    {"PmpTimeout", [](LSPsettings_t& s) { s.server.PmpTimeout = -5; }},
    {"driver mode", [](LSPsettings_t& s) { s.*settingsField::driverMode = 3; }},
    {"loading delay", [](LSPsettings_t& s) { s.*settingsField::loadingDelay = 60'001; }},
    {"entry",
     [](LSPsettings_t& s) {
         s.entries.push_back({"g", std::string(2000, 'x'), ""});
     }},
};

TEST_F(ThePolicy, SettingsAreTakenWholeOrNotAtAll) {
    configure([](LSPsettings_t& settings) { settings.entries = {{"gate", "CN=g", "10.0.0.0/8"}, {"h", "", ""}}; });
    LSPsettings_t before, after;
    ASSERT_TRUE(controller.cmdGetSettings(&before));
    EXPECT_EQ(before.entries.size(), 2U);
    for (const auto& [field, change] : unfit) {
        LSPsettings_t settings = before;
        change(settings);
        bool applied = false;
        EXPECT_FALSE(controller.cmdSetSettings(settings, applied)) << field;
        EXPECT_EQ(refusal(), Refused::badInput);
        EXPECT_THAT(bridge::lastFailure().text(), HasSubstr(field));
        EXPECT_FALSE(controller.cmdSetUserSettings("", settings, applied)) << field;
    }
    ASSERT_TRUE(controller.cmdGetSettings(&after));
    EXPECT_EQ(after, before);
}

TEST_F(ThePolicy, RequestsThatEndEarlyAreRefused) {
    const std::string texts = encoded(std::string(), std::string("n"), std::string("title = T\nversion = 1\n"));
    const std::string settings = encoded(std::string(), LSPsettings_t());
    const std::pair<Command, std::string> requests[] = {
        {Command::SetSettings, settings.substr(4)},
        {Command::ActivateCurrent, encoded(std::string("n"))},
        {Command::ActivateSystem, texts.substr(4)},
        {Command::ActivateUser, texts},
        {Command::ActivateDDP, encoded(std::string("drop-all"))},
        {Command::SetUserSettings, settings},
    };
    for (const auto& [command, whole] : requests) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            std::string reply;
            EXPECT_FALSE(send(command, whole.substr(0, length), &reply))
                << panelkit::commandRow(command).name << length;
        }
    }
    EXPECT_EQ(report().text, "Default Driver Policy is active. (Pass All)") << "nothing was done";
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
    const panelkit::CommandRow& row = panelkit::commandRow(Command::ActivateSystem);
    BridgeSession* const session = CommandSender::Instance().OpenNewSession("Common", 1);
    const std::string payload = encoded(title, policyFile(title));
    int done = 0;
    for (int i = 0; i < times; ++i) {
        std::string reply;
        const bool answered =
            session->__SendCommand(row.module, row.code, payload.data(), static_cast<unsigned>(payload.size()), &reply);
        EXPECT_TRUE(answered) << bridge::lastFailure().text();
        if (answered && reply[0] == 1) ++done;
    }
    CommandSender::Instance().CloseSession(session);
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
