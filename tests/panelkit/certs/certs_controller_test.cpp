// SPDX-License-Identifier: MIT
#include "certs_fixture.h"

#include <gmock/gmock.h>

#include <cstring>
#include <functional>

using PKCS11::TokenInfo;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ACertsController : public WithCertsController {
protected:
    // Runs an operation against the reply, and checks the command and the bytes that were sent.
    template <class Operation>
    auto sends(Command command, unsigned code, const std::string& payload, const std::string& reply,
               Operation operation) {
        service->on(command, Reaction::reply(reply));
        const std::size_t before = service->requests().size();
        const auto result = operation();
        const auto requests = service->requests();
        EXPECT_EQ(requests.size(), before + 1);
        if (requests.empty()) return result;
        EXPECT_EQ(requests.back().session, "Certificates");
        EXPECT_EQ(requests.back().module, 8U);
        EXPECT_EQ(requests.back().command, code);
        EXPECT_EQ(toHex(requests.back().payload), toHex(payload));
        return result;
    }

    void answer(Command command, const std::string& reply) { service->on(command, Reaction::reply(reply)); }

    // The outputs of the operations.
    std::vector<TokenInfo> tokens;
    std::vector<CertInfo> certificates;
    std::vector<CRLInfo> crls;
    std::vector<PresharedKeyInfo> keys;
    std::vector<CertRequestKeyInfo> choices;
    CertExtentions read;
    std::string text;
};

TEST_F(ACertsController, SendsEachListingByteForByte) {
    const std::string none = hex("00 00 00 00");
    EXPECT_TRUE(
        sends(Command::EnumPresharedKeys, 10, "", none, [&] { return controller.EnumPresharedKeys(keys, tokens); }));
    EXPECT_TRUE(sends(Command::EnumCRLs, 13, "", none, [&] { return controller.EnumCRLs(crls, tokens); }));
    EXPECT_TRUE(sends(Command::EnumCertificates, 19, hex("fe ff ff ff"), none,
                      [&] { return controller.EnumCertificates(-2, certificates, tokens); }));
    EXPECT_TRUE(sends(Command::CertsReloadAll, 18, hex("01"), "", [&] { return controller.ReloadAll(true); }));
    EXPECT_TRUE(sends(Command::CertsReloadAll, 18, hex("00"), "junk", [&] { return controller.ReloadAll(false); }));
}

TEST_F(ACertsController, SendsEachChangeByteForByte) {
    EXPECT_TRUE(sends(Command::DeleteCertificate, 3, joined({tokenBytes, certificateBytes}), "",
                      [&] { return controller.DeleteCertificate(token, certificate); }));
    EXPECT_TRUE(sends(Command::DeletePresharedKey, 12, joined({tokenBytes, "06 00 00 00 'office'"}), "",
                      [&] { return controller.DeletePresharedKey(token, {"office"}); }));
    EXPECT_TRUE(sends(Command::DeleteCRL, 14, joined({tokenBytes, crlBytes}), "",
                      [&] { return controller.DeleteCRL(token, crl); }));
    EXPECT_TRUE(sends(Command::CreatePresharedKey, 11,
                      joined({tokenBytes, "06 00 00 00 'office'  03 00 00 00 00 01 ff"}), hex("01 00"),
                      [&] { return controller.CreatePresharedKey(token, "office", std::string("\0\1\xff", 3)); }));
    EXPECT_TRUE(sends(Command::GetCertRequestKeyInfo, 8, joined({tokenBytes}), joined({"01 00 00 00", keyChoiceBytes}),
                      [&] { return controller.GetCertRequestKeyInfo(token, choices); }));
    EXPECT_THAT(choices, ElementsAre(keyChoice));
    EXPECT_EQ(sends(Command::MakeCertRequest, 9, joined({tokenBytes, wantedBytes}),
                    hex("07 00 00 00  03 00 00 00 'PEM'"),
                    [&] { return controller.MakeCertRequest(token, wanted, text); }),
              MakeCertRequestResult{7});
    EXPECT_EQ(text, "PEM") << "filled whatever the result";
}

