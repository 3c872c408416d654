// SPDX-License-Identifier: MIT
//
// panelctl cert import, export, delete: what is sent to the service, and what is not. Runs under Wine too.
#include "cert_fixture.h"

#include <panelkit/certs/cert_imports.h>

using vocabulary::CertImport;
using vocabulary::Refused;

namespace {

// ---- import

TEST_F(FileVerbs, SendNoFileThatIsMissingEmptyOrTooLarge) {
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
              "Certificate \"gate, west\" is imported to token \"Office\", with the authorities of its chain.\n");
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
    fileHolds({{gate, bit(CertImport::certificateOnly), {7}}}); // not an index of the list
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
    EXPECT_THAT(result.error, HasSubstr("certificate \"Root\" is already on token \"Office\""));
    EXPECT_THAT(result.error, HasSubstr("also holds 1 CRL: "));
    EXPECT_EQ(result.output, "Certificate \"gate east\\x1B[2J\" is imported to token \"Office\".\n");
    const auto read = json({"cert", "import", path, "--token", "A1"});
    EXPECT_EQ(read[0]["imported"], false);
    EXPECT_EQ(read[1]["imported"], true);
    answer(Command::ImportCertificate, vocabulary::ImportCert::alreadyThere);
    expectError(run({"cert", "import", path, "--token", "A1"}), 62,
                "panelctl: certificate \"Root\" is already on token \"Office\"\ncertificate \"gate east\\x1B[2J\"");
    expectError(run({"cert", "import", path, "--only", "nobody"}), 10, "holds no certificate \"nobody\"");
}

TEST_F(FileVerbs, StopAtTheFirstCertificateThatFails) {
    fileHolds({plain, plain, plain});
    answer(Command::ImportCertificate, vocabulary::ImportCert::tokenFull);
    expectError(run({"cert", "import", path, "--token", "A1"}), 32, "token \"Office\" is full");
    EXPECT_EQ(sent(Command::ImportCertificate), imported(office, 0, CertImport::certificateOnly));
}

// The first command has one certificate, the next ones have more.
TEST_F(FileVerbs, ImportSeveralByOneCommandAndNameWhatWasDone) {
    using enum vocabulary::ImportCert;
    const CertImportOption other{old, bit(CertImport::certificateOnly), {}};
    fileHolds({plain, other, other, plain, other});
    answer(Command::ImportCertificate, imported);
    const auto several = [&](const std::vector<vocabulary::ImportCert>& results) {
        service.on(Command::ImportCertificates, Reaction::reply(encoded(results)));
        return run({"cert", "import", path, "--token", "A1", "--pin-stdin", "--extractable"}, "1234\n");
    };
    EXPECT_EQ(several({imported, alreadyThere, imported, imported}).status, 0);
    const auto item = [](std::uint32_t place) {
        return panelkit::ImportItem{place, static_cast<CertImportMode>(CertImport::certificateOnly), true};
    };
    EXPECT_EQ(sent(Command::ImportCertificates),
              encoded(office, std::vector{item(1), item(2), item(3), item(4)}, std::string("1234")));
    const auto failed = several({imported, alreadyThere, tokenFull});
    EXPECT_EQ(failed.status, 32);
    EXPECT_THAT(failed.error, HasSubstr("token \"Office\" is full\n2 of 5 were imported before\n  Root\n  gate east"));
    EXPECT_THAT(failed.error, HasSubstr("certificate \"gate east\\x1B[2J\" is already on token"));
    const auto cut = several({imported});
    EXPECT_EQ(cut.status, 8);
    EXPECT_THAT(cut.error, HasSubstr("the service did not say how an import ended\n2 of 5 were imported before"));
    service.on(Command::ImportCertificates, Reaction::cutBefore());
    const auto lost = run({"cert", "import", path, "--token", "A1"});
    EXPECT_EQ(lost.status, 6);
    EXPECT_THAT(lost.error, HasSubstr("1 of 5 were imported before\n  Root"));
}

TEST_F(FileVerbs, ImportByOneCommandOnlyWhatGoesToOneToken) {
    const auto to = [this](std::uint32_t token) {
        return CertImportOption{authority, bit(CertImport::certificateOnly), {token}};
    };
    fileHolds({to(0), to(1), to(0)});
    answer(Command::ImportCertificate, vocabulary::ImportCert::imported);
    EXPECT_EQ(run({"cert", "import", path}).status, 0);
    EXPECT_EQ(sent(Command::ImportCertificates), "");
    EXPECT_EQ(sent(Command::ImportCertificate), imported(office, 2, CertImport::certificateOnly));
}

TEST_F(FileVerbs, ShowWhatIsInAFileAndImportNothing) {
    fileHolds({plain, keyed}, {crl});
    const auto result = run({"cert", "import", path, "--list"});
    EXPECT_THAT(result.output, HasSubstr("\ngate, west  Root    0A1B"));
    EXPECT_THAT(result.output, HasSubstr("and a CRL of CN=Root,O=Büro\n"));
    EXPECT_EQ(json({"cert", "import", path, "--list"})[1]["hasPrivateKey"], true);
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
    service.answer<Command::ExportCertificate>(ExportCertResult{}, bytes);
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
    EXPECT_EQ(run({"cert", "export", "0A1B", "--format", "pkcs12"}).status, 0) << "without a key there is no secret";

    const std::size_t before = service.requests().size();
    expectError(run({"cert", "export", "0A1B", "--output", file}), 12, "already exists; nothing was written");
    EXPECT_EQ(service.requests().size(), before) << "it is refused before anything is exported";
    EXPECT_EQ(run({"cert", "export", "0A1B", "--output", folder.file("no/such/folder")}).status, 1);
    expectError(run({"cert", "export", "0A1B", "--format", "jks"}), 2, "\"jks\" is not one of: pem, der");
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

TEST_F(FileVerbs, DeleteACertificateWithItsKeyInOneCommand) {
    service.on(Command::DeleteCertAndKey, Reaction::reply(""));
    expectError(run({"cert", "delete", "0A1B", "--with-key"}), 26, "use --yes to delete it without confirmation");
    EXPECT_EQ(run({"cert", "delete", "0A1B", "--with-key", "--yes"}).output,
              "Certificate \"gate, west\" and its key are deleted from token \"Office\".\n");
    EXPECT_EQ(sent(Command::DeleteCertAndKey), encoded(office, gate));
    EXPECT_EQ(sent(Command::DeleteCertificate), "");
    const auto read = json({"cert", "delete", "0A1B", "--with-key", "--yes"});
    EXPECT_EQ(read["deleted"]["serial"], "0A1B");
    EXPECT_EQ(read["withKey"], true);
    service.on(Command::DeleteCertAndKey,
               Reaction::refuse("shared", static_cast<std::uint32_t>(vocabulary::Refused::keyShared)));
    expectError(run({"cert", "delete", "0A1B", "--with-key", "--yes"}), 40, "shared");
}

TEST_F(FileVerbs, DeleteNothingUnasked) {
    service.on(Command::DeleteCertificate, Reaction::reply(""));
    expectError(run({"cert", "delete", "0A1B"}), 26,
                "\"gate key\" would be deleted; use --yes to delete it without confirmation");
    expectError(run({"cert", "delete", "west", "--yes"}), 10, "--yes requires the exact name");
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
    expectError(run({"cert", "delete", "0A1B", "--yes"}), 10, "is no longer there; nothing was done");
    EXPECT_EQ(sent(Command::DeleteCertificate), "");
}

} // namespace
