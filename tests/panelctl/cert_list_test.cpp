// SPDX-License-Identifier: MIT
//
// panelctl cert list, show, chain, verify: what they print, and how certificates are named. Runs under Wine too.
#include "cert_fixture.h"

#include <ctime>

using vocabulary::CertSelector;

namespace {

std::string dateOf(std::uint64_t time) {
    const auto seconds = static_cast<std::time_t>(time);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d", std::gmtime(&seconds));
    return text.data();
}

TEST_F(CertVerbs, ListCertificatesInAlignedColumnsWithDaysAndKeys) {
    const auto result = run({"cert", "list"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.output, "NAME              ISSUER  SERIAL  EXPIRES     DAYS  KEY      TOKEN   STATE\n"
                             "gate, west        Root    0A1B    " +
                                 dateOf(gate.notAfter) +
                                 "  10    present  Office  valid\n"
                                 "Root              Root    01      " +
                                 dateOf(authority.notAfter) +
                                 "  4000           Office  valid\n"
                                 "gate east\\x1B[2J  Other   -FF     " +
                                 dateOf(old.notAfter) + "  -21            東京    expired\n");
    EXPECT_EQ(result.error, "");
}

TEST_F(CertVerbs, ListCertificatesAsJson) {
    const auto list = json({"cert", "list"});
    expectHolds(list, R"([{"schema": 1, "subject": "CN=gate\\, west,O=Büro", "notBefore": "2001-09-09T01:46:40Z",
         "daysLeft": 10, "keyType": "RSA", "keyUsage": ["digitalSignature", "ipsecIKE"], "hasPrivateKey": true},
        {"authority": true}, {"state": "expired", "token": {"label": "東京"}}])");
    const auto tokens = json({"token", "list"});
    for (const auto& [key, value] : list[2]["token"].items()) EXPECT_EQ(tokens[1][key], value) << key;
    listCertificates({});
    EXPECT_EQ(run({"cert", "list", "--json"}).output, "[]\n");
}

TEST_F(CertVerbs, ListWhatIsNotACertificateByItsFingerprint) {
    const CertInfo broken{.fingerprint = "99999999AAAAAAAA2222",
                          .keyType = vocabulary::keyType::unknown,
                          .state = static_cast<std::uint32_t>(vocabulary::CertState::unreadable)};
    listCertificates({{office, broken}});
    const auto result = run({"cert", "list"});
    EXPECT_THAT(result.output,
                HasSubstr("\nfingerprint 99999999AAAAAAAA                                      Office  unreadable"));
    EXPECT_EQ(run({"cert", "list", "--expiring", "30d"}).status, 0) << "it does not expire";
    const auto read = json({"cert", "list"})[0];
    for (const char* key : {"notBefore", "notAfter", "daysLeft"}) EXPECT_TRUE(read[key].is_null()) << key;
    service.on(Command::DeleteCertificate, Reaction::reply(""));
    EXPECT_EQ(run({"cert", "delete", "99999999AA", "--yes"}).status, 0);
    EXPECT_EQ(sent(Command::DeleteCertificate), encoded(office, broken));
}

TEST_F(CertVerbs, ListWhatIsAskedFor) {
    const auto selectorOf = [&](const std::string& option) {
        EXPECT_EQ(run({"cert", "list", option}).status, 0);
        return sent(Command::EnumCertificates);
    };
    EXPECT_EQ(selectorOf("--with-key"), encoded(CertSelector::withPrivateKey));
    EXPECT_EQ(selectorOf("--ca"), encoded(CertSelector::authorities));
    EXPECT_EQ(selectorOf("--others"), encoded(CertSelector::others));
    const auto count = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"cert", "list", "--json"});
        return nlohmann::json::parse(run(arguments).output).size();
    };
    EXPECT_EQ(count({"--expired"}), 1U);
    EXPECT_EQ(count({"--token", "A1"}), 2U);
    EXPECT_EQ(count({"--token", "pkcs11:token=%E6%9D%B1%E4%BA%AC"}), 1U);
    expectError(run({"cert", "list", "--ca", "--with-key"}), 2, "--with-key can't be used together with --ca");
    expectError(run({"cert", "list", "--token", "Offce"}), 10, "did you mean \"Office\"?");
}

