// SPDX-License-Identifier: MIT
//
// kill -9 at random moments: of the service while eight clients change its state, of the process of a module while keys
// are made on its token, and of front ends. Whoever looks afterwards finds the last change that was acknowledged, or a
// later one that was sent. The kills of the IKE daemon are in leaks.cpp.
#include <bench/attack/places.h>
#include <tests/service/steered_token.h>
#include <tests/support/processes_posix.h>

#include <panelkit/certs/certs_controller.h>
#include <panelkit/tokens/tokens_controller.h>
#include <vocabulary/tokens.h>

#include <signal.h>

#include <algorithm>
#include <random>

using PKCS11::TokenInfo;

namespace {

// ---- the service

// Writes one number after the other until the service has gone.
class Writer {
public:
    Writer(const attack::Place& place, std::uint32_t start)
        : sent(start), acknowledged(start), thread_([this, &place] { run(place); }) {}
    void end() { thread_.join(); }

    std::atomic<std::uint32_t> sent, acknowledged;
    bridge::Failure failure; // of the last change

private:
    void run(const attack::Place& place) {
        Client client;
        do {
            ++sent;
            if (!place.write(client, sent)) break;
            acknowledged = sent.load();
        } while (true);
        failure = bridge::lastFailure();
    }

    std::thread thread_;
};

TEST(AKill, LosesNothingThatWasAcknowledged) {
    RunningService service({"--embedded-module", ""});
    const std::vector<attack::Place> places = attack::allPlaces();
    std::vector<std::uint32_t> last;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    for (const attack::Place& place : places) {
        Client client;
        ASSERT_TRUE(place.write(client, 100)) << place.name << ": " << bridge::lastFailure().text();
        last.push_back(100);
    }
    std::minstd_rand random(20261121);
    std::uint64_t changes = 0;
    const int kills = attack::times(80);
    for (int round = 0; round < kills; ++round) {
        CommandSender::Instance().SetEndpoint(service.endpoint());
        std::vector<std::unique_ptr<Writer>> writers;
        for (std::size_t i = 0; i < places.size(); ++i) {
            writers.push_back(std::make_unique<Writer>(places[i], last[i]));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50 + random() % 200));
        service.kill();
        for (const auto& writer : writers) writer->end();
        service.start();
        ASSERT_EQ(service.log().find("error"), std::string::npos) << service.log();
        ASSERT_EQ(attack::unfinishedFilesIn(service.state()), 0U);
        Client reader;
        for (std::size_t i = 0; i < places.size(); ++i) {
            const std::uint32_t found = places[i].read(reader);
            ASSERT_EQ(writers[i]->failure.code, bridge::FailureCode::connectionLost) << writers[i]->failure.text();
            ASSERT_GE(found, writers[i]->acknowledged) << places[i].name << ", kill " << round;
            ASSERT_LE(found, writers[i]->sent) << places[i].name << ", kill " << round;
            changes += writers[i]->acknowledged - last[i];
            last[i] = found;
        }
    }
    attack::report("kills", kills);
    attack::report("acknowledged changes", static_cast<double>(changes));
    EXPECT_GT(changes, static_cast<std::uint64_t>(kills));
    attack::reportChecked("after each start no acknowledged change was lost, none half done, no file unfinished");
}

// ---- the process of a module

class AModuleUnderAttack : public testing::Test {
protected:
    AModuleUnderAttack() { CommandSender::Instance().SetEndpoint(service.endpoint()); }
    ~AModuleUnderAttack() override { closePooledSessions(); }

    // An empty token with a log-in, in a process of its own.
    TokenInfo freshToken() {
        token_.control.createToken("office", {.label = "Office", .soPin = "so-secret", .userPin = "user-1"});
        EXPECT_TRUE(tokens.ReloadAll()) << bridge::lastFailure().text();
        std::vector<TokenInfo> all;
        EXPECT_TRUE(tokens.EnumProviderTokens(nullptr, all)) << bridge::lastFailure().text();
        EXPECT_EQ(all.size(), 1U);
        if (all.size() == 1) logIn(all[0]);
        return all.size() == 1 ? all[0] : TokenInfo();
    }
    void logIn(const TokenInfo& token) {
        EXPECT_TRUE(tokens.TokenLogin(token, "user-1", false, nullptr)) << bridge::lastFailure().text();
    }
    // Creates one key after the other until a command is refused; returns how many were acknowledged.
    int createKeys(const TokenInfo& token) {
        Client client;
        for (int made = 0;; ++made) {
            std::string reply;
            const std::string request = encoded(token, "key " + std::to_string(made), std::string("value"));
            const bool answered = client.send(Command::CreatePresharedKey, request, &reply);
            if (answered && reply == "\1") continue;
            EXPECT_EQ(answered ? bridge::FailureCode::refused : bridge::lastFailure().code,
                      bridge::FailureCode::refused)
                << bridge::lastFailure().text();
            return made;
        }
    }
    // The names of the keys on the token.
    static std::vector<std::string> keys() {
        VpnCertsSilentController controller;
        std::vector<PresharedKeyInfo> found;
        std::vector<TokenInfo> places;
        EXPECT_TRUE(controller.EnumPresharedKeys(found, places)) << bridge::lastFailure().text();
        std::vector<std::string> names;
        for (const PresharedKeyInfo& key : found) names.push_back(key.name);
        return names;
    }

