// SPDX-License-Identifier: MIT
//
// Providers and tokens, through the library, a real service and SoftHSM2.
#include "with_service.h"

namespace providerField = vocabulary::provider;
namespace tokenField = vocabulary::token;
namespace flag = vocabulary::tokenFlag;

namespace {

class TheService : public WithService {
protected:
    TheService() : WithService({}) {}
    TokenInfo initialized(const std::string& label) {
        EXPECT_TRUE(tokens.TokenInitialize(token(""), label, "so-pin-1", "user-1", false))
            << bridge::lastFailure().text();
        return token(label);
    }
};

TEST_F(TheService, ListsTheEmbeddedProviderAndItsEmptyToken) {
    const auto loaded = providers();
    ASSERT_EQ(loaded.size(), 1U);
    EXPECT_EQ(loaded[0].*providerField::name, "embedded");
    EXPECT_TRUE(loaded[0].*providerField::isLoaded);
    EXPECT_TRUE(loaded[0].*providerField::isEmbedded);
    EXPECT_EQ(loaded[0].*providerField::problem, "");
    EXPECT_THAT(loaded[0].*providerField::manufacturer, HasSubstr("SoftHSM"));
    EXPECT_EQ(loaded[0].*providerField::cryptokiVersion, "2.40");
    EXPECT_EQ(loaded[0].*providerField::tokenCount, 1U);

    const auto all = listed();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].*tokenField::label, "");
    EXPECT_EQ(all[0].*tokenField::provider, "embedded");
    EXPECT_FALSE(all[0].flags & flag::initialized);
    std::vector<TokenInfo> ofProvider;
    EXPECT_TRUE(tokens.EnumProviderTokens(loaded[0], ofProvider));
    EXPECT_EQ(ofProvider, all);
}

TEST_F(TheService, InitializesATokenLogsInAndChangesItsPin) {
    const TokenInfo office = initialized("Office, Büro");
    EXPECT_NE(office.*tokenField::serial, "");
    EXPECT_TRUE(office.flags & flag::initialized);
    EXPECT_TRUE(office.flags & flag::userPinInitialized);
    EXPECT_FALSE(office.flags & flag::loggedIn);

    PinStateMessage message;
    EXPECT_FALSE(tokens.TokenLogin(office, "wrong", false, &message));
    EXPECT_EQ(message.title, vocabulary::pinTitle::wrongPin);
    EXPECT_THAT(message.text, HasSubstr("The PIN is wrong."));
    EXPECT_TRUE(tokens.TokenLogin(office, "user-1", false, &message));
    EXPECT_TRUE(token("Office, Büro").flags & flag::loggedIn);
    EXPECT_TRUE(tokens.TokenLogout(office));
    EXPECT_FALSE(token("Office, Büro").flags & flag::loggedIn);
    EXPECT_FALSE(tokens.TokenLogout(office));
    EXPECT_EQ(refusal(), Refused::notLoggedIn);

    EXPECT_FALSE(tokens.TokenChangePassword(office, "wrong", "user-2", false, false));
    EXPECT_EQ(refusal(), Refused::wrongPin);
    EXPECT_FALSE(tokens.TokenChangePassword(office, "user-1", "x", false, false));
    EXPECT_EQ(refusal(), Refused::unfitPin);
    EXPECT_TRUE(tokens.TokenChangePassword(office, "user-1", "user-2", false, false)) << bridge::lastFailure().text();
    EXPECT_FALSE(tokens.TokenLogin(office, "user-1", false, nullptr));
    EXPECT_TRUE(tokens.TokenLogin(office, "user-2", false, nullptr));
    EXPECT_FALSE(tokens.TokenChangePassword(office, "so-pin-1", "so-pin-2", true, false));
    EXPECT_EQ(refusal(), Refused::otherUserIsIn);
    EXPECT_TRUE(tokens.TokenLogout(office));
    EXPECT_TRUE(tokens.TokenChangePassword(office, "so-pin-1", "so-pin-2", true, false))
        << bridge::lastFailure().text();
    EXPECT_TRUE(tokens.InitTokenRNG(office, "some seed"));
}

TEST_F(TheService, ErasesATokenOnlyWhenToldSo) {
    const TokenInfo first = initialized("first");
    EXPECT_FALSE(tokens.TokenInitialize(first, "second", "so-pin-1", "user-1", false));
    EXPECT_EQ(refusal(), Refused::wouldErase);
    EXPECT_FALSE(tokens.TokenInitialize(first, "second", "wrong-so-pin", "user-1", true));
    EXPECT_EQ(refusal(), Refused::wrongPin);
    EXPECT_FALSE(tokens.TokenInitialize(first, std::string(33, 'x'), "so-pin-1", "user-1", true));
    EXPECT_EQ(refusal(), Refused::badInput);
    ASSERT_TRUE(tokens.TokenLogin(token("first"), "user-1", false, nullptr));
    EXPECT_TRUE(tokens.TokenInitialize(first, "second", "so-pin-1", "user-1", true)) << bridge::lastFailure().text();
    EXPECT_FALSE(tokens.TokenLogin(first, "user-1", false, nullptr));
    EXPECT_EQ(refusal(), Refused::noSuchToken);
    EXPECT_TRUE(tokens.TokenLogin(token("second"), "user-1", false, nullptr));
}

// Slot ids are not stable over restarts: SoftHSM2 makes new ones.
TEST_F(TheService, FindsATokenAgainAfterARestartAndLosesTheLogIn) {
    const TokenInfo before = initialized("kept");
    ASSERT_TRUE(tokens.TokenLogin(before, "user-1", false, nullptr));
    service.kill();
    service.start();
    EXPECT_FALSE(tokens.TokenLogout(before)) << "the first command goes to the dead connection";
    const TokenInfo after = token("kept");
    EXPECT_NE(after.slotId, before.slotId);
    EXPECT_FALSE(after.flags & flag::loggedIn);
    EXPECT_TRUE(tokens.TokenLogin(before, "user-1", false, nullptr)) << "named as it was listed before";
}

TEST_F(TheService, LoadsAgainWhatItIsTold) {
    const TokenInfo kept = initialized("kept");
    ASSERT_TRUE(tokens.TokenLogin(kept, "user-1", false, nullptr));
    EXPECT_TRUE(tokens.ReloadAll()) << bridge::lastFailure().text();
    EXPECT_FALSE(token("kept").flags & flag::loggedIn);
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
    EXPECT_FALSE(tokens.TokenLogin(token("audited"), "a-wrong-pin", false, nullptr));
    EXPECT_TRUE(tokens.TokenLogin(token("audited"), "user-1", false, nullptr));
    const platform::ChildResult ended = service.terminate();
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
    EXPECT_FALSE(tokens.TokenLogin(forged, "1234", false, nullptr));
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
    EXPECT_EQ(listed().size(), 1U) << "the first serves on";

    service.kill();
    service.start(); // the lock of a killed service is released
}

} // namespace
