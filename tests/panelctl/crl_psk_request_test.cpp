// SPDX-License-Identifier: MIT
//
// panelctl crl, psk and cert request against the scripted service. Runs under Wine too.
#include "cert_fixture.h"

namespace {

// ---- CRLs and preshared keys

TEST_F(FileVerbs, ListImportAndDeleteCrls) {
    CRLInfo current = crl;
    current.fingerprint = "55555555";
    current.nextUpdate = 0;
    service.on(Command::EnumCRLs, Reaction::reply(pairs<CRLInfo>({{office, crl}, {home, current}})));
    EXPECT_THAT(run({"crl", "list"}).output, HasSubstr("Root    7           2023-11-14  2023-11-21  "));
    EXPECT_THAT(run({"crl", "list", "--token", "B2"}).output, HasSubstr("Root    7           2023-11-14  never"));
    const auto read = json({"crl", "list", "--outdated"});
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0]["revoked"], 3);

    fileHolds({}, {crl});
    answer(Command::ImportCRL, vocabulary::ImportCrl::imported);
    EXPECT_EQ(run({"crl", "import", path, "--token", "B2"}).status, 0);
    EXPECT_EQ(sent(Command::ImportCRL), encoded(home, std::uint32_t{0}));
    answer(Command::ImportCRL, vocabulary::ImportCrl::olderThanPresent);
    expectError(run({"crl", "import", path, "--token", "B2"}), 62, "already has a newer CRL of \"Root\"");
    fileHolds({}, {crl, current});
    service.on(Command::ImportCRL, [this](const panelkit::testing::Received& request) {
        const bool first = request.payload == encoded(home, std::uint32_t{0});
        return Reaction::reply(encoded(first ? vocabulary::ImportCrl::alreadyThere : vocabulary::ImportCrl::imported));
    });
    EXPECT_EQ(run({"crl", "import", path, "--token", "B2"}).status, 0) << "the second one is new";
    fileHolds({plain});
    expectError(run({"crl", "import", path}), 12, "holds no CRL");

    service.on(Command::DeleteCRL, Reaction::reply(""));
    expectError(run({"crl", "delete", "Root", "--yes"}), 11,
                "  55555555  CN=Root,O=Büro, issued 2023-11-14, on token \"東京\"");
    expectError(run({"crl", "delete", "4444 4444"}), 26, "--yes");
    EXPECT_EQ(run({"crl", "delete", "4444 4444", "--yes"}).status, 0);
    EXPECT_EQ(sent(Command::DeleteCRL), encoded(office, crl));
}

TEST_F(FileVerbs, CreateAndDeletePresharedKeys) {
    service.on(Command::EnumPresharedKeys, Reaction::reply(pairs<PresharedKeyInfo>(
                                               {{office, {"site a"}}, {home, {"site a"}}, {home, {"site b"}}})));
    service.answer<Command::CreatePresharedKey>(true);
    service.on(Command::DeletePresharedKey, Reaction::reply(""));
    EXPECT_EQ(run({"psk", "list"}).output, "NAME    TOKEN\nsite a  Office\nsite a  東京\nsite b  東京\n");
    const auto created = run({"psk", "create", "site c", "--token", "A1", "--value-stdin"}, "ke y=1\n");
    EXPECT_EQ(created.status, 0) << created.error;
    EXPECT_EQ(sent(Command::CreatePresharedKey), encoded(office, std::string("site c"), std::string("ke y=1")));
    EXPECT_THAT(created.output + created.error, Not(HasSubstr("ke y=1")));
    service.answer<Command::CreatePresharedKey>(false);
    expectError(run({"psk", "create", "site c", "--token", "A1", "--value-stdin"}, "x\n"), 40, "gave no reason");

    expectError(run({"psk", "delete", "site a", "--yes"}), 11, "  \"site a\" on token \"東京\"");
    expectError(run({"psk", "delete", "site", "--yes"}), 10, "did you mean");
    EXPECT_EQ(run({"psk", "delete", "site a", "--token", "B2", "--yes"}).status, 0);
    EXPECT_EQ(sent(Command::DeletePresharedKey), encoded(home, std::string("site a")));
}

