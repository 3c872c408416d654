// SPDX-License-Identifier: MIT
//
// Mutated requests of every command, to a service with a token that is logged in to. Each is answered or refused; no
// session is lost, and a sanitizer in the service has nothing to report.
#include <bench/attack/attack.h>
#include <bench/attack/samples.h>
#include <tests/support/certificate_maker.h>

#include <panelkit/lparams/sections/sections.h>
#include <panelkit/tokens/tokens_controller.h>
#include <vocabulary/tokens.h>

using PKCS11::TokenInfo;

namespace {

constexpr int clients = 4;

struct Request {
    Command command;
    std::string payload;
};

TokenInfo initialisedToken() {
    VpnTokensController controller;
    std::vector<TokenInfo> tokens;
    EXPECT_TRUE(controller.EnumProviderTokens(nullptr, tokens));
    EXPECT_TRUE(controller.TokenInitialize(tokens.at(0), "Office", "so-pin-1", "user-1", false));
    EXPECT_TRUE(controller.EnumProviderTokens(nullptr, tokens));
    for (const TokenInfo& token : tokens) {
        if (token.*vocabulary::token::label == "Office" && controller.TokenLogin(token, "user-1", false, nullptr)) {
            return token;
        }
    }
    ADD_FAILURE() << "no token";
    return {};
}

// These take seconds, so they are rarer.
bool isSlow(Command command) {
    return command == Command::TokensReloadAll || command == Command::CertsReloadAll ||
           command == Command::TokenInitialize || command == Command::ProviderLoad;
}

// What is mutated: a request of each command, and some that go deeper.
std::vector<Request> seeds(const TokenInfo& token) {
    std::vector<Request> all;
    const std::vector<std::string> samples = attack::sampleRequests(attack::Sampler(token));
    for (const panelkit::CommandRow& row : panelkit::commandTable) {
        all.push_back({row.command, samples[static_cast<std::size_t>(row.command)]});
    }
    const std::string certificate = makeAuthority("Root").der;
    all.push_back({Command::ParseCertFile, encoded(certificate, std::string())});
    all.push_back({Command::ImportCertificate, encoded(token, std::uint32_t{0}, std::uint32_t{0}, false)});
    LPARAMS::Client::IKE group;
    std::string section = encoded(std::string(group.name));
    CommandStreamOut out(section);
    group.save(out);
    all.push_back({Command::WriteGroup, section});
    return all;
}

TEST(MutatedRequests, AreAnsweredOrRefused) {
    RunningService service({"--log-level", "events"});
    closePooledSessions();
    CommandSender::Instance().SetEndpoint(service.endpoint());
    const std::vector<Request> all = seeds(initialisedToken());
    std::atomic<int> answered{0}, refused{0}, lost{0}, early{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < clients; ++i) {
        threads.emplace_back([&, i] {
            Client client;
            std::minstd_rand random(static_cast<unsigned>(i) + 77);
            for (int sent = 0; sent < attack::times(30'000) / clients;) {
                const Request& seed = all[(random() >> 4U) % all.size()];
                if (isSlow(seed.command) && (random() >> 4U) % 20 != 0) continue;
                ++sent;
                std::string reply;
                if (client.send(seed.command, attack::mutated(seed.payload, random), &reply)) {
                    ++answered;
                    continue;
                }
                const bridge::Failure why = bridge::lastFailure();
                ++(why.code == bridge::FailureCode::refused ? refused : lost);
                if (why.phrases == std::vector{Loc::makePhrase("the request ends early")}) ++early;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    attack::report("mutated requests", answered + refused + lost);
    attack::report("answered", answered);
    attack::report("refused", refused);
    attack::report("of these because they end early", early);
    EXPECT_EQ(lost, 0);
    EXPECT_GT(answered, 0);
    EXPECT_TRUE(Client().send(Command::EnumProviders, ""));
    closePooledSessions();
    const platform::ChildResult result = service.terminate();
    EXPECT_EQ(result.ending, platform::Ending::exited);
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.error, Not(HasSubstr("runtime error")));
    EXPECT_THAT(result.error, Not(HasSubstr("Sanitizer")));
}

} // namespace