TEST_F(CertVerbs, TellAMonitorThatCertificatesAreAboutToExpire) {
    const auto soon = run({"cert", "list", "--expiring", "30d"});
    EXPECT_EQ(soon.status, 61);
    EXPECT_THAT(soon.output, HasSubstr("gate, west"));
    EXPECT_THAT(soon.output, HasSubstr("gate east")) << "what has expired is missed even more";
    EXPECT_THAT(soon.output, Not(HasSubstr("4000")));
    EXPECT_THAT(soon.error, HasSubstr("2 certificates expire within 30d"));
    EXPECT_EQ(json({"cert", "list", "--expiring", "1h"}).size(), 1U);
    listCertificates({{office, gate}, {office, authority}});
    EXPECT_EQ(run({"cert", "list", "--expiring", "1w"}).status, 0);
    EXPECT_EQ(run({"cert", "list", "--expiring", "2w"}).status, 61);
    for (const char* period : {"", "d", "3x", "30 d", "-1", "99999999999d"}) {
        expectError(run({"cert", "list", std::string("--expiring=") + period}), 2, "");
    }
}

// ---- names

TEST_F(CertVerbs, FindACertificateByWhateverAPersonHas) {
    service.answer<Command::VerifyCert>(true, std::string("good"));
    for (const char* name : {"gate, west", "CN=gate\\, west,O=Büro", "0a:1b", "A1B", "11111111aaaa", "gate key", "WEST",
                             "pkcs11:token=Office;object=gate%20key", "pkcs11:id=%C3%A4;type=cert"}) {
        const auto result = run({"cert", "verify", name});
        EXPECT_EQ(result.status, 0) << name << ": " << result.error;
        EXPECT_EQ(sent(Command::VerifyCert), encoded(office, gate, 0)) << name << ": the record goes as it was listed";
    }
    EXPECT_EQ(run({"cert", "verify", "--", "-FF"}).status, 0) << "a number below zero";
    expectError(run({"cert", "show", "pkcs11:id=%C3%A5"}), 10, "there is no certificate");
    expectError(run({"cert", "show", "Rood"}), 10, "there is no certificate \"Rood\"; did you mean \"Root\"?");
    expectError(run({"cert", "show", "gate"}), 11, "\"gate\" matches several");
    const auto ambiguous = run({"cert", "show", "gate"}).error;
    EXPECT_THAT(ambiguous,
                HasSubstr("\n  11111111AAAAAAAA  CN=gate\\, west,O=Büro, valid until " + dateOf(gate.notAfter)));
    EXPECT_THAT(ambiguous, HasSubstr("\n  33333333AAAAAAAA  CN=gate east\\x1B[2J, valid until "));
}

TEST_F(CertVerbs, TellOneOnTwoTokensApartByTheToken) {
    listCertificates({{office, gate}, {home, gate}, {home, gate}});
    service.answer<Command::VerifyCert>(true, std::string());
    expectError(run({"cert", "verify", "0A1B"}), 11, "on token \"東京\"");
    EXPECT_EQ(run({"cert", "verify", "0A1B", "--token", "B2"}).status, 0) << "a twin on one token is the same";
    EXPECT_EQ(sent(Command::VerifyCert), encoded(home, gate, 0));
}

TEST_F(CertVerbs, DoNotTakeALostServiceForAMissingCertificate) {
    service.on(Command::EnumCertLabels, Reaction::cutBefore());
    expectError(run({"cert", "delete", "no such label", "--yes"}), 6, "the connection to the service was lost");
    service.on(Command::EnumCertLabels, Reaction::refuse("no such module"));
    expectError(run({"cert", "delete", "no such label", "--yes"}), 40, "no such module");
}

TEST_F(CertVerbs, ReadTheLabelsOfAnyNumberOfCertificatesAtOnce) {
    std::vector<std::pair<TokenInfo, CertInfo>> listed;
    panelkit::TokenLabels labels{home, {}};
    for (int i = 0; i < 2000; ++i) {
        CertInfo certificate = old;
        certificate.fingerprint = "F" + std::to_string(10000000 + i);
        labels.certificates.push_back({certificate.fingerprint, "label " + std::to_string(i), ""});
        listed.emplace_back(home, certificate);
    }
    listCertificates(listed);
    service.answer<Command::EnumCertLabels>(std::vector{labels});
    service.answer<Command::VerifyCert>(true, std::string("good"));
    const std::size_t before = service.requests().size();
    EXPECT_EQ(run({"cert", "verify", "label 1999"}).status, 0);
    EXPECT_EQ(sent(Command::VerifyCert), encoded(home, listed[1999].second, 0));
    EXPECT_EQ(service.requests().size() - before, 3U) << "the certificates, the labels, and the verification";
    // A label on another token is not that of this certificate.
    labels.token = office;
    service.answer<Command::EnumCertLabels>(std::vector{labels});
    expectError(run({"cert", "verify", "label 1999"}), 10, "there is no certificate");
}

// ---- one certificate