TEST_F(ACertsController, LooksOnlyAtWhetherSomeCommandsWereAnswered) {
    for (const char* reply : {"", "junk"}) {
        for (const Command command :
             {Command::DeleteCertificate, Command::DeletePresharedKey, Command::DeleteCRL, Command::CertsReloadAll}) {
            answer(command, reply);
        }
        EXPECT_TRUE(controller.DeleteCertificate(token, certificate)) << reply;
        EXPECT_TRUE(controller.DeletePresharedKey(token, {"office"})) << reply;
        EXPECT_TRUE(controller.DeleteCRL(token, crl)) << reply;
        EXPECT_TRUE(controller.ReloadAll(true)) << reply;
    }
}

TEST_F(ACertsController, SendsImportsAndExportsByteForByte) {
    const auto import = [&](const char* pin) {
        return [&, pin] { return controller.ImportCertificate(token, 2, CertImportMode{0x0C}, true, pin); };
    };
    const std::string withoutText = joined({tokenBytes, "02 00 00 00  0c 00 00 00  01"});
    EXPECT_EQ(sends(Command::ImportCertificate, 5, withoutText, hex("00 00 00 00"), import(nullptr)),
              ImportCertResult{0});
    EXPECT_EQ(sends(Command::ImportCertificate, 5, withoutText + hex("00 00 00 00"), hex("09 00 00 80"), import("")),
              ImportCertResult{0x80000009})
        << "values pass through";
    sends(Command::ImportCertificate, 5, withoutText + hex("04 00 00 00 '1234'"), hex("01 00 00 00"), import("1234"));

    EXPECT_EQ(sends(Command::ImportCRL, 6, joined({tokenBytes, "ff ff ff ff"}), hex("05 00 00 00"),
                    [&] { return controller.ImportCRL(token, 0xFFFFFFFF); }),
              ImportCRLResult{5});

    EXPECT_EQ(sends(Command::ExportCertificate, 7,
                    joined({tokenBytes, certificateBytes, "03 00 00 00  06 00 00 00 'secret'  01  00"}),
                    hex("06 00 00 00  03 00 00 00 00 'x' 00"),
                    [&] {
                        return controller.ExportCertificate(token, certificate, CertExportFormat{3}, "secret", true,
                                                            false, text);
                    }),
              ExportCertResult{6});
    EXPECT_EQ(text, std::string("\0x\0", 3)) << "filled whatever the result";
}

TEST_F(ACertsController, NamesACertificateByTheRecordsAsListed) {
    const std::string named = joined({tokenBytes, certificateBytes});
    EXPECT_TRUE(sends(Command::GetCertChain, 15, named, hex("00 00 00 00  00 00 00 00"),
                      [&] { return controller.GetCertChain(token, certificate, tokens, certificates); }));
    CertInfo record = certificate;
    EXPECT_TRUE(sends(Command::GetCertDetails, 16, named, joined({certificateBytes, detailsBytes, "00 00 00 00"}),
                      [&] { return controller.GetCertDetails(token, record, read, text); }));
    EXPECT_TRUE(sends(Command::VerifyCert, 17, named + hex("ff ff ff ff"), hex("01  00 00 00 00"),
                      [&] { return controller.VerifyCert(token, certificate, -1, &text); }));
}

// The one command for another module, over the session of this one.
TEST_F(ACertsController, ListsTheTokensOverItsOwnSession) {
    answer(Command::EnumProviderTokens, joined({"01 00 00 00", tokenBytes}));
    tokens.resize(3);
    EXPECT_TRUE(controller.GetTokensList(tokens));
    EXPECT_THAT(tokens, ElementsAre(token));
    ASSERT_EQ(service->requests().size(), 1U);
    EXPECT_EQ(service->requests()[0].session, "Certificates");
    EXPECT_EQ(service->requests()[0].module, 6U);
    EXPECT_EQ(service->requests()[0].command, 1U);
    EXPECT_EQ(service->requests()[0].payload, "");
}

