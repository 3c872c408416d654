// SPDX-License-Identifier: MIT
//
// A PKCS#11 module that crashes, hangs or lies in one of its functions: only its own tokens notice, and they come back.
// Who is logged in to a token is one account.
#include "../support/certificate_maker.h"
#include "../support/other_user_posix.h"
#include "../support/panelctl.h"
#include "../support/processes_posix.h"
#include "../support/token_workers.h"
#include "steered_token.h"
#include "with_service.h"

#include <sys/stat.h>

namespace flag = vocabulary::tokenFlag;

namespace {

class AnUntrustedModule : public Steered<WithService> {
protected:
    AnUntrustedModule()
        : Steered({"--users-group", "games", "--module-timeout", "1", "--token-poll", "1"},
                  {{"CREDENTIALS_DIRECTORY", "/of the service"}}) {}

    // A fresh process, which has not failed yet, and is logged in to its token.
    void loadAgain() {
        control.clearFaults();
        PKCS11::ProviderInfo info;
        info.*vocabulary::provider::name = "card";
        tokens.ProviderUnload(info);
        load();
        ASSERT_TRUE(tokens.TokenLogin(token(), "user-1", false, nullptr)) << bridge::lastFailure().text();
    }
    // A token of the embedded provider that is logged in.
    TokenInfo safe() {
        EXPECT_TRUE(tokens.TokenInitialize(token(""), "Safe", "so-pin-1", "user-1", false));
        EXPECT_TRUE(tokens.TokenLogin(token("Safe"), "user-1", false, nullptr)) << bridge::lastFailure().text();
        return token("Safe");
    }
    std::vector<TokenInfo> offices() {
        auto all = listed();
        std::erase_if(all, [](const TokenInfo& token) { return token.*vocabulary::token::label != "Office"; });
        return all;
    }
    bool isLoggedIn() {
        const auto all = offices();
        return !all.empty() && (all[0].flags & flag::loggedIn) != 0;
    }
    // Waits until the module runs again.
    bool comesBack() {
        return waitFor([this] { return !offices().empty() && bridge::lastRemarks().empty(); });
    }
};

// A function of the module, and what makes the service call it.
struct Reached {
    const char* function;
    Command command;
    bool isListing; // which is answered without the token
};

constexpr Reached reachedBy[] = {
    {"C_GetSlotList", Command::EnumProviderTokens, true},      {"C_GetTokenInfo", Command::EnumProviderTokens, true},
    {"C_GetSessionInfo", Command::EnumProviderTokens, true},   {"C_FindObjectsInit", Command::EnumPresharedKeys, true},
    {"C_FindObjects", Command::EnumPresharedKeys, true},       {"C_FindObjectsFinal", Command::EnumPresharedKeys, true},
    {"C_GetAttributeValue", Command::EnumPresharedKeys, true}, {"C_CreateObject", Command::CreatePresharedKey, false},
    {"C_DestroyObject", Command::DeletePresharedKey, false},   {"C_SeedRandom", Command::InitTokenRNG, false},
    {"C_SetPIN", Command::TokenChangePassword, false},         {"C_Logout", Command::TokenLogout, false},
    {"C_InitToken", Command::TokenInitialize, false},
};

std::string payloadFor(Command command, const TokenInfo& office) {
    switch (command) {
    case Command::CreatePresharedKey: return encoded(office, std::string("new"), std::string("secret value"));
    case Command::DeletePresharedKey: return encoded(office, PresharedKeyInfo{"there"});
    case Command::InitTokenRNG: return encoded(office, std::string("seed"));
    case Command::TokenChangePassword: return encoded(office, std::string("user-1"), std::string("5678"), false, false);
    case Command::TokenLogout: return encoded(office);
    case Command::TokenInitialize:
        return encoded(office, std::string("Office"), std::string("so-secret"), std::string("user-1"), true);
    default: return {};
    }
}

TEST_F(AnUntrustedModule, ThatCrashesOrHangsHarmsNobodyElseAndComesBack) {
    TokenWorkers workers(safe(), 8, {{Command::EnumProviderTokens, ""}, {Command::EnumPresharedKeys, ""}}, 200ms);
    Client client;
    for (const bool crash : {true, false}) {
        for (const Reached& row : reachedBy) {
            if (!crash && row.command == Command::TokenInitialize) continue; // it may take minutes
            SCOPED_TRACE(std::string(row.function) + (crash ? " crashes" : " hangs"));
            loadAgain();
            const TokenInfo office = token();
            client.send(Command::CreatePresharedKey, encoded(office, std::string("there"), std::string("value")));
            crash ? control.crash(row.function) : control.hang(row.function);
            const bool answered = client.send(row.command, payloadFor(row.command, office));
            EXPECT_EQ(answered, row.isListing);
            if (row.isListing) {
                ASSERT_FALSE(bridge::lastRemarks().empty());
                EXPECT_EQ(static_cast<Refused>(bridge::lastRemarks()[0].code), Refused::incomplete);
            } else {
                EXPECT_EQ(refusal(), Refused::moduleFailed);
                EXPECT_THAT(bridge::lastFailure().text(), HasSubstr("the module of provider \"card\""));
            }
        }
        control.clearFaults();
        EXPECT_TRUE(comesBack());
    }
    workers.end();
    EXPECT_EQ(workers.refusal(), "");
    EXPECT_GT(workers.takeTimes().size(), 100U);
    EXPECT_TRUE(token("Safe").flags & flag::loggedIn);
}

TEST_F(AnUntrustedModule, HasNoRightsAndNoSecretsOfTheServiceAndEndsWithIt) {
    loadAgain();
    const auto hosts = hostsOf(service.process().id());
    ASSERT_EQ(hosts.size(), 2U);
    for (const std::int64_t process : hosts) {
        const std::filesystem::path host = folderOf(process);
        std::string status, variables;
        std::getline(std::ifstream(host / "status"), status, '\0');
        std::getline(std::ifstream(host / "environ"), variables, '\1');
        for (const char* line : {"CapEff:\t0000000000000000", "CapPrm:\t0000000000000000", "CapBnd:\t0000000000000000",
                                 "NoNewPrivs:\t1"}) {
            EXPECT_THAT(status, HasSubstr(line));
        }
        EXPECT_THAT(variables, testing::Not(HasSubstr("CREDENTIALS_DIRECTORY")));
    }
    control.recordCalls();
    control.hang("C_SeedRandom");
    std::thread stuck([this] { tokens.InitTokenRNG(token(), "seed"); });
    EXPECT_TRUE(control.waitForCalls("C_SeedRandom", 1));
    service.kill();
    stuck.join();
    for (const std::int64_t host : hosts) {
        EXPECT_TRUE(waitFor([&] { return !std::filesystem::exists(folderOf(host) / "exe"); }))
            << "even in a function that hangs";
    }
    service.start();
}

TEST_F(AnUntrustedModule, ThatCrashesAtEachStartIsTriedLessAndLessOften) {
    loadAgain();
    control.recordCalls();
    control.crash("C_Initialize");
    control.crash("C_Logout");
    EXPECT_FALSE(tokens.TokenLogout(token()));
    const std::uint64_t before = control.calls("C_Initialize");
    std::this_thread::sleep_for(5s); // a second's pause, and then a minute's
    EXPECT_EQ(control.calls("C_Initialize") - before, 1U);
    EXPECT_THAT(service.log(), HasSubstr("the module of provider card was not started again"));
}

// A search without end, and values that together would take all of the service's memory.
TEST_F(AnUntrustedModule, ThatReturnsTooMuchIsNotBelieved) {
    constexpr int certificates = 20;
    for (int i = 0; i < certificates; ++i) control.storeCertificate("office", "certificate", "no certificate");
    loadAgain();
    const auto listingSays = [&](const std::string& text) { // the service itself reads the token, too
        return waitFor([&] {
            const auto listing = panelctl(service.endpoint(), {"cert", "list"});
            EXPECT_EQ(listing.status, 14);
            return listing.error.find(text) != std::string::npos;
        });
    };
    control.repeat("C_FindObjects");
    EXPECT_TRUE(listingSays("the token has more than 100000 objects"));
    control.clearFaults();
    control.large(11U << 20);
    EXPECT_TRUE(listingSays("the objects on the token have more than 192 MiB"));
}

// ---- log-ins

TEST_F(AnUntrustedModule, IsLoggedInToByTheServiceWithAPinFromAFile) {
    const std::string path = service.folder().file("pin");
    std::ofstream(path) << "user-1\n";
    service.terminate();
    RunningService own(
        {"--allow-module", testModule, "--token-poll", "1", "--module-timeout", "1", "--pin-file", "Office=" + path},
        {{"PANELKIT_TEST_TOKEN_DIR", control.folder()}});
    closePooledSessions();
    CommandSender::Instance().SetEndpoint(own.endpoint());
    ::chmod(path.c_str(), 0640);
    load();
    EXPECT_TRUE(waitFor([&] { return own.log().find("can be read by other accounts") != std::string::npos; }));
    EXPECT_FALSE(isLoggedIn());

    ::chmod(path.c_str(), 0600);
    control.remove("reader");
    EXPECT_TRUE(waitFor([&] { return offices().empty(); }));
    std::this_thread::sleep_for(1500ms); // until the service has seen it, too
    control.insert("reader", "office");
    EXPECT_TRUE(waitFor([&] { return isLoggedIn(); })) << own.log();
    control.crash("C_SeedRandom");
    EXPECT_FALSE(tokens.InitTokenRNG(token(), "seed"));
    control.clearFaults();
    EXPECT_TRUE(waitFor([&] { return isLoggedIn(); })) << "after the module was started again\n" << own.log();
    EXPECT_TRUE(tokens.TokenLogout(token()));
    std::this_thread::sleep_for(1500ms);
    EXPECT_FALSE(isLoggedIn()) << "somebody wanted that";

    const auto reload = [this] {
        ASSERT_TRUE(tokens.ReloadAll());
        std::this_thread::sleep_for(1500ms); // until the service has seen it, too
    };
    for (int i = 0; i < 2; ++i) EXPECT_FALSE(tokens.TokenLogin(token(), "wrong", false, nullptr));
    reload();
    EXPECT_FALSE(isLoggedIn()) << "the last try is not spent";
    EXPECT_TRUE(tokens.TokenLogin(token(), "user-1", true, nullptr)) << "after which there are three again";
    std::ofstream(path) << "wrong\n";
    for (int i = 0; i < 3; ++i) reload(); // as often as would lock it
    EXPECT_THAT(own.log(), HasSubstr("The PIN is wrong"));
    EXPECT_EQ(control.counters("office").userTriesLeft, 2U);
}

TEST_F(AnUntrustedModule, IsLoggedInToByOneAccount) {
    if (!OtherUser::canBecome()) GTEST_SKIP() << "only root can become somebody else";
    const OtherUser other(service.endpoint());
    const auto asNobody = [&](std::vector<std::string> arguments, const std::string& input) {
        return other.run("nobody", "--groups=games", std::move(arguments), input);
    };
    loadAgain(); // which logs in as root
    EXPECT_THAT(asNobody({"token", "logout", "Office"}, "").error, HasSubstr("in use"));
    EXPECT_THAT(asNobody({"token", "login", "Office", "--pin-stdin"}, "user-1\n").error, HasSubstr("in use"))
        << "that the PIN is right is not told";
    EXPECT_TRUE(token().flags & flag::loggedIn);
    EXPECT_TRUE(tokens.TokenLogout(token()));
    EXPECT_EQ(asNobody({"token", "login", "Office", "--pin-stdin"}, "user-1\n").status, 0);
    EXPECT_FALSE(tokens.TokenLogin(token(), "user-1", false, nullptr));
    EXPECT_EQ(refusal(), Refused::inUseByAnother);
    const std::string file = service.folder().file("root.der");
    std::ofstream(file, std::ios::binary) << makeAuthority("Root").der;
    EXPECT_THAT(panelctl(service.endpoint(), {"cert", "import", file, "--pin-stdin"}, "user-1\n").error,
                HasSubstr("in use"))
        << "nor for one import";
    EXPECT_TRUE(tokens.TokenLogout(token())) << "an administrator may";
}

} // namespace
