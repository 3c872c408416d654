// SPDX-License-Identifier: MIT
//
// The bytes that each operation sends and reads. The texts of the policy and the user's file have tests of their own.
#include <panelkit/lsp/lsp_controller.h>

#include "../../support/service_fixture.h"
#include "../../support/user_folder.h"
#include "lsp_fixture.h"

#include <panelkit/lsp/policy_lock.h>
#include <platform/paths/user_paths.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

using LSPcmd::LSPsettings_t;
using panelkit::Command;
using panelkit::testing::Reaction;

namespace {

class AnLSPController : public WithScriptedService {
protected:
    // Runs an operation against the reply, and checks the command and the bytes that were sent.
    template <class Operation>
    auto sends(Command command, unsigned code, const std::string& payload, const std::string& reply,
               Operation operation) {
        service->on(command, Reaction::reply(reply));
        const auto result = operation();
        const auto requests = service->requests();
        EXPECT_FALSE(requests.empty());
        if (requests.empty()) return result;
        EXPECT_EQ(requests.back().session, "Common");
        EXPECT_EQ(requests.back().module, 5U);
        EXPECT_EQ(requests.back().command, code);
        EXPECT_EQ(toHex(requests.back().payload), toHex(payload));
        return result;
    }

    UserFolder folder;
    LSPController controller;
    std::string text = "before";
    bool applied = false;
    LSPsettings_t read;
    LSPinfo_t info;
    LSPrequest_t required;
    LSPrequest_t::InfoType state{};
};

TEST_F(AnLSPController, SendsEachCommandByteForByte) {
    EXPECT_TRUE(sends(Command::ActivateCurrent, 5, hex("03 00 00 00 'lsp'"), "whatever",
                      [&] { return controller.cmdActivateCurrent(text, "lsp"); }));
    EXPECT_EQ(text, "before") << "the reply is discarded";
    EXPECT_TRUE(
        sends(Command::ActivateDDP, 6, hex("03 00 00 00 'lsp'"), "", [&] { return controller.cmdActivateDDP("lsp"); }));
    EXPECT_TRUE(
        sends(Command::ViewCurrent, 9, "", std::string("a\0b", 3), [&] { return controller.cmdViewCurrent(text); }));
    EXPECT_EQ(text, std::string("a\0b", 3));
    EXPECT_TRUE(sends(Command::GetSettings, 3, "", settingsBytes, [&] { return controller.cmdGetSettings(&read); }));
    EXPECT_EQ(read, settings);
    EXPECT_TRUE(sends(Command::SetSettings, 4, settingsBytes, hex("01"),
                      [&] { return controller.cmdSetSettings(settings, applied); }));
    EXPECT_TRUE(applied);
    EXPECT_TRUE(sends(Command::SetUserSettings, 14, hex("04 00 00 00 'anna'") + settingsBytes, hex("02 07"),
                      [&] { return controller.cmdSetUserSettings("anna", settings, applied); }));
    EXPECT_FALSE(applied) << "only 1 says yes";
    EXPECT_TRUE(sends(Command::GetUserSettings, 13, hex("04 00 00 00 'anna'"), settingsBytes,
                      [&] { return controller.cmdGetUserSettings("anna", &read); }));
}

TEST_F(AnLSPController, AnswersFalseAndLeavesEverythingAloneWhenTheModuleRefuses) {
    read = settings;
    required = request;
    applied = true;
    EXPECT_FALSE(controller.cmdActivateCurrent(text, ""));
    EXPECT_FALSE(controller.cmdActivateDDP(""));
    EXPECT_FALSE(controller.cmdActivateSystem(text, ""));
    EXPECT_FALSE(controller.cmdViewCurrent(text));
    EXPECT_FALSE(controller.cmdGetSettings(&read));
    EXPECT_FALSE(controller.cmdSetSettings(read, applied));
    EXPECT_FALSE(controller.cmdGetUserSettings("anna", &read));
    EXPECT_FALSE(controller.cmdSetUserSettings("", read, applied));
    EXPECT_FALSE(controller.cmdIsOtherUserLoggedIn("anna", text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(read, settings);
    EXPECT_TRUE(applied);
    EXPECT_FALSE(controller.cmdGetPolicyInfo(info, required, nullptr, nullptr, true));
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
        return sends(Command::LoggedInUser, 15, "", encoded(loggedIn),
                     [&] { return controller.cmdIsOtherUserLoggedIn(user, text); });
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
    const auto answerAll = [&](const std::string& bytes) {
        for (const Command command :
             {Command::GetPolicyInfo, Command::GetSettings, Command::SetSettings, Command::GetUserSettings,
              Command::SetUserSettings, Command::LoggedInUser, Command::ActivateSystem, Command::ActivateUser}) {
            service->on(command, Reaction::reply(bytes));
        }
    };
    answerAll("");
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdGetPolicyInfo(info, required, &text, &state, true); }));
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdGetSettings(&read); }));
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdSetSettings(read, applied); }));
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdGetUserSettings("anna", &read); }));
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdSetUserSettings("anna", read, applied); }));
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdIsOtherUserLoggedIn("anna", text); }));
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdActivateSystem(text, ""); }));
    answerAll(hex("01 05 00 00 00 'four'"));
    service->on(Command::GetSettings, Reaction::refuse());
    service->on(Command::GetUserSettings, Reaction::refuse());
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdActivateSystem(text, ""); }));
    EXPECT_EQ(text, "before");
    EXPECT_TRUE(throwsStreamError([&] { controller.cmdActivateUser("anna", text, ""); }));
    EXPECT_EQ(text, "beforecan't get user lsp settings\n") << "what was there stays";

    const std::string whole = requestBytes + infoBytes;
    for (const std::size_t length : {std::size_t{3}, requestBytes.size(), whole.size() - 1}) {
        service->on(Command::GetPolicyInfo, Reaction::reply(whole.substr(0, length)));
        EXPECT_TRUE(throwsStreamError([&] { controller.cmdGetPolicyInfo(info, required, &text, &state, true); }));
    }
    service->answer<Command::LoggedInUser>(std::string("boris"));
    EXPECT_TRUE(controller.cmdIsOtherUserLoggedIn("anna", text)) << "the lock is free";
}

