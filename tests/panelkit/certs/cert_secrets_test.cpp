// SPDX-License-Identifier: MIT
//
// Passwords, preshared keys and the content of certificate files leave no trace in a front end's memory.
#include "../../support/memory_scan.h"
#include "../../support/service_fixture.h"
#include "../../support/standing_client.h"

namespace {

TEST(SecretsOfCertificates, AreNowhereInTheFrontEndOnceTheyAreSent) {
    const std::string password = plantedSecret("word#", 8);
    const std::string privateKey = plantedSecret("key#", 2000);
    const TemporaryFolder folder;
    std::ofstream(folder.path() / "own.pem") << privateKey;

    panelkit::testing::ScriptedService service;
    service.on(Command::CreatePresharedKey, Reaction::reply("\1"));
    for (const Command command : {Command::ImportCertificate, Command::ExportCertificate, Command::ParseCertFile}) {
        service.on(command, Reaction::reply(std::string(16, '\0')));
    }
    const auto client = runStandingClient(service.endpoint(), folder.file("own.pem"), "certs", password + "\n");
    EXPECT_EQ(client->outputSoFar(), "done\n");
    int sent = 0;
    for (const auto& request : service.requests()) {
        if (request.payload.find(password) != std::string::npos) ++sent;
    }
    EXPECT_EQ(sent, 4) << "the secret went out with each command";
    EXPECT_EQ(occurrencesInMemory(client->id(), password), 0U);
    EXPECT_EQ(occurrencesInMemory(client->id(), privateKey.substr(privateKey.size() / 2, 40)), 0U);
}

} // namespace
