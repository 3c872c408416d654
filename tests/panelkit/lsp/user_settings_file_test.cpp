// SPDX-License-Identifier: MIT
//
// "usersettings.xml": how it is read, offered to the service, and written.
#include <panelkit/lsp/lsp_controller.h>
#include <panelkit/lsp/user_settings_file.h>

#include "../../support/service_fixture.h"
#include "../../support/user_folder.h"
#include "lsp_fixture.h"

using LSPcmd::LSPsettings_t;
using panelkit::readUserSettings;

namespace {

constexpr const char* declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

LSPsettings_t allMissing() {
    LSPsettings_t settings;
    settings.server.LogLevel = 1;
    settings.server.PmpIdType = 0;
    return settings;
}

class TheUserSettingsFile : public testing::Test {
protected:
    LSPsettings_t read(const std::string& elements) {
        UserFolder::put(folder.settings(), "<UserLSP>" + elements + "</UserLSP>");
        LSPsettings_t settings;
        EXPECT_TRUE(readUserSettings(settings)) << elements;
        return settings;
    }
    bool active(const std::string& elements) {
        UserFolder::put(folder.settings(), "<UserLSP>" + elements + "</UserLSP>");
        return panelkit::readActive();
    }
    std::string file() const { return UserFolder::read(folder.settings()); }

