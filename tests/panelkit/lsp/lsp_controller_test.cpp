// SPDX-License-Identifier: MIT
//
// The bytes that each operation sends and reads. The texts of the policy and the user's file have tests of their own.
#include <panelkit/lsp/lsp_controller.h>

#include "../../support/operations.h"
#include "../../support/user_folder.h"
#include "lsp_fixture.h"

#include <panelkit/lsp/policy_lock.h>
#include <platform/paths/user_paths.h>

using LSPcmd::LSPsettings_t;

namespace {

class AnLSPController : public WithOperations {
protected:
    UserFolder folder;
    LSPController controller;
    std::string text = "before", viewed = "before";
    bool applied = false;
    LSPsettings_t read;
    LSPinfo_t info;
    LSPrequest_t required;
    LSPrequest_t::InfoType state{};

    // clang-format off
    const Operations operations{
        {Command::ActivateCurrent, hex("03 00 00 00 'lsp'"), "", [this] { return controller.cmdActivateCurrent(text, "lsp"); }},
        {Command::ActivateDDP,     hex("03 00 00 00 'lsp'"), "", [this] { return controller.cmdActivateDDP("lsp"); }},
        {Command::ViewCurrent,     "", std::string("a\0b", 3),   [this] { return controller.cmdViewCurrent(viewed); }, 3},
        {Command::GetSettings,     "", settingsBytes,            [this] { return controller.cmdGetSettings(&read); }},
        {Command::SetSettings,     settingsBytes, hex("01"),     [this] { return controller.cmdSetSettings(settings, applied); }},
        {Command::SetUserSettings, hex("04 00 00 00 'anna'") + settingsBytes, hex("01"),
         [this] { return controller.cmdSetUserSettings("anna", settings, applied); }},
        {Command::GetUserSettings, hex("04 00 00 00 'anna'"), settingsBytes,
         [this] { return controller.cmdGetUserSettings("anna", &read); }},
        {Command::LoggedInUser,    "", encoded(std::string("boris")),
         [this] { std::string other; return controller.cmdIsOtherUserLoggedIn("anna", other); }},
        {Command::GetPolicyInfo,   "", requestBytes + infoBytes,
         [this] { return controller.cmdGetPolicyInfo(info, required, nullptr, nullptr, true); }},
    };
    // clang-format on
};

TEST_F(AnLSPController, SendsEachRequestByteForByteAndReadsItsReply) {
    expectRequests(operations, "Common");
    EXPECT_EQ(text, "before") << "the reply of an activation is discarded";
    EXPECT_EQ(viewed, std::string("a\0b", 3));
    EXPECT_EQ(read, settings);
    EXPECT_EQ(encoded(required), requestBytes);
    for (const std::string& reply : {hex("01 07"), hex("02 07")}) {
        answer(Command::SetSettings, reply);
        EXPECT_TRUE(controller.cmdSetSettings(settings, applied));
        EXPECT_EQ(applied, reply[0] == 1) << "only 1 says yes";
    }
}

TEST_F(AnLSPController, LeavesEverythingAloneWhenTheModuleRefuses) {
    read = settings;
    required = request;
    applied = true;
    expectFailures(operations);
    EXPECT_FALSE(controller.cmdActivateSystem(text, ""));
    EXPECT_EQ(text + viewed, "beforebefore");
    EXPECT_EQ(read, settings);
    EXPECT_TRUE(applied);
    EXPECT_EQ(encoded(required), requestBytes);
}

TEST_F(AnLSPController, TellsOfThePolicyInForceInTheFormThatIsAskedFor) {
    // A policy that is loading, with a message: the only case in which all ways to ask return different results.
    service->on(Command::GetPolicyInfo, Reaction::reply(requestBytes + infoBytes));
    EXPECT_TRUE(controller.cmdGetPolicyInfo(info, required, &text, &state, false));
    EXPECT_EQ(text, "Policy loading...");
    EXPECT_EQ(state, LSPrequest_t::loading);
    EXPECT_EQ(info.message, "msg");
    EXPECT_EQ(encoded(required), requestBytes);

    EXPECT_TRUE(controller.cmdGetPolicyInfo(info, required, &text, nullptr, true));
    EXPECT_EQ(text.substr(0, 20), "Loading new policy:\n");

    LSPinfo_t warned;
    warned.bareMessage = true;
    warned.message = "#warn: dated";
    service->answer<Command::GetPolicyInfo>(LSPrequest_t(), warned);
    EXPECT_TRUE(controller.cmdGetPolicyInfo(info, required, nullptr, &state, true));
    EXPECT_EQ(state, LSPrequest_t::diagnosed) << "without a text the message is not looked into";
    EXPECT_EQ(info.message, "#warn: dated");
    EXPECT_TRUE(controller.cmdGetPolicyInfo(info, required, &text, &state, true));
    EXPECT_EQ(state, LSPrequest_t::inForce);
    EXPECT_EQ(info.message, "dated") << "the long form leaves its diagnosis there";
    EXPECT_TRUE(controller.cmdGetPolicyInfo(info, required, nullptr, nullptr, false));
}

TEST_F(AnLSPController, SaysWhoElseIsLoggedIn) {
    const auto other = [&](const std::string& loggedIn, const std::string& user) {
        answer(Command::LoggedInUser, encoded(loggedIn));
        return controller.cmdIsOtherUserLoggedIn(user, text);
    };
    EXPECT_TRUE(other("boris", "anna"));
    EXPECT_EQ(text, "boris");
    EXPECT_FALSE(other("anna", "anna"));
    EXPECT_TRUE(other("anna", "Anna"));
    EXPECT_TRUE(other("anna", "ann"));
    EXPECT_FALSE(other("", "anna"));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(other(curproc_userName(), ""));
    EXPECT_TRUE(other(curproc_userName() + "2", ""));
    EXPECT_FALSE(other("", ""));
}

TEST_F(AnLSPController, ThrowsAtRepliesThatEndEarlyAndCanBeUsedAgain) {
    expectThrowAtEveryCut(operations);
    for (const Command command : {Command::ActivateSystem, Command::ActivateUser}) {
        answer(command, hex("01 05 00 00 00 'four'"));
    }
    service->on(Command::GetSettings, Reaction::refuse());
    service->on(Command::GetUserSettings, Reaction::refuse());
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdActivateSystem(text, ""); }));
    EXPECT_EQ(text, "before");
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdActivateUser("anna", text, ""); }));
    EXPECT_EQ(text, "beforecan't get user lsp settings\n") << "what was there stays";
    answer(Command::LoggedInUser, encoded(std::string("boris")));
    EXPECT_TRUE(controller.cmdIsOtherUserLoggedIn("anna", text)) << "the lock is free";
}

