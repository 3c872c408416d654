// SPDX-License-Identifier: MIT
//
// Providers and tokens, through the library, a real service and SoftHSM2.
#include <panelkit/tokens/tokens_controller.h>

#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <platform/system/files.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <gmock/gmock.h>

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using testing::HasSubstr;
namespace providerField = vocabulary::provider;
namespace tokenField = vocabulary::token;
namespace flag = vocabulary::tokenFlag;

namespace {

class TheService : public testing::Test {
protected:
    TheService() { connect(); }
    ~TheService() override { closePooledSessions(); }

    void connect() {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
    }
    std::vector<ProviderInfo> providers() {
        std::vector<ProviderInfo> listed;
        EXPECT_TRUE(controller.EnumProviders(listed)) << bridge::lastFailure().text();
        return listed;
    }
    std::vector<TokenInfo> tokens() {
        std::vector<TokenInfo> listed;
        EXPECT_TRUE(controller.EnumProviderTokens(nullptr, listed)) << bridge::lastFailure().text();
        return listed;
    }
    TokenInfo token(const std::string& label) {
        for (const TokenInfo& candidate : tokens()) {
            if (candidate.*tokenField::label == label) return candidate;
        }
        ADD_FAILURE() << "no token \"" << label << "\"";
        return {};
    }
    TokenInfo initialized(const std::string& label) {
        EXPECT_TRUE(controller.TokenInitialize(token(""), label, "so-pin-1", "user-1", false))
            << bridge::lastFailure().text();
        return token(label);
    }
    static vocabulary::Refused refusal() { return static_cast<vocabulary::Refused>(bridge::lastFailure().detail); }

    RunningService service;
    VpnTokensController controller;
};

TEST_F(TheService, ListsTheEmbeddedProviderAndItsEmptyToken) {
    const auto listed = providers();
    ASSERT_EQ(listed.size(), 1U);
    EXPECT_EQ(listed[0].*providerField::name, "embedded");
    EXPECT_TRUE(listed[0].*providerField::isLoaded);
    EXPECT_TRUE(listed[0].*providerField::isEmbedded);
    EXPECT_EQ(listed[0].*providerField::problem, "");
    EXPECT_THAT(listed[0].*providerField::manufacturer, HasSubstr("SoftHSM"));
    EXPECT_EQ(listed[0].*providerField::cryptokiVersion, "2.40");
    EXPECT_EQ(listed[0].*providerField::tokenCount, 1U);

    const auto all = tokens();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].*tokenField::label, "");
    EXPECT_EQ(all[0].*tokenField::provider, "embedded");
    EXPECT_FALSE(all[0].flags & flag::initialized);
    std::vector<TokenInfo> ofProvider;
    EXPECT_TRUE(controller.EnumProviderTokens(listed[0], ofProvider));
    EXPECT_EQ(ofProvider, all);
}

TEST_F(TheService, InitializesATokenLogsInAndChangesItsPin) {
    const TokenInfo office = initialized("Office, Büro");
    EXPECT_NE(office.*tokenField::serial, "");
    EXPECT_TRUE(office.flags & flag::initialized);
    EXPECT_TRUE(office.flags & flag::userPinInitialized);
    EXPECT_FALSE(office.flags & flag::loggedIn);

    PinStateMessage message;
    EXPECT_FALSE(controller.TokenLogin(office, "wrong", false, &message));
    EXPECT_EQ(message.title, vocabulary::pinTitle::wrongPin);
    EXPECT_THAT(message.text, HasSubstr("The PIN is wrong."));
    EXPECT_TRUE(controller.TokenLogin(office, "user-1", false, &message));
    EXPECT_TRUE(token("Office, Büro").flags & flag::loggedIn);
    EXPECT_TRUE(controller.TokenLogout(office));
    EXPECT_FALSE(token("Office, Büro").flags & flag::loggedIn);
    EXPECT_FALSE(controller.TokenLogout(office));
    EXPECT_EQ(refusal(), vocabulary::Refused::notLoggedIn);

    EXPECT_FALSE(controller.TokenChangePassword(office, "wrong", "user-2", false, false));
    EXPECT_EQ(refusal(), vocabulary::Refused::wrongPin);
    EXPECT_FALSE(controller.TokenChangePassword(office, "user-1", "x", false, false));
    EXPECT_EQ(refusal(), vocabulary::Refused::unfitPin);
    EXPECT_TRUE(controller.TokenChangePassword(office, "user-1", "user-2", false, false))
        << bridge::lastFailure().text();
    EXPECT_FALSE(controller.TokenLogin(office, "user-1", false, nullptr));
    EXPECT_TRUE(controller.TokenLogin(office, "user-2", false, nullptr));
    EXPECT_FALSE(controller.TokenChangePassword(office, "so-pin-1", "so-pin-2", true, false));
    EXPECT_EQ(refusal(), vocabulary::Refused::otherUserIsIn);
    EXPECT_TRUE(controller.TokenLogout(office));
    EXPECT_TRUE(controller.TokenChangePassword(office, "so-pin-1", "so-pin-2", true, false))
        << bridge::lastFailure().text();
    EXPECT_TRUE(controller.InitTokenRNG(office, "some seed"));
}