TEST_F(CertVerbs, ShowACertificateWithItsDetails) {
    const auto shown = run({"cert", "show", "0A1B"});
    EXPECT_EQ(shown.status, 0) << shown.error;
    EXPECT_THAT(shown.output, HasSubstr("Subject:            CN=gate\\, west,O=Büro\n"));
    EXPECT_THAT(shown.output, HasSubstr("Valid from:         2001-09-09 01:46:40 UTC\n"));
    EXPECT_THAT(shown.output, HasSubstr("(days left: 10)\n"));
    EXPECT_THAT(shown.output, HasSubstr("Key:                RSA 2048\n"));
    EXPECT_THAT(shown.output, HasSubstr("on the token, can't be exported\n"));
    EXPECT_THAT(shown.output, HasSubstr("DNS:gate.example\\x1B[31m\n"));
    EXPECT_THAT(shown.output, Not(HasSubstr("Policies"))) << "what it lacks is left out";
    EXPECT_EQ(run({"cert", "show", "0A1B", "--text"}).output, "line 1\nline\\x1B 2\n");
    const auto read = json({"cert", "show", "0A1B"});
    EXPECT_EQ(read["uri"],
              "pkcs11:model=X;manufacturer=Acme;serial=A1;token=Office;id=%C3%A4;object=gate%20key;type=cert");
    EXPECT_EQ(read["extensions"][0], nlohmann::json({{"name", "basicConstraints"}, {"value", "CA:FALSE"}}));
    EXPECT_EQ(read["revokedAt"], nullptr);
}

TEST_F(CertVerbs, ShowTheChainAndSayWhereItBreaksOff) {
    const auto chain = [&](const std::string& pairsOfIt, std::int32_t count) {
        service.on(Command::GetCertChain, Reaction::reply(encoded(std::uint32_t{0}, count) + pairsOfIt));
        return run({"cert", "chain", "0A1B"});
    };
    const auto whole = chain(encoded(office, gate, office, authority), 2);
    EXPECT_THAT(whole.output, HasSubstr("\ngate, west  0A1B"));
    EXPECT_THAT(whole.output, HasSubstr("\n  Root      01  "));
    EXPECT_EQ(whole.error, "");
    EXPECT_THAT(chain(encoded(office, gate), 1).error, HasSubstr("The chain is incomplete"));
    EXPECT_EQ(json({"cert", "chain", "0A1B"})[0]["serial"], "0A1B");
}

TEST_F(CertVerbs, VerifyWithAPurposeAndSayWhyNot) {
    namespace flag = vocabulary::verifyFlag;
    service.answer<Command::VerifyCert>(true, std::string("gate\nRoot"));
    EXPECT_EQ(run({"cert", "verify", "0A1B"}).output, "Certificate \"gate, west\" passed verification.\ngate\nRoot\n");
    run({"cert", "verify", "0A1B", "--purpose", "tls-server", "--crl-required"});
    EXPECT_EQ(sent(Command::VerifyCert), encoded(office, gate, std::uint32_t{2 | flag::crlRequired}));
    run({"cert", "verify", "0A1B", "--purpose", "ike", "--no-crl"});
    EXPECT_EQ(sent(Command::VerifyCert), encoded(office, gate, std::uint32_t{1 | flag::noRevocation}));
    expectError(run({"cert", "verify", "0A1B", "--purpose", "cofee"}), 2,
                "--purpose: \"cofee\" is not one of: any, ike, tls-server, tls-client, ca");

    service.answer<Command::VerifyCert>(false, std::string("it is revoked"));
    expectError(run({"cert", "verify", "0A1B"}), 60, "certificate \"gate, west\" failed verification: it is revoked");
    const auto json = run({"cert", "verify", "0A1B", "--json"});
    EXPECT_EQ(json.status, 60);
    EXPECT_EQ(nlohmann::json::parse(json.output),
              nlohmann::json({{"schema", 1}, {"verified", false}, {"reason", "it is revoked"}}));
    service.on(Command::VerifyCert,
               Reaction::refuse("gone", static_cast<std::uint32_t>(vocabulary::Refused::noSuchToken)));
    expectError(run({"cert", "verify", "0A1B"}), 10, "gone");
}

TEST_F(CertVerbs, ReloadAndForgetFilesOnlyWhenAsked) {
    service.on(Command::CertsReloadAll, Reaction::reply(""));
    EXPECT_EQ(run({"cert", "reload"}).status, 0);
    EXPECT_EQ(sent(Command::CertsReloadAll), encoded(false));
    EXPECT_EQ(run({"cert", "reload", "--forget"}).status, 0);
    EXPECT_EQ(sent(Command::CertsReloadAll), encoded(true));
}

} // namespace
