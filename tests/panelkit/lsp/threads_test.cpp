// SPDX-License-Identifier: MIT
//
// Controllers in several threads at once.
#include <panelkit/lsp/lsp_controller.h>

#include "../../support/service_fixture.h"
#include "../../support/user_folder.h"
#include "lsp_fixture.h"

namespace {

class ManyPolicyControllers : public WithScriptedService {
protected:
    ManyPolicyControllers() {
        service->on(Command::GetPolicyInfo, Reaction::reply(requestBytes + infoBytes));
        service->on(Command::GetSettings, Reaction::reply(settingsBytes));
        service->on(Command::SetSettings, Reaction::reply(hex("01")));
        service->answer<Command::GetUserSettings>(LSPcmd::LSPsettings_t());
        service->on(Command::OfferUserSettings, Reaction::reply(""));
        service->on(Command::ActivateDDP, Reaction::reply(""));
        service->answer<Command::ActivateUser>(true, std::string("words"));
        service->answer<Command::LoggedInUser>(std::string("boris"));
        UserFolder::put(folder.settings(), whole);
    }
    UserFolder folder;
    const std::string whole = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<UserLSP>\n\t<Keep>" +
                              std::string(200'000, 'x') + "</Keep>\n\t<Active>0</Active>\n</UserLSP>\n";
};

// Calls one operation of each kind; returns how many failed.
int useOnce() {
    LSPController controller;
    LSPinfo_t info;
    LSPrequest_t required;
    LSPrequest_t::InfoType state{};
    LSPcmd::LSPsettings_t read;
    std::string text, message;
    bool applied = false;
    int wrong = 0;
    wrong += !controller.cmdGetPolicyInfo(info, required, &text, &state, true) || state != LSPrequest_t::loading;
    wrong += !controller.cmdGetSettings(&read) || read != settings;
    wrong += !controller.cmdSetSettings(settings, applied) || !applied;
    wrong += !controller.cmdGetUserSettings("", &read) || read != LSPcmd::LSPsettings_t();
    wrong += !controller.cmdActivateUser("", message, "lsp") || message != "words";
    wrong += !controller.cmdActivateDDP("lsp");
    wrong += !controller.cmdIsOtherUserLoggedIn("anna", text) || text != "boris";
    LSPController::requestIsUser();
    return wrong;
}

TEST_F(ManyPolicyControllers, TakeTurns) {
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 10; ++turn) wrong += useOnce();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    std::string text = UserFolder::read(folder.settings()); // as it was made, except for its flag
    if (const std::size_t flag = text.find("<Active>1"); flag != std::string::npos) text[flag + 8] = '0';
    EXPECT_EQ(text, whole);
}

} // namespace