TEST_F(TheService, ErasesATokenOnlyWhenToldSo) {
    const TokenInfo first = initialized("first");
    EXPECT_FALSE(controller.TokenInitialize(first, "second", "so-pin-1", "user-1", false));
    EXPECT_EQ(refusal(), vocabulary::Refused::wouldErase);
    EXPECT_FALSE(controller.TokenInitialize(first, "second", "wrong-so-pin", "user-1", true));
    EXPECT_EQ(refusal(), vocabulary::Refused::wrongPin);
    EXPECT_FALSE(controller.TokenInitialize(first, std::string(33, 'x'), "so-pin-1", "user-1", true));
    EXPECT_EQ(refusal(), vocabulary::Refused::badInput);
    ASSERT_TRUE(controller.TokenLogin(token("first"), "user-1", false, nullptr));
    EXPECT_TRUE(controller.TokenInitialize(first, "second", "so-pin-1", "user-1", true))
        << bridge::lastFailure().text();
    EXPECT_FALSE(controller.TokenLogin(first, "user-1", false, nullptr));
    EXPECT_EQ(refusal(), vocabulary::Refused::noSuchToken);
    EXPECT_TRUE(controller.TokenLogin(token("second"), "user-1", false, nullptr));
}

// Slot ids are not stable over restarts: SoftHSM2 makes new ones.
TEST_F(TheService, FindsATokenAgainAfterARestartAndLosesTheLogIn) {
    const TokenInfo before = initialized("kept");
    ASSERT_TRUE(controller.TokenLogin(before, "user-1", false, nullptr));
    service.kill();
    service.start();
    EXPECT_FALSE(controller.TokenLogout(before)) << "the first command goes to the dead connection";
    const TokenInfo after = token("kept");
    EXPECT_NE(after.slotId, before.slotId);
    EXPECT_FALSE(after.flags & flag::loggedIn);
    EXPECT_TRUE(controller.TokenLogin(before, "user-1", false, nullptr)) << "named as it was listed before";
}

TEST_F(TheService, LoadsAgainWhatItIsTold) {
    const TokenInfo kept = initialized("kept");
    ASSERT_TRUE(controller.TokenLogin(kept, "user-1", false, nullptr));
    EXPECT_TRUE(controller.ReloadAll()) << bridge::lastFailure().text();
    EXPECT_FALSE(token("kept").flags & flag::loggedIn);
}

TEST_F(TheService, RefusesModulesThatBreakTheRules) {
    const auto problem = [this](const std::string& path) {
        ProviderInfo info;
        info.*providerField::path = path;
        EXPECT_FALSE(controller.ProviderLoad(info));
        return info.*providerField::problem;
    };
    EXPECT_THAT(problem("libsofthsm2.so"), HasSubstr("not absolute"));
    EXPECT_THAT(problem("/usr/lib/none.so"), HasSubstr("No such file"));
    EXPECT_THAT(problem("/usr/lib"), HasSubstr("not a regular file"));
    EXPECT_THAT(problem("/etc/hostname"), HasSubstr("does not work"));
    EXPECT_THAT(problem("/usr/lib/softhsm/libsofthsm2.so"), HasSubstr("loaded already, as provider \"embedded\""));

    const std::string copy = service.folder().file("module.so");
    std::filesystem::copy_file("/usr/lib/softhsm/libsofthsm2.so", copy);
    std::filesystem::permissions(copy, std::filesystem::perms(0777));
    EXPECT_THAT(problem(copy), HasSubstr("can be written by other accounts"));
    EXPECT_EQ(providers().size(), 1U) << "nothing is left of what failed";
}