TEST_F(ACertsController, ReadsListingsIntoParallelVectors) {
    tokens.resize(5);
    certificates.resize(1);
    answer(Command::EnumCertificates,
           joined({"02 00 00 00", tokenBytes, certificateBytes, tokenBytes, certificateBytes, "ff ff"}));
    EXPECT_TRUE(controller.EnumCertificates(0, certificates, tokens))
        << "what follows the last pair is nobody's concern";
    EXPECT_THAT(certificates, ElementsAre(certificate, certificate));
    EXPECT_THAT(tokens, ElementsAre(token, token));

    answer(Command::EnumPresharedKeys,
           joined({"02 00 00 00", tokenBytes, "01 00 00 00 'a'", tokenBytes, "00 00 00 00"}));
    tokens.clear();
    EXPECT_TRUE(controller.EnumPresharedKeys(keys, tokens));
    EXPECT_THAT(keys, ElementsAre(PresharedKeyInfo{"a"}, PresharedKeyInfo{""}));
    EXPECT_EQ(tokens.size(), 2U);
}

TEST_F(ACertsController, EmptiesTheVectorsForACountBelowOne) {
    for (const char* count : {"00 00 00 00", "ff ff ff ff", "00 00 00 80"}) {
        for (const Command command : {Command::EnumCertificates, Command::EnumPresharedKeys}) {
            answer(command, joined({count, tokenBytes, certificateBytes}));
        }
        certificates.resize(2);
        tokens.resize(3);
        EXPECT_TRUE(controller.EnumCertificates(0, certificates, tokens)) << count;
        EXPECT_TRUE(certificates.empty() && tokens.empty()) << count;
        keys.resize(1);
        tokens.resize(1);
        EXPECT_TRUE(controller.EnumPresharedKeys(keys, tokens)) << count;
        EXPECT_TRUE(keys.empty() && tokens.empty()) << count;
    }
}

TEST_F(ACertsController, KeepsEveryRevocationListBehindTheCount) {
    for (const char* count : {"00 00 00 00", "01 00 00 00", "02 00 00 00"}) {
        answer(Command::EnumCRLs, joined({count, tokenBytes, crlBytes, tokenBytes, crlBytes}));
        EXPECT_TRUE(controller.EnumCRLs(crls, tokens));
        EXPECT_THAT(crls, ElementsAre(crl, crl)) << count;
        EXPECT_THAT(tokens, ElementsAre(token, token)) << count;
    }
    answer(Command::EnumCRLs, joined({"01 00 00 00", tokenBytes, crlBytes, tokenBytes, "0c 00"}));
    EXPECT_THROW(controller.EnumCRLs(crls, tokens), const char*) << "half a pair is no pair";
    answer(Command::EnumCRLs, joined({"00 00 00 00", tokenBytes, crlBytes, tokenBytes, "0c 00"}));
    EXPECT_THROW(controller.EnumCRLs(crls, tokens), const char*);
    EXPECT_THAT(crls, ElementsAre(crl));
    EXPECT_THAT(tokens, ElementsAre(token));
}

TEST_F(ACertsController, TakesAnAnswerWithoutAByteForNone) {
    for (const Command command : {Command::EnumCertificates, Command::EnumCRLs, Command::EnumPresharedKeys,
                                  Command::GetCertChain, Command::GetCertDetails, Command::VerifyCert}) {
        answer(command, "");
    }
    tokens = {token};
    certificates = {certificate};
    crls = {crl};
    keys = {{"kept"}};
    text = "kept";
    EXPECT_FALSE(controller.EnumCertificates(0, certificates, tokens));
    EXPECT_FALSE(controller.EnumCRLs(crls, tokens));
    EXPECT_FALSE(controller.EnumPresharedKeys(keys, tokens));
    CertInfo record = certificate;
    EXPECT_FALSE(controller.GetCertDetails(token, record, read, text));
    EXPECT_FALSE(controller.VerifyCert(token, certificate, 0, &text));
    EXPECT_TRUE(tokens.size() == 1 && certificates.size() == 1 && crls.size() == 1 && keys.size() == 1);
    EXPECT_EQ(record, certificate);
    EXPECT_EQ(read, CertExtentions());
    EXPECT_EQ(text, "kept");

    EXPECT_FALSE(controller.GetCertChain(token, certificate, tokens, certificates));
    EXPECT_TRUE(tokens.empty() && certificates.empty()) << "the chain is emptied first";
}