    UserFolder folder;
};

TEST_F(TheUserSettingsFile, GivesEachSettingItsValue) {
    const LSPsettings_t settings = read("<Unknown><Source>SOURCE_TPN</Source></Unknown><PmpTimeout> +30</PmpTimeout>"
                                        "<Subject>CN=&#x416;&amp;b</Subject><PmpIdValue><![CDATA[<id>]]></PmpIdValue>"
                                        "<PmpIdType>PMPID_KEY_ID_HEX</PmpIdType><LogLevel>_LL_VERBOSE</LogLevel>"
                                        "<Server> pmp </Server><File>/дом/p.lsp</File><Source>SOURCE_PMP</Source>"
                                        "<Source>SOURCE_FILE</Source>");
    LSPsettings_t expected;
    expected.Source = 2;
    expected.File = "/дом/p.lsp";
    expected.server.Server = " pmp ";
    expected.server.LogLevel = 3;
    expected.server.PmpIdType = 5;
    expected.server.PmpIdValue = "<id>";
    expected.server.Subject = "CN=Ж&b";
    expected.server.PmpTimeout = 30;
    EXPECT_EQ(settings, expected) << "the first of two counts, and the order does not matter";
}

TEST_F(TheUserSettingsFile, LeavesFieldsThatItDoesNotKnowAloneAndClearsTheKindOfAuthentication) {
    UserFolder::put(folder.settings(), "<UserLSP/>");
    LSPsettings_t into = settings;
    EXPECT_TRUE(readUserSettings(into));
    LSPsettings_t expected = settings;
    expected.Source = 0;
    expected.File.clear();
    expected.server = {.LogLevel = 1, .reserved = 0xA1B2C3D4, .presharedKeyName = "office", .PmpTimeout = 10};
    EXPECT_EQ(into, expected);
}

// For two settings, a missing or illegal element has another value than an empty one.
TEST_F(TheUserSettingsFile, GivesMissingEmptyAndUnfitSettingsTheirDefaults) {
    EXPECT_EQ(read(""), allMissing());
    EXPECT_EQ(read("<source>SOURCE_FILE</source><file>x</file><loglevel>_LL_VERBOSE</loglevel>"), allMissing());
    const LSPsettings_t empty = read("<Source/><File/><Server/><LogLevel></LogLevel><PmpIdType/><PmpIdValue/><Subject/>"
                                     "<PmpTimeout/><Active/>");
    LSPsettings_t expected = allMissing();
    expected.server.LogLevel = 0;
    expected.server.PmpTimeout = 0;
    EXPECT_EQ(empty, expected);
    EXPECT_EQ(read("<Source>source_file</Source><LogLevel>Details</LogLevel><PmpIdType>5</PmpIdType>"
                   "<PmpTimeout>30s</PmpTimeout>"),
              allMissing());
    EXPECT_EQ(read("<Source>SOURCE_FILE </Source><LogLevel> _LL_DEBUG</LogLevel><PmpTimeout>30 </PmpTimeout>"),
              allMissing());
}

TEST_F(TheUserSettingsFile, TakesDecimalNumbersAsAThirtyTwoBitReaderDoes) {
    const auto timeout = [&](const std::string& body) {
        return read("<PmpTimeout>" + body + "</PmpTimeout>").server.PmpTimeout;
    };
    EXPECT_EQ(timeout("-7"), -7);
    EXPECT_EQ(timeout("\n\t 0012"), 12);
    EXPECT_EQ(timeout("2147483647"), 2147483647);
    EXPECT_EQ(timeout("2147483648"), 2147483647);
    EXPECT_EQ(timeout("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(timeout("-99999999999999999999999"), -2147483647 - 1);
    for (const char* unfit : {"+", "-", " ", "--1", "+ 1", "0x1F", "1.5", "1e3", "١"})
        EXPECT_EQ(timeout(unfit), 10) << unfit;
}

TEST_F(TheUserSettingsFile, SaysWhetherTheUsersPolicyIsWanted) {
    for (const char* yes : {"1", "2", "-1", " 1", "99999999999"}) {
        EXPECT_TRUE(active("<Active>" + std::string(yes) + "</Active>")) << yes;
    }
    for (const char* no : {"0", "", "yes", "1x", "1 ", "-0"}) {
        EXPECT_FALSE(active("<Active>" + std::string(no) + "</Active>")) << no;
    }
    EXPECT_FALSE(active("<active>1</active>"));
    EXPECT_FALSE(active("<Inside><Active>1</Active></Inside>"));
}

TEST_F(TheUserSettingsFile, IsLookedForInTheSecondPlaceWhenTheFirstHasNoneThatCanBeRead) {
    LSPsettings_t settings;
    EXPECT_FALSE(readUserSettings(settings));
    EXPECT_EQ(settings, allMissing()) << "no file counts as one with nothing in it";
    EXPECT_FALSE(panelkit::readActive());

    UserFolder::put(folder.baseSettings(), "<UserLSP><Active>1</Active><File>base</File></UserLSP>");
    EXPECT_TRUE(readUserSettings(settings));
    EXPECT_EQ(settings.File, "base");
    EXPECT_TRUE(panelkit::readActive());
    for (const char* unreadable : {"", "<UserLSP>", "<Other/>", "<UserLSP><Active>0</Active></UserLSP>junk"}) {
        UserFolder::put(folder.settings(), unreadable);
        EXPECT_TRUE(panelkit::readActive()) << unreadable;
    }
    UserFolder::put(folder.settings(), "<UserLSP/>");
    EXPECT_FALSE(panelkit::readActive());
}

TEST_F(TheUserSettingsFile, CountsAsNoneWhereverItIsCutOff) {
    const std::string whole =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- mine --><UserLSP a='b'>\n\t<Active>1</Active>\n"
        "\t<Source>SOURCE_FILE</Source><File>/дом/&amp;</File><Other><![CDATA[x]]></Other>\n</UserLSP>";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        UserFolder::put(folder.settings(), whole.substr(0, length));
        LSPsettings_t settings;
        EXPECT_FALSE(panelkit::readActive()) << length;
        EXPECT_FALSE(readUserSettings(settings)) << length;
        EXPECT_EQ(settings, allMissing()) << length;
    }
    UserFolder::put(folder.settings(), whole);
    EXPECT_TRUE(panelkit::readActive());
}

TEST_F(TheUserSettingsFile, MayBeLarge) {
    std::string elements;
    while (elements.size() < 50'000'000) elements += "<Unknown a=\"b\">some text that is not short at all</Unknown>\n";
    EXPECT_TRUE(active(elements + "<Active>1</Active>"));
}

TEST_F(TheUserSettingsFile, IsMadeWithOnlyActiveWhereThereWasNone) {
    panelkit::writeActive(true);
    EXPECT_EQ(file(), std::string(declaration) + "<UserLSP>\n\t<Active>1</Active>\n</UserLSP>\n");
    panelkit::writeActive(false);
    EXPECT_EQ(file(), std::string(declaration) + "<UserLSP>\n\t<Active>0</Active>\n</UserLSP>\n");
}

TEST_F(TheUserSettingsFile, KeepsWhatItDoesNotKnowWhenActiveIsWritten) {
    const std::string others =
        "\t<!-- mine -->\n\t<File>/p &amp; q</File>\n"
        "\t<Layout width=\"3\" note='\"x\"'>some <b>mixed</b> <i>text</i> &#65;<![CDATA[<]]></Layout>\n";
    UserFolder::put(folder.settings(), "<?xml version='1.0'?>\r\n<?keep me?>\n<UserLSP edition=\"2\">\n" + others +
                                           "\t<Active>0<!-- why --></Active>\n</UserLSP>\n<!-- end -->");
    panelkit::writeActive(true);
    EXPECT_EQ(file(), declaration + std::string("<?keep me?>\n<UserLSP edition=\"2\">\n") + others +
                          "\t<Active>1<!-- why --></Active>\n</UserLSP>\n<!-- end -->\n");
}

TEST_F(TheUserSettingsFile, IsPutAsideWhenItIsDamagedAndWrittenAnew) {
    UserFolder::put(folder.settings(), "<UserLSP><File>/mine</File>");
    UserFolder::put(folder.baseSettings(), "<UserLSP><File>/base</File></UserLSP>");
    panelkit::writeActive(true);
    EXPECT_EQ(UserFolder::read(folder.settings() + ".damaged"), "<UserLSP><File>/mine</File>");
    EXPECT_EQ(file(), declaration + std::string("<UserLSP>\n\t<File>/base</File>\n\t<Active>1</Active>\n</UserLSP>\n"));
    panelkit::writeActive(false);
    EXPECT_EQ(UserFolder::read(folder.settings() + ".damaged"), "<UserLSP><File>/mine</File>");
}

TEST_F(TheUserSettingsFile, IsMadeInAFolderThatIsMadeForIt) {
    std::filesystem::remove_all(folder.path());
    panelkit::writeActive(true);
    EXPECT_TRUE(panelkit::readActive());
    std::filesystem::remove_all(folder.path());
    UserFolder::put(folder.utf8(), "a file where the folder should be");
    panelkit::writeActive(true); // errors are not reported
    EXPECT_FALSE(panelkit::readActive());
    EXPECT_THROW(panelkit::storeUserSettings({}), std::runtime_error);
}

TEST_F(TheUserSettingsFile, TakesTheSettingsOfAFrontEndAndGivesThemBack) {
    panelkit::writeActive(true);
    LSPsettings_t stored;
    stored.Source = 1;
    stored.File = "C:\\дом\\\"a\" & <b>\r\n\t.lsp ";
    stored.server.Server = "pmp.example";
    stored.server.LogLevel = 2;
    stored.server.PmpIdType = 4;
    stored.server.PmpIdValue = "]]>";
    stored.server.PmpTimeout = -5;
    panelkit::storeUserSettings(stored);
    LSPsettings_t read;
    EXPECT_TRUE(readUserSettings(read));
    EXPECT_EQ(read, stored);
    EXPECT_TRUE(panelkit::readActive());
    EXPECT_THAT(file(), HasSubstr("<Source>SOURCE_FILE</Source>"));
    EXPECT_THAT(file(), HasSubstr("<LogLevel>_LL_DETAILS</LogLevel>"));
    EXPECT_EQ(panelkit::userSettingsPath(), folder.settings());
}

TEST_F(TheUserSettingsFile, RefusesSettingsThatItCannotHoldAndStaysAsItWas) {
    panelkit::writeActive(true);
    const std::string before = file();
    const auto problem = [](auto change) -> std::string {
        LSPsettings_t settings;
        change(settings);
        try {
            panelkit::storeUserSettings(settings);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "none";
    };
    EXPECT_EQ(problem([](auto& s) { s.Source = 17; }), "Source: no name for 17");
    EXPECT_EQ(problem([](auto& s) { s.server.LogLevel = -1; }), "LogLevel: no name for -1");
    EXPECT_THAT(problem([](auto& s) { s.File = "a\xFF"; }), HasSubstr("File: "));
    EXPECT_THAT(problem([](auto& s) { s.server.Subject = std::string("\0", 1); }), HasSubstr("Subject: "));
    EXPECT_EQ(file(), before);
}

// ---- what the service receives

class TheCurrentUsersSettings : public WithScriptedService {
protected:
    bool get() { return controller.cmdGetUserSettings("", &read); }
    std::vector<std::pair<std::uint32_t, std::string>> sent() const {
        std::vector<std::pair<std::uint32_t, std::string>> commands;
        for (const auto& request : service->requests()) commands.emplace_back(request.command, request.payload);
        return commands;
    }

    UserFolder folder;
    LSPController controller;
    LSPsettings_t read = settings;
    const std::string noName = std::string(4, '\0');
};

TEST_F(TheCurrentUsersSettings, AreOfferedWhenTheServiceAsksForThem) {
    UserFolder::put(folder.settings(), "<UserLSP><Source>SOURCE_FILE</Source><File>/mine</File></UserLSP>");
    LSPsettings_t offered = settings;
    offered.Source = 1;
    offered.File = "/mine";
    offered.server = {.LogLevel = 1, .reserved = 0xA1B2C3D4, .presharedKeyName = "office", .PmpTimeout = 10};
    service->on(Command::OfferUserSettings, Reaction::reply("anything"));
    service->answer<Command::GetUserSettings>(LSPsettings_t());
    EXPECT_TRUE(get());
    EXPECT_EQ(sent(),
              (std::vector<std::pair<std::uint32_t, std::string>>{{12, noName}, {13, noName + encoded(offered)}}));
    EXPECT_EQ(read, LSPsettings_t()) << "the answer replaces what was offered";

    service->on(Command::GetUserSettings, Reaction::refuse());
    read = settings;
    EXPECT_FALSE(get());
    EXPECT_EQ(read, offered);
}

TEST_F(TheCurrentUsersSettings, AreAskedForAlsoWithoutAFileOrAnOffer) {
    const std::vector<std::pair<std::uint32_t, std::string>> both = {{12, noName}, {13, noName}};
    service->on(Command::GetUserSettings, Reaction::reply(settingsBytes));
    service->on(Command::OfferUserSettings, Reaction::reply(""));
    EXPECT_TRUE(get());
    EXPECT_EQ(sent(), both) << "there is no file";

    UserFolder::put(folder.settings(), "<UserLSP><File>/mine</File></UserLSP>");
    service->on(Command::OfferUserSettings, Reaction::refuse());
    service->on(Command::GetUserSettings, Reaction::refuse());
    read = settings;
    EXPECT_FALSE(get());
    EXPECT_EQ(sent().back(), both.back()) << "the service does not want it";
    EXPECT_FALSE(controller.cmdGetUserSettings("anna", &read));
    EXPECT_EQ(sent().size(), 2 * both.size() + 1) << "another account's settings are not in this file";
    EXPECT_EQ(read, settings);

    service->on(Command::OfferUserSettings, Reaction::cutBefore());
    EXPECT_FALSE(get()) << "both go over one session";
}

} // namespace
