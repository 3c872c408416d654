// SPDX-License-Identifier: MIT
//
// panelctl against the scripted service: what it prints, and how it fails. Runs under Wine too.
#include "../support/panelctl_fixture.h"
#include "../support/places.h"

#include <panelkit/net/interface_records.h>
#include <panelkit/tokens/token_records.h>
#include <vocabulary/interfaces.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <iterator>

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
namespace flag = vocabulary::tokenFlag;
namespace state = vocabulary::interfaceState;

namespace {

class Panelctl : public PanelctlTest {
protected:
    Panelctl() {
        service.answer<Command::EnumProviderTokens>(tokens);
        service.answer<Command::EnumProviders>(providers);
    }
    const std::uint32_t ready = flag::initialized | flag::userPinInitialized;
    const std::vector<TokenInfo> tokens{{1, "Office", "A1", "Acme, X", "embedded", ready},
                                        {2, "東京 %s\x1B[2J", "B2", "", "card", ready | flag::loggedIn},
                                        {3, "Office", "C3", "", "card", ready | flag::userPinFinalTry}};
    const std::vector<ProviderInfo> providers{
        {"embedded", "/m.so", "M", "Soft", "2.6", "2.40", 2, true, true, true, ""},
        {"card", "/c.so", "", "", "", "", 0, false, true, false, "it crashed"}};
};

TEST_F(Panelctl, ListsTokensInAlignedColumnsAndEscapesTheirTexts) {
    const auto result = run({"token", "list"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "LABEL           SERIAL  PROVIDER  MODEL    STATE\n"
                             "Office          C3      card               ready, one PIN try remains\n"
                             "Office          A1      embedded  Acme, X  ready\n"
                             "東京 %s\\x1B[2J  B2      card               logged in\n");
    EXPECT_EQ(result.error, "");
}

TEST_F(Panelctl, ListsTokensAsJsonAsTheyAre) {
    const auto list = json({"token", "list"});
    expectHolds(list, R"([{"pin": "final-try"}, {}, {"schema": 1, "label": "東京 %s\u001b[2J", "loggedIn": true}])");
    EXPECT_EQ(nlohmann::json::parse(run({"--json", "token", "list"}).output), list)
        << "options go before the verb, too";
}

TEST_F(Panelctl, ListsProvidersWithTheirProblems) {
    const auto result = run({"provider", "list"});
    EXPECT_EQ(result.output, "NAME      TOKENS  MODULE    PATH   STATE\n"
                             "embedded  2       Soft 2.6  /m.so  embedded\n"
                             "card      0                 /c.so  not loaded: it crashed\n");
    EXPECT_EQ(json({"provider", "list"})[1]["problem"], "it crashed");
}

TEST_F(Panelctl, TellsEachUsualMistakeInOneLineWithACodeOfItsOwn) {
    expectError(run({"tokn"}), 2, "\"tokn\" is not understood; did you mean \"token\"?");
    expectError(run({"token", "lst"}), 2, "did you mean \"list\"?");
    expectError(run({"token"}), 2, "\"panelctl token\" needs one of: list, login");
    expectError(run({"token", "list", "--jsn"}), 2, "did you mean \"--json\"?");
    expectError(run({"token", "init", "A1"}), 2, "--label is required");
    expectError(run({"token", "init", "A1", "--label"}), 2, "--label needs a value");
    expectError(run({"token", "init", "A1", "--label", "x", "--endpoint"}), 2, "--endpoint needs a value");
    expectError(run({"watch", "--count", "1", "--count", "1.5"}), 2, "\"1.5\" is not a valid value for --count");
    expectError(run({"token", "list", "--json=maybe"}), 2, "\"maybe\" is not a valid value for --json");
    expectError(run({"token", "login", "A1"}), 2,
                "the PIN is missing and there is no terminal to ask for it; use --pin-stdin");
    expectError(run({"token", "login", "A1", "--pin-stdin", "--pin-fd", "0"}), 2, "in more than one way");
    expectError(run({"token", "logout", "Ofice"}), 10, "there is no token \"Ofice\"; did you mean \"Office\"?");
    expectError(run({"token", "logout", "Office"}), 11, "\"Office\" is the name of several tokens");
    expectError(run({"token", "logout", "Office"}), 11, "\n  pkcs11:model=;manufacturer=;serial=C3");
    expectError(run({"token", "logout"}), 11, "there are several tokens");
    expectError(run({"provider", "unload", "cart"}), 10, "did you mean \"card\"?");
    expectError(run({"token", "login", "A1", "--pin-stdin"}, "\n"), 12, "the PIN is empty");
    expectError(run({"token", "login", "A1", "--pin-stdin"}, ""), 12, "the PIN can't be read from standard input");
    expectError(run({"token", "login", "A1", "--pin-file", "no-such-file"}), 12, "no-such-file");
    for (const auto& request : service.requests()) EXPECT_LE(request.command, 1U) << "nothing but listings was sent";
}

TEST_F(Panelctl, MapsWhatTheServiceSaysToExitCodes) {
    const auto logout = [&](const Reaction& reaction) {
        service.on(Command::TokenLogout, reaction);
        return run({"--timeout", "0.3", "token", "logout", "A1"});
    };
    using vocabulary::Refused;
    const auto refuse = [](Refused why) { return Reaction::refuse("why", static_cast<std::uint32_t>(why)); };
    expectError(logout(refuse(Refused::notLoggedIn)), 24, "why");
    expectError(logout(refuse(Refused::noSuchToken)), 10, "why");
    expectError(logout(refuse(Refused::deviceError)), 34, "why");
    expectError(logout(Reaction::silence()), 5, "the service does not answer");
    expectError(logout(Reaction::cutBefore()), 6, "the connection to the service was lost");
    service.on(Command::EnumProviderTokens, Reaction::reply("short"));
    expectError(run({"token", "list"}), 6, "the service sent an incomplete reply");
    service.greet({.verdict = 2, .text = "you are not known here"});
    expectError(run({"token", "list"}), 4, "you are not known here");
    service.greet({.version = 9, .verdict = 1});
    expectError(run({"token", "list"}), 7, "version 9");
}

TEST_F(Panelctl, SaysThatTheServiceIsNotThere) {
    expectError(panelctl(panelkit::testing::uniqueEndpoint(), {"token", "list"}), 3, "the service isn't running");
}

TEST_F(Panelctl, LogsInWithThePinFromStandardInput) {
    service.answer<Command::TokenLogin>(true);
    const auto result = run({"token", "login", "A1", "--pin-stdin"}, "12 34\r\nnot this line\n");
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.output, "Logged in to token \"Office\".\n");
    EXPECT_EQ(service.requests().back().payload, encoded(tokens[0], std::string("12 34"), false));
}

TEST_F(Panelctl, TakesSecretsUpToTheirLongest) {
    service.answer<Command::TokenLogin>(true);
    EXPECT_EQ(run({"token", "login", "A1", "--pin-stdin"}, std::string(1024, '1') + "\n").status, 0);
    expectError(run({"token", "login", "A1", "--pin-stdin"}, std::string(1025, '1') + "\n"), 12, "longer than 1024");
}

TEST_F(Panelctl, SaysWhyALogInIsRefused) {
    const auto refusal = [&](const char* title) {
        service.answer<Command::TokenLogin>(false, PinStateMessage{title, "Because."});
        return run({"token", "login", "A1", "--pin-stdin"}, "1234\n");
    };
    expectError(refusal(vocabulary::pinTitle::wrongPin), 20, "Because.");
    expectError(refusal(vocabulary::pinTitle::locked), 21, "Because.");
    expectError(refusal(vocabulary::pinTitle::finalTry), 22, "Because.");
}

TEST_F(Panelctl, UsesTheFinalTryOfAPinOnlyWithFinalTry) {
    service.answer<Command::TokenLogin>(true);
    expectError(run({"token", "login", "C3", "--pin-stdin"}, "1234\n"), 22, "use --final-try to try anyway");
    EXPECT_EQ(run({"token", "login", "C3", "--pin-stdin", "--final-try"}, "1234\n").status, 0);
    EXPECT_EQ(service.requests().back().payload, encoded(tokens[2], std::string("1234"), true));
}

TEST_F(Panelctl, ErasesNoTokenWithoutConfirmation) {
    const std::string pins = "so-pin-1\nuser-1\n";
    expectError(run({"token", "init", "A1", "--label", "New", "--so-pin-stdin", "--pin-stdin"}, pins), 26,
                "use --yes to erase it without confirmation");
    service.answer<Command::TokenInitialize>(true);
    EXPECT_EQ(run({"token", "init", "A1", "--label", "New", "--so-pin-stdin", "--pin-stdin", "--yes"}, pins).status, 0);
    EXPECT_EQ(service.requests().back().payload,
              encoded(tokens[0], std::string("New"), std::string("so-pin-1"), std::string("user-1"), true));
}

// The guard of each PIN, and the state of each in JSON.
TEST_F(Panelctl, KnowsTheTriesOfBothPins) {
    const auto listed = [&](std::uint32_t flags) {
        service.answer<Command::EnumProviderTokens>(std::vector<TokenInfo>{{1, "Office", "A1", "", "card", flags}});
        const auto token = json({"token", "list"}).at(0);
        return token["pin"].dump() + token["soPin"].dump();
    };
    EXPECT_EQ(listed(0), "nullnull");
    EXPECT_EQ(listed(ready), R"("ok""ok")");
    EXPECT_EQ(listed(ready | flag::userPinCountLow | flag::soPinLocked), R"("wrong-before""locked")");
    EXPECT_EQ(listed(ready | flag::userPinLocked | flag::userPinFinalTry), R"("locked""ok")");
    EXPECT_EQ(listed(ready | flag::soPinFinalTry | flag::soPinCountLow), R"("ok""final-try")");
    service.answer<Command::TokenChangePassword>(true);
    const std::vector<std::string> change{"token", "change-pin", "A1", "--pin-stdin", "--new-pin-stdin"};
    EXPECT_EQ(run(change, "so-pin-1\nso-pin-2\n").status, 0) << "of the user";
    std::vector<std::string> ofOfficer = change;
    ofOfficer.emplace_back("--so");
    expectError(run(ofOfficer, "so-pin-1\nso-pin-2\n"), 22, "use --final-try to try anyway");
}

TEST_F(Panelctl, ErasesNoTokenThatWasExchangedMeanwhile) {
    std::atomic<int> listings = 0;
    service.on(Command::EnumProviderTokens, [&](const panelkit::testing::Received&) {
        return Reaction::reply(
            encoded(std::vector<TokenInfo>{{1, "Office", ++listings == 1 ? "A1" : "B2", "", "card", ready}}));
    });
    service.answer<Command::TokenInitialize>(true);
    expectError(
        run({"token", "init", "A1", "--label", "New", "--so-pin-stdin", "--pin-stdin", "--yes"}, "so-pin-1\nuser-1\n"),
        10, "the token has been replaced by another one; nothing was done");
    EXPECT_NE(service.requests().back().command,
              static_cast<long>(panelkit::commandRow(Command::TokenInitialize).code));
}

TEST_F(Panelctl, SaysWhomAReloadLogsOut) {
    service.on(Command::TokensReloadAll, Reaction::reply(""));
    const auto result = run({"token", "reload"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.error, HasSubstr("This logs the service out of: 東京 %s\\x1B[2J"));
}

TEST_F(Panelctl, SpeaksRussianToRussiansAndWhenAsked) {
    const std::string table = "МЕТКА           НОМЕР  ПРОВАЙДЕР  МОДЕЛЬ   СОСТОЯНИЕ\n"
                              "Office          C3     card                готов, осталась одна попытка ввода PIN-кода\n"
                              "Office          A1     embedded   Acme, X  готов\n"
                              "東京 %s\\x1B[2J  B2     card                вход выполнен\n";
    EXPECT_EQ(run({"token", "list", "--lang", "ru"}).output, table);
    EXPECT_EQ(run({"--lang=ru_RU.UTF-8", "token", "list"}).output, table);
    expectError(run({"--lang=ru", "tokn"}), 2, "непонятное слово \"tokn\"; возможно, имелось в виду \"token\"?");
    EXPECT_THAT(run({"--lang=ru", "token", "login", "--help"}).output,
                HasSubstr("Использование: panelctl token login"));
    EXPECT_THAT(run({"--lang=de", "token", "list"}).error, HasSubstr("there is no translation into \"de\""));
}

TEST_F(Panelctl, PrintsHelpForEveryVerbAndVersionsOfAllSides) {
    const auto version = run({"--version"});
    EXPECT_THAT(version.output, HasSubstr("service   scripted service"));
    EXPECT_THAT(run({}).output, HasSubstr("Verbs:"));
    EXPECT_THAT(run({"token", "init", "--help"}).output, HasSubstr("--so-pin-stdin"));
    EXPECT_EQ(run({"token", "--help"}).status, 0);
    EXPECT_EQ(run({"help"}).output, run({"--help"}).output);
    EXPECT_EQ(run({"--version", "--endpoint", "token", "--help"}).output, run({"--help"}).output);
    EXPECT_EQ(run({"help", "token", "init"}).output, run({"token", "init", "--help"}).output);
}

// To update the page: panelctl --manual > docs/man/panelctl.1
TEST_F(Panelctl, PrintsTheManualPageThatIsInTheTree) {
    std::ifstream file(sourceFile("docs/man/panelctl.1"), std::ios::binary);
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelctl"), "--manual"};
    options.environment["LC_ALL"] = "C.UTF-8";
    EXPECT_EQ(platform::runChild(options, std::chrono::seconds(60)).output,
              std::string(std::istreambuf_iterator<char>(file), {}));
}

// ---- network interfaces

class PanelctlNet : public PanelctlTest {
protected:
    platform::ChildResult list(const std::vector<NetInterfaceInfo>& interfaces,
                               const std::vector<std::string>& more = {}) {
        service.answer<Command::GetInterfaces>(interfaces);
        std::vector<std::string> arguments{"net", "list"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return panelctl(service.endpoint(), arguments);
    }

    const std::vector<NetInterfaceInfo> several{
        {"lo", "Loopback", "", {0x7F000001}, {0xFF000000}, state::up | state::running | state::loopback},
        {"Сеть\x1B[2J", "", "02:42:AC:11:00:02", {0xC0A80001, 0x0A000001}, {0xFFFFFF00}, state::up},
        {"tun0", "Tunnel", "", {}, {}, state::pointToPoint}};
};

TEST_F(PanelctlNet, ListsInterfacesInAlignedColumns) {
    const auto result = list(several);
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.output, "NAME         ADDRESSES              HARDWARE ADDRESS   DESCRIPTION  STATE\n"
                             "lo           127.0.0.1                                 Loopback     up\n"
                             "tun0                                                   Tunnel       down\n"
                             "Сеть\\x1B[2J  192.168.0.1, 10.0.0.1  02:42:AC:11:00:02               up, no link\n");
}

TEST_F(PanelctlNet, ListsInterfacesAsJson) {
    const auto json = nlohmann::json::parse(list(several, {"--json"}).output);
    ASSERT_EQ(json.size(), 3U);
    EXPECT_EQ(json[0], nlohmann::json::parse(R"({"schema": 1, "name": "lo", "description": "Loopback",
        "hardwareAddress": "", "addresses": [{"address": "127.0.0.1", "mask": "255.0.0.0"}], "up": true,
        "running": true, "loopback": true, "pointToPoint": false})"));
    EXPECT_EQ(json[2]["name"], "Сеть\x1B[2J");
    EXPECT_EQ(json[2]["addresses"][1], nlohmann::json::parse(R"({"address": "10.0.0.1", "mask": null})"));
    EXPECT_EQ(json[1]["addresses"], nlohmann::json::array());
}

TEST_F(PanelctlNet, SaysThatThereIsNothingAndWhatWentWrong) {
    const auto none = list({});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.output, "");
    EXPECT_THAT(none.error, HasSubstr("no network interfaces"));
    EXPECT_EQ(list({}, {"--json"}).output, "[]\n");
    service.on(Command::GetInterfaces, Reaction::reply("short"));
    EXPECT_THAT(panelctl(service.endpoint(), {"net", "list"}).error, HasSubstr("incomplete reply"));
    EXPECT_EQ(panelctl(panelkit::testing::uniqueEndpoint(), {"net", "list"}).status, 3);
}

} // namespace
