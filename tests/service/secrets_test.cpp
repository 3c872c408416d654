// SPDX-License-Identifier: MIT
//
// A PIN leaves no trace: not in the memory of front end and service, not in the process list, not in the log.
#include "../support/memory_scan.h"
#include "../support/processes_posix.h"
#include "../support/standing_client.h"
#include "certs_fixture.h"

#include <service/certs/openssl_handles.h>

namespace {

void expectNotIn(RunningService& service, const std::string& secret) {
    EXPECT_EQ(occurrencesInMemory(service.process().id(), secret), 0U) << secret << " in the service";
    for (const std::int64_t host : hostsOf(service.process().id()))
        EXPECT_EQ(occurrencesInMemory(host, secret), 0U) << secret << " in the host of its module";
}

class Secrets : public WithService {
protected:
    Secrets() : WithService({"--log-level", "debug"}) {
        EXPECT_TRUE(tokens.TokenInitialize(token(""), "scanned", soPin, longPin, false));
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
        expectNotIn(service, secret);
        EXPECT_FALSE(shownInProcessList(client.id(), secret));
        EXPECT_FALSE(shownInProcessList(service.process().id(), secret));
        EXPECT_THAT(service.log(), Not(testing::HasSubstr(secret)));
    }

    const std::string soPin = plantedSecret("so#", 5);
    const std::string longPin = plantedSecret("long-pin#", 4);
    const std::string shortPin = plantedSecret("pX#", 2); // is stored inside the string object
};

TEST_F(Secrets, AreNotInTheServiceAfterATokenWasInitialized) {
    expectNotIn(service, soPin);
    expectNotIn(service, longPin);
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
    const Identity root = makeAuthority("Root"), user = makeUser("user", root);
    const std::string given = plantedSecret("import#", 4);
    const std::string wanted = plantedSecret("export#", 4);
    ASSERT_EQ(importFile(pkcs12(user, {}, given), given, vocabulary::CertImport::withPrivateKey, true),
              vocabulary::ImportCert::imported);
    ASSERT_EQ(exportAs(vocabulary::CertExport::pkcs12, named("CN=user"), wanted, false, true),
              vocabulary::ExportCert::exported)
        << content;
    const std::string privateNumber = panelkitd::derOf(user.key.get(), i2d_PrivateKey).substr(7, 32);
    for (const std::string& secret : {given, utf16(given), wanted, utf16(wanted), privateNumber}) {
        expectNotIn(service, secret);
    }
}

// Without this the others could pass because the scan never finds anything.
TEST_F(Secrets, AreFoundWhereAFrontEndKeepsThem) {
    EXPECT_GT(occurrencesInMemory(run("keep", longPin + "\n")->id(), longPin), 0U);
}

} // namespace
