// SPDX-License-Identifier: MIT
//
// The effects of activation: `Active` in the user's file, the message, and the requests.
#include <panelkit/lsp/lsp_controller.h>

#include "../../support/service_fixture.h"
#include "../../support/user_folder.h"
#include "lsp_fixture.h"

using LSPcmd::LSPsettings_t;

namespace {

constexpr const char* noSettings = "can't get user lsp settings\n";

std::string fileWith(bool active) {
    return std::string("<UserLSP><Active>") + (active ? "1" : "0") + "</Active></UserLSP>";
}

class Activation : public WithScriptedService {
protected:
    void setActive(bool active) { UserFolder::put(folder.settings(), fileWith(active)); }
    std::string policyFile(const std::string& content) {
        std::string path = platform::fromPath(folder.path() / platform::toPath("политика.lsp"));
        UserFolder::put(path, content);
        return path;
    }
    void answerSettings(Command command, std::int32_t source, const std::string& file) {
        LSPsettings_t settings;
        settings.Source = source;
        settings.File = file;
        service->on(command, Reaction::reply(encoded(settings)));
    }
    std::string lastPayload() {
        const auto requests = service->requests();
        return requests.empty() ? "no request" : requests.back().payload;
    }

    // The outcomes of a command: how the service behaves, or that there is none.
    enum class Outcome { accepted, declined, refused, cut, away, noSession };
    static constexpr Outcome outcomes[] = {Outcome::accepted, Outcome::declined, Outcome::refused,
                                           Outcome::cut,      Outcome::away,     Outcome::noSession};
    void arrange(Command command, Outcome outcome) {
        closePooledSessions();
        killService();
        restartService();
        CommandSender::Instance().SetEndpoint(endpoint);
        service->answer<Command::GetSettings>(LSPsettings_t());
        service->answer<Command::GetUserSettings>(LSPsettings_t());
        if (outcome == Outcome::accepted) service->on(command, Reaction::reply(encoded(true, std::string("words"))));
        if (outcome == Outcome::declined) service->on(command, Reaction::reply(hex("02 05 00 00 00 'words'")));
        if (outcome == Outcome::cut) service->on(command, Reaction::cutBefore());
        if (outcome == Outcome::away) killService();
        if (outcome == Outcome::noSession) CommandSender::Instance().SetEndpoint("no endpoint at all");
    }

