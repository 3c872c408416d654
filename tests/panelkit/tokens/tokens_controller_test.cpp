// SPDX-License-Identifier: MIT
#include <panelkit/tokens/tokens_controller.h>

#include "../../support/operations.h"

#include <type_traits>

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

namespace {

// Each record once, with its bytes.
const ProviderInfo provider{"N", "/m.so", "", "", "", "", 2, true, true, false, ""};
const char* const providerBytes = "01 00 00 00 'N'  05 00 00 00 '/m.so'  00 00 00 00  00 00 00 00  00 00 00 00 "
                                  "00 00 00 00  02 00 00 00  01 01 00  00 00 00 00";
// The same with flagB cleared.
const char* const answeredBytes = "01 00 00 00 'N'  05 00 00 00 '/m.so'  00 00 00 00  00 00 00 00  00 00 00 00 "
                                  "00 00 00 00  02 00 00 00  01 00 00  02 00 00 00 'no'";

const std::string success("\1", 1);

class ATokensController : public WithOperations {
protected:
    Hooked<VpnTokensController> controller;
    std::vector<ProviderInfo> providers;
    std::vector<TokenInfo> tokens;
    ProviderInfo loaded;

    // clang-format off
    const Operations operations{
        {Command::EnumProviders,       "", joined({"02 00 00 00", providerBytes, answeredBytes}),
         [this] { return controller.EnumProviders(providers); }},
        {Command::EnumProviderTokens,  "", hex("00 00 00 00"),
         [this] { return controller.EnumProviderTokens(nullptr, tokens); }},
        {Command::EnumProviderTokens,  std::string(35, '\0'), joined({"02 00 00 00", tokenBytes, tokenBytes}),
         [this] { return controller.EnumProviderTokens(ProviderInfo(), tokens); }},
        {Command::EnumProviderTokens,  joined({providerBytes}), joined({"01 00 00 00", tokenBytes}),
         [this] { return controller.EnumProviderTokens(&provider, tokens); }},
        {Command::TokenLogin,          joined({tokenBytes, "04 00 00 00 '1234'  01"}), success,
         [this] { return controller.TokenLogin(token, "1234", true, nullptr); }},
        {Command::TokenLogout,         joined({tokenBytes}), "", [this] { return controller.TokenLogout(token); }},
        {Command::TokenInitialize,     joined({tokenBytes, "01 00 00 00 'a'  00 00 00 00  02 00 00 00 'cc'  00"}), success,
         [this] { return controller.TokenInitialize(token, "a", "", "cc", false); }},
        {Command::TokenChangePassword, joined({tokenBytes, "03 00 00 00 'old'  03 00 00 00 'new'  01 00"}), success,
         [this] { return controller.TokenChangePassword(token, "old", "new", true, false); }},
        {Command::ProviderLoad,        joined({providerBytes}), joined({"01", answeredBytes}),
         [this] { loaded = provider; return controller.ProviderLoad(loaded); }},
        {Command::ProviderUnload,      joined({providerBytes}), "", [this] { return controller.ProviderUnload(provider); }},
        {Command::ProviderLevelUp,     joined({providerBytes}), "", [this] { return controller.ProviderLevelUp(provider); }},
        {Command::TokensReloadAll,     "", "", [this] { return controller.ReloadAll(); }},
        {Command::InitTokenRNG,        joined({tokenBytes, "04 00 00 00 00 01 fe ff"}), success,
         [this] { return controller.InitTokenRNG(token, std::string("\0\1\xfe\xff", 4)); }},
    };
    // clang-format on
};

TEST_F(ATokensController, SendsEachRequestByteForByteAndReadsItsReply) {
    providers.resize(5);
    expectRequests(operations, "Tokens");
    ASSERT_EQ(providers.size(), 2U);
    EXPECT_EQ(providers[0], provider);
    EXPECT_EQ(providers[1].str7, "no");
    EXPECT_EQ(tokens, std::vector{token});
    EXPECT_EQ(loaded.str7, "no");
}

TEST_F(ATokensController, ThrowsOnEveryReplyThatEndsEarlyAndGivesItsSessionBack) {
    expectThrowAtEveryCut(operations);
    EXPECT_EQ(service->opened().size(), 1U) << "the same session served all";
    answer(Command::EnumProviders, hex("ff ff ff ff 00 00 00 00 00 00 00 00 00 00 00 00"));
    providers.clear();
    EXPECT_THROW(controller.EnumProviders(providers), const char*);
    EXPECT_TRUE(providers.empty());
}

TEST_F(ATokensController, LeavesItsOutputsAloneWhenItFails) {
    providers.resize(2);
    tokens.resize(3);
    expectFailures(operations);
    killService();
    for (const Operation& row : operations) EXPECT_FALSE(row.run()) << "without a service";
    EXPECT_EQ(providers.size(), 2U);
    EXPECT_EQ(tokens.size(), 3U);
    CommandSender::Instance().SetEndpoint("");
    closePooledSessions();
    for (const Operation& row : operations) EXPECT_FALSE(row.run()) << "without a session";
    EXPECT_EQ(loaded, provider) << "without a session nothing is touched";
}

TEST_F(ATokensController, CallsItsHookDuringLongCommandsOverASessionOfTheirOwn) {
    class Watcher : public VpnTokensController {
    public:
        void OnExecuteCommand(const SendCommandProgress& progress) override {
            locked += SessionsPool::GetSession(SessionTokens) != progress.session;
            SessionsPool::CloseSession(SessionTokens);
        }
        int locked = 0;
    } watcher;
    service->on(Command::TokenInitialize, Reaction::reply(success).after(std::chrono::milliseconds(300)));
    service->on(Command::TokensReloadAll, Reaction::reply("").after(std::chrono::milliseconds(300)));
    EXPECT_TRUE(watcher.TokenInitialize(token, "a", "b", "c", false));
    EXPECT_GT(watcher.locked, 0);
    watcher.locked = 0;
    EXPECT_TRUE(watcher.ReloadAll());
    EXPECT_GT(watcher.locked, 0);
}

TEST_F(ATokensController, TakesOnlyTheStatusOneForSuccess) {
    for (const Operation& row : operations) {
        if (row.reply != success) continue;
        for (const char status : {'\0', '\2', '\xff'}) {
            answer(row.command, std::string(1, status));
            EXPECT_FALSE(row.run()) << panelkit::commandRow(row.command).name;
        }
    }
    answer(Command::TokenChangePassword, "\1and more");
    EXPECT_TRUE(controller.TokenChangePassword(token, "a", "b", false, false));
}

TEST_F(ATokensController, FillsTheMessageOfARefusedLogIn) {
    const auto login = [&](const std::string& reply, PinStateMessage* message) {
        service->on(Command::TokenLogin, Reaction::reply(reply));
        return controller.TokenLogin(token, "1234", false, message);
    };
    const std::string refusal = hex("00  05 00 00 00 'Wrong'  02 00 00 00 'PI'");
    PinStateMessage message{"kept", "kept"};
    EXPECT_FALSE(login(std::string(1, '\0'), &message));
    EXPECT_TRUE(login("\1" + refusal.substr(1), &message));
    EXPECT_EQ(message, (PinStateMessage{"kept", "kept"}));
    EXPECT_FALSE(login(refusal, nullptr));
    EXPECT_FALSE(login(refusal, &message));
    EXPECT_EQ(message, (PinStateMessage{"Wrong", "PI"}));
    EXPECT_THROW(login("", &message), const char*);
    for (std::size_t length = 2; length < refusal.size(); ++length) {
        EXPECT_THROW(login(refusal.substr(0, length), &message), const char*) << length;
    }
}

TEST_F(ATokensController, ClearsFlagBOfALoadedProviderAndTakesWhatComesBack) {
    ProviderInfo record = provider;
    answer(Command::ProviderLoad, joined({"00", answeredBytes}));
    EXPECT_FALSE(controller.ProviderLoad(record));
    EXPECT_EQ(record.str7, "no") << "the record is read whatever the status";
    record = provider;
    answer(Command::ProviderLoad, success);
    EXPECT_THROW(controller.ProviderLoad(record), const char*);
    EXPECT_FALSE(record.flagB);
    record = provider;
    service->on(Command::ProviderLoad, Reaction::refuse());
    EXPECT_FALSE(controller.ProviderLoad(record));
    EXPECT_FALSE(record.flagB);
    EXPECT_EQ(record.str2, "/m.so");
}

TEST(TokensControllers, AreIdleLoopsThatCopyFreely) {
    static_assert(std::is_base_of_v<SendCommandProgress::IdleLoop, VpnTokensController>);
    static_assert(std::is_base_of_v<VpnTokensController, CLIVpnTokensController>);
    static_assert(std::is_copy_assignable_v<CLIVpnTokensController> &&
                  std::is_move_constructible_v<VpnTokensController>);
    static_assert(sizeof(CLIVpnTokensController) == sizeof(void*), "nothing besides the virtual table");
    CLIVpnTokensController one;
    CLIVpnTokensController two(one);
    two = std::move(one);
    SendCommandProgress progress(nullptr, ModuleTokens, 0, &two);
    testing::internal::CaptureStdout();
    two.OnExecuteCommand(progress);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "token commands draw no dots";
}

} // namespace
