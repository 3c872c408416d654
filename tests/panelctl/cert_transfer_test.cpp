// SPDX-License-Identifier: MIT
//
// panelctl cert import, export, delete, request, crl and psk: what goes to the service, and what does not. Runs under
// Wine too.
#include "cert_fixture.h"

#include <filesystem>
#include <fstream>
#include <iterator>

using panelkit::Command;
using testing::HasSubstr;
using testing::Not;
using vocabulary::CertImport;
using vocabulary::Refused;

namespace {

constexpr std::uint32_t bit(CertImport mode) { return 1U << static_cast<std::uint32_t>(mode); }

class FileVerbs : public CertVerbs {
protected:
    FileVerbs() { std::ofstream(path, std::ios::binary) << "bundle"; }

    void fileHolds(const std::vector<CertImportOption>& certificates, const std::vector<CRLInfo>& crls = {}) {
        service.on(
            Command::ParseCertFile,
            Reaction::reply(encoded(std::uint32_t{0}, std::vector<TokenInfo>{office, home}, certificates, crls)));
    }
    template <class Result>
    void answer(Command command, Result result) {
        service.on(command, Reaction::reply(encoded(static_cast<std::uint32_t>(result))));
    }
    std::string imported(const TokenInfo& token, std::uint32_t item, CertImport mode, bool extractable = false) {
        return encoded(token, item, mode, extractable);
    }
    static std::string contentOf(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    TemporaryFolder folder;
    const std::string path = folder.file("bundle.p12");
    const CertImportOption keyed{gate, bit(CertImport::certificateOnly) | bit(CertImport::withPrivateKey), {}};
    const CertImportOption chained{gate, keyed.modes | bit(CertImport::withChain), {}};
    const CertImportOption plain{authority, bit(CertImport::certificateOnly), {}};
    const CRLInfo crl{.issuer = "CN=Root,O=Büro",
                      .number = "7",
                      .thisUpdate = 1'700'000'000,
                      .nextUpdate = 1'700'600'000,
                      .revokedCount = 3,
                      .fingerprint = "44444444AAAAAAAA"};
};

// ---- import

TEST_F(FileVerbs, RefuseAFileThatCantBeMeantBeforeItIsSent) {
    std::ofstream(folder.file("empty"));
    std::ofstream(folder.file("large"));
    std::filesystem::resize_file(folder.path() / "large", 100U << 20);
    for (const char* group : {"cert", "crl"}) {
        expectError(run({group, "import", folder.file("none")}), 12, "none: there is no such file");
        expectError(run({group, "import", folder.file("empty")}), 12, "empty is empty");
        expectError(run({group, "import", folder.path().string()}), 12, "is a folder");
        expectError(run({group, "import", folder.file("large")}), 13, "too large to be sent to the service: 100 MiB");
    }
    EXPECT_EQ(sent(Command::ParseCertFile), "");
}

TEST_F(FileVerbs, ImportTheCertificateWithItsKeyAndChain) {
    answer(Command::ImportCertificate, vocabulary::ImportCert::imported);
    fileHolds({plain, chained});
    const auto result =
        run({"cert", "import", path, "--token", "Office", "--password-stdin", "--pin-stdin"}, "pass\n12 34\n");
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.output,
              "Certificate \"gate, west\" is imported to token \"Office\", with the authorities that it builds on.\n");
    EXPECT_EQ(sent(Command::ParseCertFile), encoded(std::string("bundle"), std::string("pass")));
    EXPECT_EQ(sent(Command::ImportCertificate),
              imported(office, 1, CertImport::withChain) + encoded(std::string("12 34")));
    run({"cert", "import", path, "--token", "Office", "--no-chain", "--extractable"});
    EXPECT_EQ(sent(Command::ImportCertificate), imported(office, 1, CertImport::withPrivateKey, true))
        << "without a PIN the request ends before it";
    run({"cert", "import", path, "--token", "Office", "--no-key", "--only", "0A1B"});
    EXPECT_EQ(sent(Command::ImportCertificate), imported(office, 1, CertImport::certificateOnly))
        << "the chain would bring the key along";
}

TEST_F(FileVerbs, ChooseTheTokenThatHoldsTheKey) {
    answer(Command::ImportCertificate, vocabulary::ImportCert::imported);
    fileHolds({{gate, bit(CertImport::certificateOnly), {1}}});
    EXPECT_EQ(run({"cert", "import", path}).status, 0);
    EXPECT_EQ(sent(Command::ImportCertificate), imported(home, 0, CertImport::certificateOnly));
    fileHolds({{gate, bit(CertImport::certificateOnly), {7}}}); // no place in the list
    expectError(run({"cert", "import", path}), 11, "there are several tokens");
}

TEST_F(FileVerbs, ImportAllOfAFileWithoutKeysAndGoOnOverWhatIsThere) {
    fileHolds({plain, {old, bit(CertImport::certificateOnly), {}}}, {crl});
    service.on(Command::ImportCertificate, [this](const panelkit::testing::Received& request) {
        const bool first = request.payload == imported(office, 0, CertImport::certificateOnly);
        return Reaction::reply(
            encoded(first ? vocabulary::ImportCert::alreadyThere : vocabulary::ImportCert::imported));
    });
    const auto result = run({"cert", "import", path, "--token", "A1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.error, HasSubstr("certificate \"Root\" is on token \"Office\" already"));
    EXPECT_THAT(result.error, HasSubstr("holds CRLs too (1 of them)"));
    EXPECT_EQ(result.output, "Certificate \"gate east\\x1B[2J\" is imported to token \"Office\".\n");
    const auto json = nlohmann::json::parse(run({"cert", "import", path, "--token", "A1", "--json"}).output);
    EXPECT_EQ(json[0]["imported"], false);
    EXPECT_EQ(json[1]["imported"], true);
    expectError(run({"cert", "import", path, "--token", "A1", "--only", "Root"}), 62, "already");
    expectError(run({"cert", "import", path, "--only", "nobody"}), 10, "holds no certificate \"nobody\"");
}

TEST_F(FileVerbs, StopAtTheFirstCertificateThatFails) {
    fileHolds({plain, plain, plain});
    answer(Command::ImportCertificate, vocabulary::ImportCert::tokenFull);
    expectError(run({"cert", "import", path, "--token", "A1"}), 32, "token \"Office\" is full");
    EXPECT_EQ(sent(Command::ImportCertificate), imported(office, 0, CertImport::certificateOnly));
}

TEST_F(FileVerbs, ShowWhatIsInAFileAndImportNothing) {
    fileHolds({plain, keyed}, {crl});
    const auto result = run({"cert", "import", path, "--list"});
    EXPECT_THAT(result.output, HasSubstr("\ngate, west  Root    0A1B"));
    EXPECT_THAT(result.output, HasSubstr("and a CRL of CN=Root,O=Büro\n"));
    EXPECT_EQ(nlohmann::json::parse(run({"cert", "import", path, "--list", "--json"}).output)[1]["hasPrivateKey"],
              true);
    EXPECT_EQ(sent(Command::ImportCertificate), "");
}

TEST_F(FileVerbs, SayThatAPasswordIsNeeded) {
    answer(Command::ParseCertFile, vocabulary::ParseResult::passwordWrong);
    expectError(run({"cert", "import", path}), 63, "the password of " + path + " is wrong or missing");
    const auto result = run({"crl", "import", path, "--password-stdin"}, "s3cret\n");
    expectError(result, 63, "is wrong or missing");
    EXPECT_THAT(result.error, Not(HasSubstr("s3cret")));
    expectError(run({"crl", "import", path, "--password-stdin"}, std::string(2000, 'x')), 12,
                "is longer than 1024 bytes");
}

// ---- export

TEST_F(FileVerbs, ExportRawBytesOrANewFile) {
    const std::string bytes("\0\xFF\n\x1B", 4);
    service.on(Command::ExportCertificate, Reaction::reply(encoded(std::uint32_t{0}, bytes)));
    EXPECT_EQ(run({"cert", "export", "0A1B", "--format", "der"}).output, bytes);
    EXPECT_EQ(sent(Command::ExportCertificate),
              encoded(office, gate, vocabulary::CertExport::der, std::string(), false, false));
    const std::string file = folder.file("gate.p12");
    const auto result =
        run({"cert", "export", "0A1B", "--key", "--chain", "--output", file, "--password-stdin"}, "new\n");
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(sent(Command::ExportCertificate),
              encoded(office, gate, vocabulary::CertExport::pkcs12, std::string("new"), true, true));
    EXPECT_EQ(contentOf(file), bytes);

    const std::size_t before = service.requests().size();
    expectError(run({"cert", "export", "0A1B", "--output", file}), 12, "exists already; nothing was written");
    EXPECT_EQ(service.requests().size(), before) << "it is refused before anything is exported";
    EXPECT_EQ(run({"cert", "export", "0A1B", "--output", folder.file("no/such/folder")}).status, 1);
    expectError(run({"cert", "export", "0A1B", "--format", "jks"}), 2, "jks");
}

TEST_F(FileVerbs, SayWhyACertificateIsNotExported) {
    const std::string file = folder.file("gate.pem");
    service.on(Command::ExportCertificate,
               Reaction::reply(encoded(vocabulary::ExportCert::formatUnfit, std::string("DER holds one certificate"))));
    expectError(run({"cert", "export", "0A1B", "--format", "der", "--chain", "--output", file}), 12,
                "can't be written in this format: DER holds one certificate");
    EXPECT_FALSE(std::filesystem::exists(file));
}

// ---- delete

TEST_F(FileVerbs, DeleteNothingUnasked) {
    service.on(Command::DeleteCertificate, Reaction::reply(""));
    expectError(run({"cert", "delete", "0A1B"}), 26, "\"gate key\" would be deleted; --yes deletes it without asking");
    expectError(run({"cert", "delete", "west", "--yes"}), 10, "with --yes a part of a name does not do");
    EXPECT_EQ(sent(Command::DeleteCertificate), "");
    EXPECT_EQ(run({"cert", "delete", "gate, west", "--yes"}).output,
              "Certificate \"gate, west\" is deleted from token \"Office\".\n");
    EXPECT_EQ(sent(Command::DeleteCertificate), encoded(office, gate));
    service.on(Command::DeleteCertificate,
               Reaction::refuse("log in first", static_cast<std::uint32_t>(Refused::notLoggedIn)));
    expectError(run({"cert", "delete", "gate, west", "--yes"}), 24, "log in first");
}

TEST_F(FileVerbs, DeleteNothingThatWasExchangedMeanwhile) {
    int listings = 0;
    service.on(Command::EnumCertificates, [&, this](const panelkit::testing::Received&) {
        return Reaction::reply(pairs<CertInfo>({{++listings == 1 ? office : home, gate}}));
    });
    expectError(run({"cert", "delete", "0A1B", "--yes"}), 10, "is not there any more; nothing was done");
    EXPECT_EQ(sent(Command::DeleteCertificate), "");
}

// ---- CRLs and preshared keys

TEST_F(FileVerbs, ListImportAndDeleteCrls) {
    CRLInfo current = crl;
    current.fingerprint = "55555555";
    current.nextUpdate = 0;
    service.on(Command::EnumCRLs, Reaction::reply(pairs<CRLInfo>({{office, crl}, {home, current}})));
    EXPECT_THAT(run({"crl", "list"}).output, HasSubstr("Root    7       2023-11-14  2023-11-21  "));
    EXPECT_THAT(run({"crl", "list", "--token", "B2"}).output, HasSubstr("Root    7       2023-11-14  never"));
    const auto json = nlohmann::json::parse(run({"crl", "list", "--outdated", "--json"}).output);
    ASSERT_EQ(json.size(), 1U);
    EXPECT_EQ(json[0]["revoked"], 3);

    fileHolds({}, {crl});
    answer(Command::ImportCRL, vocabulary::ImportCrl::imported);
    EXPECT_EQ(run({"crl", "import", path, "--token", "B2"}).status, 0);
    EXPECT_EQ(sent(Command::ImportCRL), encoded(home, std::uint32_t{0}));
    answer(Command::ImportCRL, vocabulary::ImportCrl::olderThanPresent);
    expectError(run({"crl", "import", path, "--token", "B2"}), 62, "has a newer CRL of \"Root\" already");
    fileHolds({plain});
    expectError(run({"crl", "import", path}), 12, "holds no CRL");

    service.on(Command::DeleteCRL, Reaction::reply(""));
    expectError(run({"crl", "delete", "Root", "--yes"}), 11,
                "  55555555  CN=Root,O=Büro, of 2023-11-14, on token \"東京\"");
    expectError(run({"crl", "delete", "4444 4444"}), 26, "--yes");
    EXPECT_EQ(run({"crl", "delete", "4444 4444", "--yes"}).status, 0);
    EXPECT_EQ(sent(Command::DeleteCRL), encoded(office, crl));
}

TEST_F(FileVerbs, CreateAndDeletePresharedKeys) {
    service.on(Command::EnumPresharedKeys, Reaction::reply(pairs<PresharedKeyInfo>(
                                               {{office, {"site a"}}, {home, {"site a"}}, {home, {"site b"}}})));
    service.on(Command::CreatePresharedKey, Reaction::reply(encoded(true)));
    service.on(Command::DeletePresharedKey, Reaction::reply(""));
    EXPECT_EQ(run({"psk", "list"}).output, "NAME    TOKEN\nsite a  Office\nsite a  東京\nsite b  東京\n");
    const auto created = run({"psk", "create", "site c", "--token", "A1", "--value-stdin"}, "ke y=1\n");
    EXPECT_EQ(created.status, 0) << created.error;
    EXPECT_EQ(sent(Command::CreatePresharedKey), encoded(office, std::string("site c"), std::string("ke y=1")));
    EXPECT_THAT(created.output + created.error, Not(HasSubstr("ke y=1")));
    service.on(Command::CreatePresharedKey, Reaction::reply(encoded(false)));
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
        service.on(Command::GetCertRequestKeyInfo, Reaction::reply(encoded(choices)));
        service.on(Command::MakeCertRequest, Reaction::reply(encoded(std::uint32_t{0}, std::string("request\n"))));
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
    expectError(lost, 1, "\nthe key pair \"gate\" is on token \"Office\" all the same");
    for (const char* key : {"rsa:512", "rsa:", "rsa:2048x", "dsa", "ec:99999999999999999999"}) {
        expectError(run({"cert", "request", "--token", "A1", "--cn", "gate", "--key", key}), 12,
                    "it offers rsa:1024, rsa:2048, rsa:4096, ec:256, ec:384");
    }
    expectError(run({"cert", "request", "--token", "A1", "--cn", "gate", "--key", "ec", "--digest", "sha256"}), 12,
                "does not sign with sha256 here; it offers sha384");
    expectError(run({"cert", "request", "--token", "A1", "--cn", "gate", "--usage", "ipsecIKe"}), 2,
                "did you mean \"ipsecIKE\"?");
}

TEST_F(RequestVerb, ListsTheKeysOnOffer) {
    const auto result = run({"cert", "request", "--list-keys", "--token", "A1"});
    EXPECT_THAT(result.output, HasSubstr("rsa:4096  sha256, sha512\n"));
    const auto json = nlohmann::json::parse(run({"cert", "request", "--list-keys", "--token", "A1", "--json"}).output);
    EXPECT_EQ(json[1], nlohmann::json({{"schema", 1}, {"type", "ec"}, {"bits", {256, 384}}, {"digests", {"sha384"}}}));
    EXPECT_EQ(sent(Command::MakeCertRequest), "");
    service.on(Command::MakeCertRequest,
               Reaction::reply(encoded(vocabulary::MakeRequest::subjectUnfit, std::string("C is two letters"))));
    expectError(run({"cert", "request", "--token", "A1"}), 12, "needs a name that X.509 takes: C is two letters");
}

} // namespace