// While another thread holds the lock, no operation sends anything or ends.
TEST_F(AnLSPController, WaitsForItsTurnInEveryOperation) {
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"ViewCurrent", [&] { controller.cmdViewCurrent(text); }},
        {"GetPolicyInfo", [&] { controller.cmdGetPolicyInfo(info, required, nullptr, nullptr, false); }},
        {"GetSettings", [&] { controller.cmdGetSettings(&read); }},
        {"SetSettings", [&] { controller.cmdSetSettings(read, applied); }},
        {"GetUserSettings", [&] { controller.cmdGetUserSettings("anna", &read); }},
        {"SetUserSettings", [&] { controller.cmdSetUserSettings("anna", read, applied); }},
        {"requestIsUser", [&] { LSPController::requestIsUser(); }},
        {"LoggedInUser", [&] { controller.cmdIsOtherUserLoggedIn("anna", text); }},
        {"ActivateCurrent", [&] { controller.cmdActivateCurrent(text, ""); }},
        {"ActivateDDP", [&] { controller.cmdActivateDDP(""); }},
        {"ActivateSystem", [&] { controller.cmdActivateSystem(text, ""); }},
        {"ActivateUser", [&] { controller.cmdActivateUser("anna", text, ""); }},
    };
    for (const auto& [name, operation] : operations) {
        const std::size_t before = service->requests().size();
        std::future<void> done;
        {
            const panelkit::PolicyLock lock;
            done = std::async(std::launch::async, operation);
            EXPECT_EQ(done.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout) << name;
            EXPECT_EQ(service->requests().size(), before) << name;
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

// The file is read before the lock is taken, since it may take long: another thread has its turn meanwhile. The file is
// too large for a request, so nothing else takes long.
TEST_F(AnLSPController, ReadsThePolicyFileWhileOthersHaveTheirTurn) {
    const std::filesystem::path path = folder.path() / "large.lsp";
    UserFolder::put(platform::fromPath(path), "");
    std::filesystem::resize_file(path, (std::uintmax_t{64} << 20) + 1);
    LSPsettings_t named;
    named.Source = 1;
    named.File = platform::fromPath(path);
    std::atomic<bool> asked = false;
    for (const Command command : {Command::GetSettings, Command::GetUserSettings}) {
        service->on(command, [&](const auto&) { return asked = true, Reaction::reply(encoded(named)); });
    }
    const std::function<void()> activations[] = {[&] { controller.cmdActivateSystem(text, ""); },
                                                 [&] { controller.cmdActivateUser("anna", text, ""); }};
    for (const auto& activate : activations) {
        int turns = 0;
        for (int attempt = 0; attempt < 10 && turns < 7; ++attempt) { // the system decides who is next
            asked = false;
            auto done = std::async(std::launch::async, activate);
            while (!asked) std::this_thread::yield();
            {
                const panelkit::PolicyLock lock; // free when the settings are there; the activation still needs it
                turns += done.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
            }
            done.get();
        }
        EXPECT_EQ(turns, 7);
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