    UserFolder folder;
    LSPController controller;
    std::string message = "before ";
};

TEST_F(Activation, OfTheDriverClearsActiveWhateverComesOfIt) {
    for (const Outcome outcome : outcomes) {
        arrange(Command::ActivateDDP, outcome);
        setActive(true);
        const bool answered = outcome == Outcome::accepted || outcome == Outcome::declined;
        EXPECT_EQ(controller.cmdActivateDDP("lsp"), answered);
        EXPECT_FALSE(LSPController::requestIsUser());
    }
}

TEST_F(Activation, OfTheSystemClearsActiveAndPutsItBackOnlyForWantOfTheService) {
    for (const bool wasActive : {true, false}) {
        for (const Outcome outcome : outcomes) {
            arrange(Command::ActivateSystem, outcome);
            setActive(wasActive);
            message = "before";
            EXPECT_EQ(controller.cmdActivateSystem(message, "lsp"), outcome == Outcome::accepted);
            EXPECT_EQ(LSPController::requestIsUser(), wasActive && outcome == Outcome::away)
                << static_cast<int>(outcome);
            const bool answered = outcome == Outcome::accepted || outcome == Outcome::declined;
            EXPECT_EQ(message, answered ? "words" : "before") << "also with the answer 2";
        }
    }
}

TEST_F(Activation, OfTheSystemMakesNoFileWhereActiveIsNotSet) {
    arrange(Command::ActivateSystem, Outcome::accepted);
    EXPECT_TRUE(controller.cmdActivateSystem(message, "lsp"));
    EXPECT_FALSE(UserFolder::exists(folder.settings()));
}

TEST_F(Activation, OfAUserSetsActiveAndClearsItOnlyForWantOfTheService) {
    struct Expected {
        Outcome outcome;
        bool active;
        std::string message;
    };
    const Expected expected[] = {
        {Outcome::accepted, true, "before words"},
        {Outcome::declined, true, "before words"},
        {Outcome::refused, true, "before can't send command\n"},
        {Outcome::cut, true, "before can't send command\n"},
        {Outcome::away, false, std::string("before ") + noSettings},
        {Outcome::noSession, true, std::string("before ") + noSettings + "can't open bridge session\n"},
    };
    for (const Expected& row : expected) {
        for (const bool wasActive : {true, false}) {
            arrange(Command::ActivateUser, row.outcome);
            setActive(wasActive);
            message = "before ";
            EXPECT_EQ(controller.cmdActivateUser("anna", message, "lsp"), row.outcome == Outcome::accepted);
            EXPECT_EQ(message, row.message);
            EXPECT_EQ(LSPController::requestIsUser(), row.active) << row.message;
        }
    }
}

TEST_F(Activation, OfTheCurrentPolicyLeavesActiveAlone) {
    for (const bool active : {true, false}) {
        setActive(active);
        service->on(Command::ActivateCurrent, Reaction::reply("words"));
        EXPECT_TRUE(controller.cmdActivateCurrent(message, "lsp"));
        EXPECT_EQ(LSPController::requestIsUser(), active);
    }
}

TEST_F(Activation, SendsThePolicyFileByteForByte) {
    const std::string content("\0\xFF\r\n\x1A rules", 11);
    const std::string path = policyFile(content);
    service->on(Command::ActivateSystem, Reaction::reply(hex("01 00 00 00 00")));
    service->on(Command::ActivateUser, Reaction::reply(hex("01 00 00 00 00")));
    answerSettings(Command::GetSettings, 1, path);
    answerSettings(Command::GetUserSettings, 1, path);
    EXPECT_TRUE(controller.cmdActivateSystem(message, "lsp"));
    EXPECT_EQ(toHex(lastPayload()), toHex(hex("03 00 00 00 'lsp'  0b 00 00 00") + content));
    message = "before ";
    EXPECT_TRUE(controller.cmdActivateUser("anna", message, "lsp"));
    EXPECT_EQ(message, "before ");
    EXPECT_EQ(toHex(lastPayload()), toHex(hex("04 00 00 00 'anna'  03 00 00 00 'lsp'  0b 00 00 00") + content));
}

TEST_F(Activation, SendsNothingForAFileThatIsNotNamedEmptyOrUnreadable) {
    const std::string missing = platform::fromPath(folder.path() / "missing");
    struct File {
        std::int32_t source;
        std::string path;
        std::string complaint;
    };
    const File files[] = {
        {0, policyFile("rules"), ""},
        {2, policyFile("rules"), ""},
        {1, missing, "can't read user lsp file: " + missing + "\n"},
        {1, folder.utf8(), "can't read user lsp file: " + folder.utf8() + "\n"},
        {1, "", "can't read user lsp file: \n"},
        {1, policyFile(""), ""},
    };
    service->on(Command::ActivateSystem, Reaction::reply(hex("01 00 00 00 00")));
    service->on(Command::ActivateUser, Reaction::reply(hex("01 00 00 00 00")));
    for (const File& file : files) {
        answerSettings(Command::GetSettings, file.source, file.path);
        answerSettings(Command::GetUserSettings, file.source, file.path);
        EXPECT_TRUE(controller.cmdActivateSystem(message, "lsp"));
        EXPECT_EQ(toHex(lastPayload()), toHex(hex("03 00 00 00 'lsp'  00 00 00 00")));
        EXPECT_EQ(message, "") << "the service's words alone";
        EXPECT_TRUE(controller.cmdActivateUser("", message, "lsp"));
        EXPECT_EQ(toHex(lastPayload()), toHex(hex("00 00 00 00  03 00 00 00 'lsp'  00 00 00 00")));
        EXPECT_EQ(message, file.complaint);
        message.clear();
    }
}

// The user's own file named one, but the service did not say that it uses that.
TEST_F(Activation, OfAUserReadsNoFileWhenTheSettingsAreUnknown) {
    UserFolder::put(folder.settings(),
                    "<UserLSP><Source>SOURCE_FILE</Source><File>" + policyFile("rules") + "</File></UserLSP>");
    service->on(Command::OfferUserSettings, Reaction::reply(""));
    service->on(Command::ActivateUser, Reaction::reply(hex("01 00 00 00 00")));
    EXPECT_TRUE(controller.cmdActivateUser("", message, ""));
    EXPECT_EQ(message, std::string("before ") + noSettings);
    EXPECT_EQ(toHex(lastPayload()), toHex(std::string(12, '\0')));
}

} // namespace
