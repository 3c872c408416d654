// SPDX-License-Identifier: MIT
#include "certs_fixture.h"

using PKCS11::TokenInfo;

namespace {

using ACertsController = WithCertsController;

TEST_F(ACertsController, SendsEachRequestByteForByteAndReadsItsReply) {
    tokens.resize(5);
    certificates.resize(1);
    read.validTo = "the front end's own";
    expectRequests(operations, "Certificates");
    EXPECT_EQ(service->opened().size(), 1U);
    EXPECT_THAT(certificates, ElementsAre(certificate, certificate));
    EXPECT_THAT(tokens, ElementsAre(token, token));
    EXPECT_THAT(crls, ElementsAre(crl));
    EXPECT_THAT(tokensOfCrls, ElementsAre(token));
    EXPECT_THAT(keys, ElementsAre(PresharedKeyInfo{"key"}, PresharedKeyInfo{""}));
    EXPECT_THAT(tokensOfKeys, ElementsAre(token, token));
    EXPECT_THAT(tokensAlone, ElementsAre(token));
    EXPECT_THAT(choices, ElementsAre(keyChoice));
    EXPECT_THAT(results, ElementsAre(ImportCertResult{7}));
    EXPECT_THAT(chain, ElementsAre(certificate));
    EXPECT_THAT(tokensOfChain, ElementsAre(token));
    EXPECT_EQ(pem, "PEM") << "filled whatever the result";
    EXPECT_EQ(verdict, "why");
    EXPECT_EQ(text, "text");
    EXPECT_EQ(read.certificatePolicies, "t17");
    EXPECT_EQ(read.validTo, "the front end's own");
}

TEST_F(ACertsController, ThrowsOnEveryReplyThatEndsEarly) { expectThrowAtEveryCut(operations); }

// Every operation waits with the hook, over the session that the controller took.
TEST_F(ACertsController, WaitsWithItsHookOverItsSession) {
    for (const Operation& row : operations) {
        EXPECT_EQ(sessionDuring(row, controller), session) << panelkit::commandRow(row.command).name;
    }
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
    EXPECT_THROW(controller.EnumCRLs(crls, tokens), const char*) << "half a pair is not a pair";
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
    record = certificate;
    EXPECT_FALSE(controller.GetCertDetails(token, record, read, text));
    EXPECT_FALSE(controller.VerifyCert(token, certificate, 0, &text));
    EXPECT_TRUE(tokens.size() == 1 && certificates.size() == 1 && crls.size() == 1 && keys.size() == 1);
    EXPECT_EQ(record, certificate);
    EXPECT_EQ(read, CertExtentions());
    EXPECT_EQ(text, "kept");

    EXPECT_FALSE(controller.GetCertChain(token, certificate, tokens, certificates));
    EXPECT_TRUE(tokens.empty() && certificates.empty()) << "the chain is emptied first";
}

TEST_F(ACertsController, EmptiesAChainForACountBelowOne) {
    for (const char* count : {"00 00 00 00", "ff ff ff ff", "00 00 00 80"}) {
        answer(Command::GetCertChain, joined({"01 00 00 00", count, tokenBytes, certificateBytes}));
        tokens.assign(3, TokenInfo());
        certificates.assign(3, CertInfo());
        EXPECT_TRUE(controller.GetCertChain(token, certificate, tokens, certificates)) << count;
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

// ---- what is particular about the records

TEST(CertRecords, FillVectorsOfNumbersInPlace) {
    CertRequestKeyInfo choice{9, {1, 2, 3, 4, 5}, {}};
    const std::string bytes = hex(keyChoiceBytes);
    CommandStreamIn(bytes) >> choice;
    EXPECT_THAT(choice.keyBits, ElementsAre(256, 384));
    const std::string none = hex("03 00 00 00  00 00 00 00  00 00 00 00");
    CommandStreamIn(none) >> choice;
    EXPECT_TRUE(choice.keyBits.empty());
    EXPECT_TRUE(choice.digests.empty());
}

TEST(CertRecords, LeaveTheFrontEndsPartOfTheDetailsAlone) {
    const auto fillOwnPart = [](CertExtentions& record) {
        record.token = token;
        record.certificate = certificate;
        record.validFrom = "from";
        record.validTo = "to";
        record.purpose = "purpose";
        record.revocation = "never";
    };
    CertExtentions read;
    fillOwnPart(read);
    read.extensions = {{"stale", "stale"}, {"stale", "stale"}, {"stale", "stale"}};
    const std::string bytes = hex(detailsBytes);
    CommandStreamIn(bytes) >> read;
    CertExtentions expected = details;
    fillOwnPart(expected);
    EXPECT_EQ(read, expected);
    EXPECT_EQ(encoded(read), bytes) << "and none of it travels";
}

} // namespace