// ---- requests

class RequestVerb : public FileVerbs {
protected:
    RequestVerb() {
        const std::vector<CertRequestKeyInfo> choices{
            {vocabulary::keyType::rsa, {1024, 2048, 4096}, {vocabulary::digest::sha256, vocabulary::digest::sha512}},
            {vocabulary::keyType::ec, {256, 384}, {vocabulary::digest::sha384}}};
        service.answer<Command::GetCertRequestKeyInfo>(choices);
        service.answer<Command::MakeCertRequest>(MakeCertRequestResult{}, std::string("request\n"));
    }
};

TEST_F(RequestVerb, TakesWhatIsUsualWhereNothingIsSaid) {
    const auto result = run({"cert", "request", "--token", "A1", "--cn", "gate", "--o", "Büro", "--c", "DE", "--san",
                             "DNS:gate.example", "--san", "IP:192.0.2.1", "--usage", "digitalSignature,ipsecIKE"});
    EXPECT_EQ(result.output, "request\n") << result.error;
    const CertRequestInfo info{.keyType = vocabulary::keyType::rsa,
                               .keyBits = 2048,
                               .digest = vocabulary::digest::sha256,
                               .commonName = "gate",
                               .organization = "Büro",
                               .country = "DE",
                               .alternativeNames = "DNS:gate.example, IP:192.0.2.1",
                               .keyLabel = "gate",
                               .keyUsage = vocabulary::keyUsage::digitalSignature | vocabulary::keyUsage::ipsecIke};
    EXPECT_EQ(sent(Command::MakeCertRequest), encoded(office, info));
}

TEST_F(RequestVerb, TakesWhatIsAskedForIfTheTokenOffersIt) {
    const std::string file = folder.file("gate.csr");
    const auto result = run({"cert", "request", "--token", "A1", "--cn", "gate", "--key", "ec:384", "--existing-key",
                             "old", "--der", "--output", file});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(contentOf(file), "request\n");
    const CertRequestInfo info{.keyType = vocabulary::keyType::ec,
                               .keyBits = 384,
                               .digest = vocabulary::digest::sha384,
                               .useExistingKey = true,
                               .format = 1,
                               .commonName = "gate",
                               .keyLabel = "old"};
    EXPECT_EQ(sent(Command::MakeCertRequest), encoded(office, info));
    const auto lost =
        run({"cert", "request", "--token", "A1", "--cn", "gate", "--output", folder.file("no/such/folder")});
    expectError(lost, 1, "\nthe key pair \"gate\" stays on token \"Office\"");
    for (const char* key : {"rsa:512", "rsa:", "rsa:2048x", "dsa", "ec:99999999999999999999"}) {
        expectError(run({"cert", "request", "--token", "A1", "--cn", "gate", "--key", key}), 12,
                    "it offers rsa:1024, rsa:2048, rsa:4096, ec:256, ec:384");
    }
    expectError(run({"cert", "request", "--token", "A1", "--cn", "gate", "--key", "ec", "--digest", "sha256"}), 12,
                "can't sign a request with sha256; it offers sha384");
    expectError(run({"cert", "request", "--token", "A1", "--cn", "gate", "--usage", "ipsecIKe"}), 2,
                "did you mean \"ipsecIKE\"?");
}

TEST_F(RequestVerb, ListsTheKeysOnOffer) {
    const auto result = run({"cert", "request", "--list-keys", "--token", "A1"});
    EXPECT_THAT(result.output, HasSubstr("rsa:4096  sha256, sha512\n"));
    const auto read = json({"cert", "request", "--list-keys", "--token", "A1"});
    EXPECT_EQ(read[1], nlohmann::json({{"schema", 1}, {"type", "ec"}, {"bits", {256, 384}}, {"digests", {"sha384"}}}));
    EXPECT_EQ(sent(Command::MakeCertRequest), "");
    service.on(Command::MakeCertRequest,
               Reaction::reply(encoded(vocabulary::MakeRequest::subjectUnfit, std::string("C is two letters"))));
    expectError(run({"cert", "request", "--token", "A1"}), 12, "needs a name that X.509 allows: C is two letters");
}

} // namespace
