// SPDX-License-Identifier: MIT
#include <panelkit/tokens/tokens_controller.h>

#include "../../support/bytes.h"
#include "../../support/service_fixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <type_traits>

using panelkit::Command;
using panelkit::testing::Reaction;
using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;

namespace {

// Each record once, with its bytes.
const TokenInfo token{7, "Lab", "S1", "", "P", 0x40D};
const char* const tokenBytes = "07 00 00 00 00 00 00 00  03 00 00 00 'Lab'  02 00 00 00 'S1'  00 00 00 00 "
                               "01 00 00 00 'P'  0d 04 00 00";
const ProviderInfo provider{"N", "/m.so", "", "", "", "", 2, true, true, false, ""};
const char* const providerBytes = "01 00 00 00 'N'  05 00 00 00 '/m.so'  00 00 00 00  00 00 00 00  00 00 00 00 "
                                  "00 00 00 00  02 00 00 00  01 01 00  00 00 00 00";
// The same with flagB cleared.
const char* const answeredBytes = "01 00 00 00 'N'  05 00 00 00 '/m.so'  00 00 00 00  00 00 00 00  00 00 00 00 "
                                  "00 00 00 00  02 00 00 00  01 00 00  02 00 00 00 'no'";

std::string joined(std::initializer_list<const char*> parts) {
    std::string text;
    for (const char* part : parts) text.append(part).append(" ");
    return hex(text);
}

const std::string success("\1", 1);

class ATokensController : public WithScriptedService {
protected:
    // Runs an operation against the reply, and checks the command and the bytes that were sent.
    bool sends(Command command, const std::string& payload, const std::string& reply,
               const std::function<bool()>& operation) {
        service->on(command, Reaction::reply(reply));
        const bool result = operation();
        const auto requests = service->requests();
        if (requests.empty()) {
            ADD_FAILURE() << "nothing was sent";
            return result;
        }
        EXPECT_EQ(requests.back().session, "Tokens");
        EXPECT_EQ(requests.back().module, 6U);
        EXPECT_EQ(requests.back().command, panelkit::commandRow(command).code);
        EXPECT_EQ(toHex(requests.back().payload), toHex(payload));
        return result;
    }