// While another thread holds the lock, no operation sends anything or ends.
TEST_F(AnLSPController, WaitsForItsTurnInEveryOperation) {
    std::vector<std::function<void()>> all{[&] { LSPController::requestIsUser(); },
                                           [&] { controller.cmdActivateSystem(text, ""); },
                                           [&] { controller.cmdActivateUser("anna", text, ""); }};
    for (const Operation& row : operations) all.emplace_back(row.run);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::size_t before = service->requests().size();
        std::future<void> done;
        {
            const panelkit::PolicyLock lock;
            done = std::async(std::launch::async, all[i]);
            EXPECT_EQ(done.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout) << i;
            EXPECT_EQ(service->requests().size(), before) << i;
        }
        done.get();
    }
}

// The last request of an activation is sent with the lock held, whatever it asked before.
TEST_F(AnLSPController, ActivatesWithTheLockHeld) {
    service->on(Command::GetSettings, Reaction::reply(settingsBytes));
    service->on(Command::GetUserSettings, Reaction::reply(settingsBytes));
    const std::pair<Command, std::function<void()>> activations[] = {
        {Command::ActivateSystem, [&] { controller.cmdActivateSystem(text, ""); }},
        {Command::ActivateUser, [&] { controller.cmdActivateUser("anna", text, ""); }},
    };
    for (const auto& [command, activate] : activations) {
        service->on(command, Reaction::refuse().after(std::chrono::milliseconds(100)));
        const std::size_t before = service->requests().size();
        auto done = std::async(std::launch::async, activate);
        while (service->requests().size() < before + 2) std::this_thread::yield();
        auto other = std::async(std::launch::async, [] { const panelkit::PolicyLock lock; });
        EXPECT_EQ(other.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        done.get();
    }
}

// The file is read before the lock is taken, since it may take long: what it holds while another thread has its turn is
// what is sent.
TEST_F(AnLSPController, ReadsThePolicyFileWhileOthersHaveTheirTurn) {
    LSPsettings_t named;
    named.Source = 1;
    named.File = platform::fromPath(folder.path() / "p.lsp");
    std::atomic<bool> asked = false;
    for (const Command command : {Command::GetSettings, Command::GetUserSettings}) {
        service->on(command, [&](const auto&) { return asked = true, Reaction::reply(encoded(named)); });
    }
    const std::function<void()> activations[] = {[&] { controller.cmdActivateSystem(text, ""); },
                                                 [&] { controller.cmdActivateUser("anna", text, ""); }};
    for (const auto& activate : activations) {
        bool wasRead = false;
        for (int attempt = 0; attempt < 1000 && !wasRead; ++attempt) { // the system decides who is next
            UserFolder::put(named.File, "before");
            asked = false;
            auto done = std::async(std::launch::async, activate);
            while (!asked) std::this_thread::yield();
            {
                const panelkit::PolicyLock lock; // free when the settings are there; the activation still needs it
                wasRead = done.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
                UserFolder::put(named.File, "later");
            }
            done.get();
            wasRead = wasRead && service->requests().back().payload.find("before") != std::string::npos;
        }
        EXPECT_TRUE(wasRead);
    }
}

class AnLSPControllerWithoutService : public WithoutService {
protected:
    UserFolder folder;
};

TEST_F(AnLSPControllerWithoutService, SaysSo) {
    LSPController controller;
    LSPinfo_t info;
    LSPrequest_t required = request;
    std::string text = "before";
    LSPrequest_t::InfoType state = LSPrequest_t::loading;
    EXPECT_FALSE(controller.cmdGetPolicyInfo(info, required, &text, &state, false));
    EXPECT_EQ(text, "Error: Service isn't running.");
    EXPECT_EQ(text, LSPController::getDisconnectString());
    EXPECT_EQ(state, LSPrequest_t::noAnswer);
    EXPECT_EQ(encoded(required), requestBytes);
    EXPECT_FALSE(controller.cmdIsOtherUserLoggedIn("", text));

    CommandSender::Instance().SetEndpoint("no endpoint at all");
    state = LSPrequest_t::loading;
    EXPECT_FALSE(controller.cmdGetPolicyInfo(info, required, nullptr, &state, true));
    EXPECT_EQ(state, LSPrequest_t::noAnswer);
}

} // namespace