TEST_F(ACertsController, OverwritesTheRecordWhoseDetailsItGets) {
    answer(Command::GetCertDetails, joined({certificateBytes, detailsBytes, "04 00 00 00 'text'"}));
    CertInfo record{.subject = "as listed a while ago", .flags = 1};
    read.validTo = "the front end's own";
    EXPECT_TRUE(controller.GetCertDetails(token, record, read, text));
    EXPECT_EQ(record, certificate);
    EXPECT_EQ(read.certificatePolicies, "t17");
    EXPECT_EQ(read.validTo, "the front end's own");
    EXPECT_EQ(text, "text");
}

TEST_F(ACertsController, BuildsAChainFromWhatFollowsTheFirstWord) {
    const auto chain = [&](std::initializer_list<const char*> reply) {
        answer(Command::GetCertChain, joined(reply));
        tokens.assign(3, TokenInfo());
        certificates.assign(3, CertInfo());
        return controller.GetCertChain(token, certificate, tokens, certificates);
    };
    for (const char* ignored : {"00 00 00 00", "ff ff ff ff"}) {
        EXPECT_TRUE(chain({ignored, "02 00 00 00", tokenBytes, certificateBytes, tokenBytes, certificateBytes}));
        EXPECT_THAT(certificates, ElementsAre(certificate, certificate));
        EXPECT_THAT(tokens, ElementsAre(token, token));
    }
    for (const char* count : {"00 00 00 00", "ff ff ff ff", "00 00 00 80"}) {
        EXPECT_TRUE(chain({"01 00 00 00", count, tokenBytes, certificateBytes})) << count;
        EXPECT_TRUE(tokens.empty() && certificates.empty()) << count;
    }
}

TEST_F(ACertsController, MayGetTheChainOfACertificateIntoTheVectorsThatHoldIt) {
    answer(Command::GetCertChain, joined({"00 00 00 00  01 00 00 00", tokenBytes, certificateBytes}));
    CertInfo known = certificate;
    known.subject = "CN=a name that is too long to live inside its string";
    const std::string named = encoded(token, known);
    tokens = {token};
    certificates = {known};
    EXPECT_TRUE(controller.GetCertChain(tokens[0], certificates[0], tokens, certificates));
    EXPECT_EQ(toHex(onlyPayload()), toHex(named));
    EXPECT_THAT(certificates, ElementsAre(certificate));
}

TEST_F(ACertsController, TakesOnlyTheByteOneForAYes) {
    for (const char byte : {'\0', '\2', '\xff'}) {
        answer(Command::VerifyCert, byte + hex("03 00 00 00 'why'"));
        text.clear();
        EXPECT_FALSE(controller.VerifyCert(token, certificate, 0, &text));
        EXPECT_EQ(text, "why");
        answer(Command::CreatePresharedKey, std::string(1, byte));
        EXPECT_FALSE(controller.CreatePresharedKey(token, "a", "b"));
    }
}