TEST_F(TheService, LoadsRaisesRemembersAndUnloadsProviders) {
    ProviderInfo info;
    info.*providerField::path = "/usr/lib/x86_64-linux-gnu/pkcs11/opensc-pkcs11.so";
    info.*providerField::isRemembered = true;
    ASSERT_TRUE(controller.ProviderLoad(info)) << info.*providerField::problem;
    EXPECT_EQ(info.*providerField::name, "opensc-pkcs11");
    EXPECT_TRUE(info.*providerField::isLoaded);
    EXPECT_TRUE(controller.ProviderLevelUp(info));
    EXPECT_EQ(providers()[0], info);

    service.terminate();
    service.start();
    connect();
    ASSERT_EQ(providers().size(), 2U);
    EXPECT_EQ(providers()[0], info) << "order and providers survive a restart";

    EXPECT_TRUE(controller.ProviderUnload(info));
    EXPECT_FALSE(controller.ProviderUnload(info));
    EXPECT_EQ(refusal(), vocabulary::Refused::noSuchProvider);
    EXPECT_FALSE(controller.ProviderUnload(providers()[0]));
    EXPECT_EQ(refusal(), vocabulary::Refused::embeddedProvider);

    info.*providerField::isRemembered = false;
    ASSERT_TRUE(controller.ProviderLoad(info));
    EXPECT_TRUE(controller.ProviderLevelUp(info)) << "which stores the list";
    service.terminate();
    service.start();
    connect();
    EXPECT_EQ(providers().size(), 1U);
}

TEST_F(TheService, AnswersUnknownCommandsByName) {
    BridgeSession* session = SessionsPool::GetSession(SessionTokens);
    EXPECT_FALSE(session->__SendCommand(static_cast<ModuleIdType>(99), 1, nullptr, 0, nullptr));
    EXPECT_EQ(bridge::lastFailure().text(), "this service has no module 99");
    EXPECT_FALSE(session->__SendCommand(ModuleTokens, 9, nullptr, 0, nullptr));
    EXPECT_EQ(bridge::lastFailure().text(), "module 6 has no command 9");
    EXPECT_FALSE(session->__SendCommand(ModuleTokens, 2, "abc", 3, nullptr));
    EXPECT_EQ(bridge::lastFailure().text(), "the request ends early");
}

TEST_F(TheService, WritesAnAuditLineWithoutSecretsForWhatActs) {
    initialized("audited");
    EXPECT_FALSE(controller.TokenLogin(token("audited"), "a-wrong-pin", false, nullptr));
    EXPECT_TRUE(controller.TokenLogin(token("audited"), "user-1", false, nullptr));
    const platform::ChildResult ended = service.terminate();
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.error, HasSubstr("TokenInitialize token \"\""));
    EXPECT_THAT(ended.error, HasSubstr("TokenLogin token \"audited\""));
    EXPECT_THAT(ended.error, HasSubstr(": failed"));
    EXPECT_THAT(ended.error, HasSubstr(": done"));
    for (const char* secret : {"a-wrong-pin", "user-1", "so-pin-1"}) EXPECT_THAT(ended.error, Not(HasSubstr(secret)));
}

// Whoever names an object could write what he likes into the log.
TEST_F(TheService, WritesNamesIntoTheLogSoThatNoneLooksLikeAnOutcome) {
    TokenInfo forged;
    forged.*tokenField::label =
        "x\": done\n2026-01-01T00:00:00Z audit: root \u202E\u200B" + std::string(1000 << 10, 'y');
    EXPECT_FALSE(controller.TokenLogin(forged, "1234", false, nullptr));
    const std::string log = service.terminate().error;
    EXPECT_THAT(log,
                HasSubstr("TokenLogin token \"x\\\": done\\x0A2026-01-01T00:00:00Z audit: root \\u{202E}\\u{200B}yy"));
    EXPECT_THAT(log, HasSubstr("...\" (\"\"): refused"));
    EXPECT_THAT(log, Not(HasSubstr("\naudit: root \u202E")));
    EXPECT_LT(log.size(), 20'000U);
}

TEST_F(TheService, SharesItsStateFolderWithNoOther) {
    platform::ChildOptions second;
    second.arguments = {builtProgram("panelkitd"), "--endpoint", service.folder().file("second"), "--state",
                        service.state()};
    const platform::ChildResult refused = platform::runChild(second, std::chrono::seconds(30));
    EXPECT_EQ(refused.ending, platform::Ending::exited);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.error, HasSubstr(service.state() + ": another panelkitd keeps its state in this folder"));
    EXPECT_EQ(tokens().size(), 1U) << "the first serves on";

    service.kill();
    service.start(); // the lock of a killed service is released
}

} // namespace