    VpnTokensController controller;
};

TEST_F(ATokensController, SendsEachRequestByteForByte) {
    std::vector<ProviderInfo> providers;
    std::vector<TokenInfo> tokens;
    EXPECT_TRUE(
        sends(Command::EnumProviders, "", hex("00 00 00 00"), [&] { return controller.EnumProviders(providers); }));
    EXPECT_TRUE(sends(Command::EnumProviderTokens, "", hex("00 00 00 00"),
                      [&] { return controller.EnumProviderTokens(nullptr, tokens); }));
    EXPECT_TRUE(sends(Command::EnumProviderTokens, std::string(35, '\0'), hex("00 00 00 00"),
                      [&] { return controller.EnumProviderTokens(ProviderInfo(), tokens); }));
    EXPECT_TRUE(sends(Command::TokenLogin, joined({tokenBytes, "04 00 00 00 '1234'  01"}), success,
                      [&] { return controller.TokenLogin(token, "1234", true, nullptr); }));
    EXPECT_TRUE(sends(Command::TokenLogout, joined({tokenBytes}), "", [&] { return controller.TokenLogout(token); }));
    EXPECT_TRUE(sends(Command::TokenInitialize,
                      joined({tokenBytes, "01 00 00 00 'a'  00 00 00 00  02 00 00 00 'cc'  00"}), success,
                      [&] { return controller.TokenInitialize(token, "a", "", "cc", false); }));
    EXPECT_TRUE(sends(Command::TokenChangePassword, joined({tokenBytes, "03 00 00 00 'old'  03 00 00 00 'new'  01 00"}),
                      success, [&] { return controller.TokenChangePassword(token, "old", "new", true, false); }));
    EXPECT_TRUE(sends(Command::ProviderUnload, joined({providerBytes}), "",
                      [&] { return controller.ProviderUnload(provider); }));
    EXPECT_TRUE(sends(Command::ProviderLevelUp, joined({providerBytes}), "",
                      [&] { return controller.ProviderLevelUp(provider); }));
    EXPECT_TRUE(sends(Command::TokensReloadAll, "", "", [&] { return controller.ReloadAll(); }));
    EXPECT_TRUE(sends(Command::InitTokenRNG, joined({tokenBytes, "04 00 00 00 00 01 fe ff"}), success,
                      [&] { return controller.InitTokenRNG(token, std::string("\0\1\xfe\xff", 4)); }));
}

// Whatever the service sends back.
TEST_F(ATokensController, LooksOnlyAtWhetherSomeCommandsWereAnswered) {
    for (const std::string reply : {"", "junk", "\1"}) {
        for (const Command command :
             {Command::TokenLogout, Command::ProviderUnload, Command::ProviderLevelUp, Command::TokensReloadAll}) {
            service->on(command, Reaction::reply(reply));
        }
        EXPECT_TRUE(controller.TokenLogout(token)) << reply;
        EXPECT_TRUE(controller.ProviderUnload(provider)) << reply;
        EXPECT_TRUE(controller.ProviderLevelUp(provider)) << reply;
        EXPECT_TRUE(controller.ReloadAll()) << reply;
    }
}

// Looks at the session of the command in progress.
class Watcher : public VpnTokensController {
public:
    void OnExecuteCommand(const SendCommandProgress& progress) override {
        isLocked = SessionsPool::GetSession(SessionTokens) != progress.session;
        ++calls;
    }
    bool isLocked = false;
    std::atomic<int> calls = 0;
};

TEST_F(ATokensController, CallsItsHookDuringLongCommandsOverASessionOfTheirOwn) {
    Watcher watcher;
    const std::pair<Command, std::function<bool()>> commands[] = {
        {Command::TokenInitialize, [&] { return watcher.TokenInitialize(token, "a", "b", "c", false); }},
        {Command::TokensReloadAll, [&] { return watcher.ReloadAll(); }},
    };
    for (const auto& [command, run] : commands) {
        watcher.calls = 0;
        service->on(command, [&](const auto&) { // answered when the hook was called
            for (int i = 0; i < 200 && watcher.calls == 0; ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            return Reaction::reply(success);
        });
        EXPECT_TRUE(run());
        EXPECT_GT(watcher.calls, 0);
        EXPECT_TRUE(watcher.isLocked);
        closePooledSessions();
    }
}

TEST_F(ATokensController, ReadsListingsInPlace) {
    const std::string reply = joined({"02 00 00 00", providerBytes, answeredBytes});
    std::vector<ProviderInfo> providers(5);
    EXPECT_TRUE(sends(Command::EnumProviders, "", reply, [&] { return controller.EnumProviders(providers); }));
    ASSERT_EQ(providers.size(), 2U);
    EXPECT_EQ(providers[0], provider);
    EXPECT_EQ(providers[1].str7, "no");

    std::vector<TokenInfo> tokens;
    EXPECT_TRUE(sends(Command::EnumProviderTokens, joined({providerBytes}), joined({"01 00 00 00", tokenBytes}),
                      [&] { return controller.EnumProviderTokens(&provider, tokens); }));
    EXPECT_EQ(tokens, std::vector{token});
}

TEST_F(ATokensController, TakesOnlyTheStatusOneForSuccess) {
    for (const char status : {'\0', '\2', '\xff'}) {
        service->on(Command::TokenChangePassword, Reaction::reply(std::string(1, status)));
        EXPECT_FALSE(controller.TokenChangePassword(token, "a", "b", false, false));
        service->on(Command::TokenInitialize, Reaction::reply(std::string(1, status)));
        EXPECT_FALSE(controller.TokenInitialize(token, "a", "b", "c", false));
        service->on(Command::InitTokenRNG, Reaction::reply(std::string(1, status)));
        EXPECT_FALSE(controller.InitTokenRNG(token, "seed"));
    }
    service->on(Command::TokenChangePassword, Reaction::reply("\1and more"));
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
    const auto load = [&](const std::string& reply, ProviderInfo& record) {
        return sends(Command::ProviderLoad, joined({providerBytes}), reply,
                     [&] { return controller.ProviderLoad(record); });
    };
    ProviderInfo record = provider;
    EXPECT_TRUE(load(joined({"01", answeredBytes}), record));
    EXPECT_EQ(record.str7, "no");
    record = provider;
    EXPECT_FALSE(load(joined({"00", answeredBytes}), record));
    EXPECT_EQ(record.str7, "no") << "the record is read whatever the status";

    record = provider;
    EXPECT_THROW(load("\1", record), const char*);
    EXPECT_FALSE(record.flagB);

    record = provider;
    service->on(Command::ProviderLoad, Reaction::refuse());
    EXPECT_FALSE(controller.ProviderLoad(record));
    EXPECT_FALSE(record.flagB);
    EXPECT_EQ(record.str2, "/m.so");

    record = provider;
    closePooledSessions();
    CommandSender::Instance().SetEndpoint("");
    EXPECT_FALSE(controller.ProviderLoad(record));
    EXPECT_EQ(record, provider) << "without a session nothing is touched";
}

TEST_F(ATokensController, ThrowsOnEveryReplyThatEndsEarly) {
    const std::string listing = joined({"02 00 00 00", tokenBytes, tokenBytes});
    std::vector<TokenInfo> tokens;
    std::vector<ProviderInfo> providers;
    for (std::size_t length = 0; length < listing.size(); ++length) {
        service->on(Command::EnumProviderTokens, Reaction::reply(listing.substr(0, length)));
        EXPECT_THROW(controller.EnumProviderTokens(nullptr, tokens), const char*) << length;
    }
    service->on(Command::EnumProviders, Reaction::reply(hex("ff ff ff ff 00 00 00 00 00 00 00 00 00 00 00 00")));
    EXPECT_THROW(controller.EnumProviders(providers), const char*);
    EXPECT_TRUE(providers.empty());
    for (const Command command : {Command::TokenInitialize, Command::TokenChangePassword, Command::InitTokenRNG}) {
        service->on(command, Reaction::reply(""));
    }
    EXPECT_THROW(controller.TokenInitialize(token, "", "", "", false), const char*);
    EXPECT_THROW(controller.TokenChangePassword(token, "", "", false, false), const char*);
    EXPECT_THROW(controller.InitTokenRNG(token, ""), const char*);
}

TEST_F(ATokensController, GivesItsSessionBackAlsoWhenTheReplyIsMalformed) {
    service->on(Command::TokenInitialize, Reaction::reply(""));
    EXPECT_THROW(controller.TokenInitialize(token, "", "", "", false), const char*);
    service->on(Command::TokensReloadAll, Reaction::reply(""));
    EXPECT_TRUE(controller.ReloadAll());
    EXPECT_EQ(service->opened().size(), 1U) << "the same session served both";
}

TEST_F(WithoutService, TokenOperationsAnswerFalseAndLeaveTheirOutputsAlone) {
    VpnTokensController controller;
    std::vector<ProviderInfo> providers(2);
    std::vector<TokenInfo> tokens(3);
    PinStateMessage message{"kept", "kept"};
    EXPECT_FALSE(controller.EnumProviders(providers));
    EXPECT_FALSE(controller.EnumProviderTokens(nullptr, tokens));
    EXPECT_FALSE(controller.TokenLogin(token, "", false, &message));
    EXPECT_FALSE(controller.TokenLogout(token));
    EXPECT_FALSE(controller.TokenInitialize(token, "", "", "", true));
    EXPECT_FALSE(controller.ProviderUnload(provider));
    EXPECT_FALSE(controller.ProviderLevelUp(provider));
    EXPECT_FALSE(controller.ReloadAll());
    EXPECT_EQ(providers.size(), 2U);
    EXPECT_EQ(tokens.size(), 3U);
    EXPECT_EQ(message.text, "kept");

    CommandSender::Instance().SetEndpoint("");
    closePooledSessions();
    EXPECT_FALSE(controller.ReloadAll()) << "a null session";
    EXPECT_FALSE(controller.TokenLogout(token));
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