TEST_F(ACertsController, ThrowsOnEveryReplyThatEndsEarly) {
    struct Case {
        Command command;
        std::size_t shortest; // the first length that throws
        std::string reply;
        std::function<void()> operation;
    };
    CertInfo record;
    // clang-format off
    const std::vector<Case> cases{
        {Command::EnumCertificates,      1, joined({"02 00 00 00", tokenBytes, certificateBytes, tokenBytes, certificateBytes}), [&] { controller.EnumCertificates(0, certificates, tokens); }},
        {Command::EnumCRLs,              1, joined({"01 00 00 00", tokenBytes, crlBytes}),                   [&] { controller.EnumCRLs(crls, tokens); }},
        {Command::EnumPresharedKeys,     1, joined({"01 00 00 00", tokenBytes, "03 00 00 00 'key'"}),        [&] { controller.EnumPresharedKeys(keys, tokens); }},
        {Command::EnumProviderTokens,    0, joined({"01 00 00 00", tokenBytes}),                             [&] { controller.GetTokensList(tokens); }},
        {Command::ImportCertificate,     0, hex("00 00 00 00"),                                              [&] { controller.ImportCertificate(token, 0, {}, false, nullptr); }},
        {Command::ImportCRL,             0, hex("00 00 00 00"),                                              [&] { controller.ImportCRL(token, 0); }},
        {Command::ExportCertificate,     0, hex("01 00 00 00  02 00 00 00 'xy'"),                            [&] { controller.ExportCertificate(token, certificate, {}, "", false, false, text); }},
        {Command::GetCertChain,          1, joined({"00 00 00 00  01 00 00 00", tokenBytes, certificateBytes}), [&] { controller.GetCertChain(token, certificate, tokens, certificates); }},
        {Command::GetCertDetails,        1, joined({certificateBytes, detailsBytes, "04 00 00 00 'text'"}),  [&] { controller.GetCertDetails(token, record, read, text); }},
        {Command::VerifyCert,            1, hex("01  03 00 00 00 'why'"),                                    [&] { controller.VerifyCert(token, certificate, 0, &text); }},
        {Command::CreatePresharedKey,    0, hex("01"),                                                       [&] { controller.CreatePresharedKey(token, "", ""); }},
        {Command::GetCertRequestKeyInfo, 0, joined({"01 00 00 00", keyChoiceBytes}),                         [&] { controller.GetCertRequestKeyInfo(token, choices); }},
        {Command::MakeCertRequest,       0, hex("00 00 00 00  02 00 00 00 'xy'"),                            [&] { controller.MakeCertRequest(token, wanted, text); }},
    };
    // clang-format on
    for (const Case& one : cases) {
        for (std::size_t length = one.shortest; length < one.reply.size(); ++length) {
            answer(one.command, one.reply.substr(0, length));
            EXPECT_TRUE(throwsStreamError(one.operation)) << panelkit::commandRow(one.command).name << " " << length;
        }
        answer(one.command, one.reply);
        EXPECT_NO_THROW(one.operation()) << panelkit::commandRow(one.command).name;
    }
}

TEST_F(ACertsController, RefusesACountThatNoReplyCanHoldBeforeItAllocates) {
    const std::string zeros(60, '\0');
    tokens = {token};
    for (const Command command : {Command::EnumCRLs, Command::EnumProviderTokens, Command::GetCertRequestKeyInfo}) {
        answer(command, hex("ff ff ff ff") + zeros);
    }
    for (const Command command : {Command::EnumCertificates, Command::EnumPresharedKeys}) {
        answer(command, hex("ff ff ff 7f") + zeros); // the largest that has a sign
    }
    EXPECT_THROW(controller.EnumCertificates(0, certificates, tokens), const char*);
    EXPECT_THROW(controller.EnumCRLs(crls, tokens), const char*);
    EXPECT_THROW(controller.EnumPresharedKeys(keys, tokens), const char*);
    EXPECT_THROW(controller.GetTokensList(tokens), const char*);
    EXPECT_THROW(controller.GetCertRequestKeyInfo(token, choices), const char*);
    EXPECT_TRUE(certificates.empty() && crls.empty() && keys.empty() && choices.empty());
    EXPECT_THAT(tokens, ElementsAre(token));
    answer(Command::GetCertChain, hex("00 00 00 00  ff ff ff 7f") + std::string(60, '\0'));
    EXPECT_THROW(controller.GetCertChain(token, certificate, tokens, certificates), const char*);
}

} // namespace