    SteeredToken token_;
    RunningService service{{"--embedded-module", "", "--allow-module", testModule},
                           {{"PANELKIT_TEST_TOKEN_DIR", token_.control.folder()}}};
    VpnTokensController tokens;
};

TEST_F(AModuleUnderAttack, LosesNoKeyThatWasAcknowledged) {
    PKCS11::ProviderInfo provider;
    provider.*vocabulary::provider::path = testModule;
    ASSERT_TRUE(tokens.ProviderLoad(provider)) << bridge::lastFailure().text();
    freshToken();
    EXPECT_TRUE(keys().empty());
    const attack::Usage before = attack::usageOf(service);
    std::minstd_rand random(20261123);
    const int kills = attack::times(131);
    int acknowledged = 0;
    for (int round = 0; round < kills && !HasFailure(); ++round) {
        SCOPED_TRACE("kill " + std::to_string(round));
        const TokenInfo token = freshToken();
        int made = 0;
        std::thread creator([&] { made = createKeys(token); });
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
        for (const std::int64_t host : hostsOf(service.process().id())) ::kill(static_cast<pid_t>(host), SIGKILL);
        creator.join();
        EXPECT_TRUE(Client().send(Command::EnumProviders, ""));
        EXPECT_TRUE(tokens.ReloadAll()) << bridge::lastFailure().text();
        logIn(token);
        const std::vector<std::string> found = keys();
        for (int i = 0; i < made; ++i)
            EXPECT_EQ(std::count(found.begin(), found.end(), "key " + std::to_string(i)), 1) << i;
        EXPECT_LE(found.size(), static_cast<std::size_t>(made) + 1); // the one that was under way
        acknowledged += made;
    }
    attack::report("kills of a module's process", kills);
    attack::report("acknowledged keys", acknowledged);
    attack::expectUsage(service, before, 4U << 20);
    attack::reportChecked("after each kill the service answered, each acknowledged key was there once, no other was");
}

// ---- front ends

TEST(AKillOfAFrontEnd, LeavesTheOldStateOrTheNewOne) {
    RunningService service({"--embedded-module", ""});
    CommandSender::Instance().SetEndpoint(service.endpoint());
    const attack::Place log = attack::allPlaces().at(1);
    std::minstd_rand random(20261124);
    std::uint32_t before = 1000;
    {
        Client client;
        ASSERT_TRUE(log.write(client, before));
    }
    const attack::Usage usage = attack::usageOf(service);
    const int kills = attack::times(140);
    int changes = 0;
    for (int round = 0; round < kills; ++round) {
        const std::uint32_t wanted = 2000 + static_cast<std::uint32_t>(round);
        platform::ChildOptions options;
        options.arguments = {builtProgram("panelctl"), "--endpoint",           service.endpoint(), "config", "set",
                             "LOG.MAX_LOG_SIZE",       std::to_string(wanted), "--commit"};
        platform::ChildProcess frontEnd(options);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 60'000));
        frontEnd.kill();
        frontEnd.wait(10s);
        Client client;
        const std::uint32_t found = log.read(client);
        ASSERT_TRUE(found == before || found == wanted) << found << " in round " << round;
        changes += found == wanted;
        before = found;
    }
    attack::report("kills of a front end", kills);
    attack::report("of these after the change", changes);
    attack::expectUsage(service, usage, 4U << 20);
    EXPECT_TRUE(Client().send(Command::CommitGroups, ""));
    service.kill();
    service.start();
    Client client;
    EXPECT_EQ(log.read(client), before);
    attack::reportChecked(
        "after each kill the configuration was the old or the new one; nothing of the front ends is left");
}

} // namespace
