// SPDX-License-Identifier: MIT
//
// A PIN leaves no trace: not in the memory of front end and service, not in the process list, not in the log.
#include "../support/memory_scan.h"
#include "../support/service_fixture.h"
#include "../support/standing_client.h"
#include "certs_fixture.h"

#include <panelkit/tokens/tokens_controller.h>
#include <vocabulary/tokens.h>

#include <gmock/gmock.h>

namespace {

class Secrets : public testing::Test {
protected:
    Secrets() {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(service.endpoint());
        VpnTokensController controller;
        std::vector<PKCS11::TokenInfo> tokens;
        EXPECT_TRUE(controller.EnumProviderTokens(nullptr, tokens));
        EXPECT_TRUE(controller.TokenInitialize(tokens.at(0), "scanned", soPin, longPin, false));
        closePooledSessions();
    }

    // Lets the front end work and keeps it running, so that its memory can be searched.
    std::unique_ptr<platform::ChildProcess> run(const std::string& what, const std::string& input) {
        auto client = runStandingClient(service.endpoint(), "scanned", what, input);
        EXPECT_EQ(client->outputSoFar(), what == "wrong" ? "failed\n" : "done\n");
        return client;
    }

    void expectNoTrace(const std::string& secret, const platform::ChildProcess& client) {
        EXPECT_EQ(occurrencesInMemory(client.id(), secret), 0U) << "in the front end";
        EXPECT_EQ(occurrencesInMemory(service.process().id(), secret), 0U) << "in the service";
        EXPECT_FALSE(shownInProcessList(client.id(), secret));
        EXPECT_FALSE(shownInProcessList(service.process().id(), secret));
        EXPECT_THAT(service.log(), Not(testing::HasSubstr(secret)));
    }

    const std::string soPin = plantedSecret("so#", 5);
    const std::string longPin = plantedSecret("long-pin#", 4);
    const std::string shortPin = plantedSecret("pX#", 2); // is stored inside the string object
    RunningService service{{"--log-level", "debug"}};
};

TEST_F(Secrets, AreNotInTheServiceAfterATokenWasInitialized) {
    EXPECT_EQ(occurrencesInMemory(service.process().id(), soPin), 0U);
    EXPECT_EQ(occurrencesInMemory(service.process().id(), longPin), 0U);
}

TEST_F(Secrets, AreNowhereAfterALogIn) { expectNoTrace(longPin, *run("login", longPin + "\n")); }

TEST_F(Secrets, AreNowhereAfterAChange) {
    const auto client = run("change", longPin + "\n" + shortPin + "\n");
    expectNoTrace(longPin, *client);
    expectNoTrace(shortPin, *client);
    expectNoTrace(shortPin, *run("login", shortPin + "\n"));
}

// OpenSSL derives keys from a password in UTF-16.
std::string utf16(const std::string& text) {
    std::string wide;
    for (const char c : text) wide.append({'\0', c});
    return wide;
}

class SecretsOfAnExport : public WithCertificates {};

TEST_F(SecretsOfAnExport, AreNotInTheServiceAfterwards) {
    initialize();
    const Identity root = makeAuthority("Root");
    const std::string given = plantedSecret("import#", 4);
    const std::string wanted = plantedSecret("export#", 4);
    ASSERT_EQ(
        importFile(pkcs12(makeUser("user", root), {}, given), given, vocabulary::CertImport::withPrivateKey, true),
        vocabulary::ImportCert::imported);
    ASSERT_EQ(exportAs(vocabulary::CertExport::pkcs12, named("CN=user"), wanted, false, true),
              vocabulary::ExportCert::exported)
        << content;
    for (const std::string& password : {given, wanted}) {
        EXPECT_EQ(occurrencesInMemory(service.process().id(), password), 0U) << password;
        EXPECT_EQ(occurrencesInMemory(service.process().id(), utf16(password)), 0U) << password << " as UTF-16";
    }
}

// Without this the others could pass because the scan never finds anything.
TEST_F(Secrets, AreFoundWhereAFrontEndKeepsThem) {
    EXPECT_GT(occurrencesInMemory(run("keep", longPin + "\n")->id(), longPin), 0U);
}

} // namespace
