// SPDX-License-Identifier: MIT
#include "../../support/records.h"
#include "certs_fixture.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

const CertImportOption option{.certificate = certificate, .modes = 6, .keyTokens = {1, 0x0A0B0C0D}};

TEST(CertRecords, HaveTheirHandWrittenBytes) {
    EXPECT_EQ(toHex(encoded(certificate)), toHex(hex(certificateBytes)));
    EXPECT_EQ(toHex(encoded(crl)), toHex(hex(crlBytes)));
    EXPECT_EQ(toHex(encoded(PresharedKeyInfo{"office"})), toHex(hex("06 00 00 00 'office'")));
    EXPECT_EQ(toHex(encoded(option)),
              toHex(joined({certificateBytes, "06 00 00 00  02 00 00 00 01 00 00 00 0d 0c 0b 0a"})));
    EXPECT_EQ(toHex(encoded(keyChoice)), toHex(hex(keyChoiceBytes)));
    EXPECT_EQ(toHex(encoded(details)), toHex(hex(detailsBytes)));
    EXPECT_EQ(encoded(CertInfo()), std::string(53, '\0'));
    EXPECT_EQ(encoded(CRLInfo()), std::string(36, '\0'));
    EXPECT_EQ(encoded(CertRequestInfo()), std::string(57, '\0'));
}

TEST(CertRecords, WriteARequestsFormatTwiceAndItsFlagBehindTheSubject) {
    EXPECT_EQ(toHex(encoded(wanted)), toHex(hex(wantedBytes)));
}

TEST(CertRecords, ComeBackEqualAndRefuseEveryTruncation) {
    expectRoundTripAndNoShortForm(certificate);
    expectRoundTripAndNoShortForm(crl);
    expectRoundTripAndNoShortForm(option);
    expectRoundTripAndNoShortForm(keyChoice);
    expectRoundTripAndNoShortForm(details);
}

TEST(CertRecords, ReadAKeyPresenceByteOfTwoAsFalse) {
    std::string bytes = encoded(certificate);
    bytes[bytes.size() - 13] = 2; // before the last three numbers
    CertInfo read;
    read.hasPrivateKey = true;
    CommandStreamIn(bytes) >> read;
    EXPECT_FALSE(read.hasPrivateKey);
    EXPECT_EQ(read.flags, certificate.flags);
}

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
