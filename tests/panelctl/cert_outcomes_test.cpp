// SPDX-License-Identifier: MIT
//
// For every result of a certificate operation, the verb ends with an exit code and a line of its own.
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_outcomes.h>

#include <platform/system/clock.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

using namespace panelctl;
using testing::AnyOf;
using testing::HasSubstr;

namespace {

bool isListed(Exit code) {
    return std::any_of(exitRows, exitRows + exitRowCount, [=](const ExitRow& row) { return row.code == code; });
}

// Walks over all numbers up to one that is unused. `known` is how many the service has names for, with its success.
template <class LibraryResult>
void expectLinesOfTheirOwn(std::size_t known, const std::set<std::uint32_t>& ofTheLibrary) {
    std::set<std::string> lines;
    for (std::uint32_t number = 1; number < 50; ++number) {
        if (ofTheLibrary.count(number)) continue;
        const CommandError error = errorOf(static_cast<LibraryResult>(number), {"thing", "Office", "because"});
        const std::string line = error.what();
        EXPECT_TRUE(isListed(error.code) && error.code != Exit::ok) << number;
        EXPECT_THAT(line, HasSubstr(": because"));
        if (line.starts_with("the service answered with result")) {
            EXPECT_THAT(line, HasSubstr("result " + std::to_string(number)));
            continue;
        }
        EXPECT_TRUE(lines.insert(line).second) << "said twice: " << line;
        EXPECT_THAT(line, AnyOf(HasSubstr("thing"), HasSubstr("Office"), HasSubstr("a name that X.509 allows")));
    }
    EXPECT_EQ(lines.size() + 1, known);
}

TEST(EveryResult, HasAnExitCodeAndALineThatSaysWhy) {
    expectLinesOfTheirOwn<ParseCertFileResult>(5, {1, 3});
    expectLinesOfTheirOwn<ImportCertResult>(12, {3});
    expectLinesOfTheirOwn<ImportCRLResult>(10, {2});
    expectLinesOfTheirOwn<ExportCertResult>(6, {3});
    expectLinesOfTheirOwn<MakeCertRequestResult>(8, {4});
}

TEST(EveryResult, OfTheLibraryItselfIsAnErrorToo) {
    EXPECT_EQ(errorOf(ParseCertFileResult::fileUnreadable, {"f", ""}).code, Exit::badInput);
    const Exit none = lastFailureError().code;
    EXPECT_NE(none, Exit::ok);
    EXPECT_EQ(errorOf(ParseCertFileResult::notCarriedOut, {"f", ""}).code, none);
    EXPECT_EQ(errorOf(ImportCertResult::notCarriedOut, {"f", ""}).code, none);
    EXPECT_EQ(errorOf(ImportCRLResult::notCarriedOut, {"f", ""}).code, none);
    EXPECT_EQ(errorOf(ExportCertResult::notCarriedOut, {"f", ""}).code, none);
    EXPECT_EQ(errorOf(MakeCertRequestResult::notCarriedOut, {"f", ""}).code, none);
}

TEST(ACommonName, IsReadThroughTheEscapesOfItsName) {
    EXPECT_EQ(commonName("CN=Büro 1,O=X"), "Büro 1");
    EXPECT_EQ(commonName("O=X, CN=last"), "last");
    EXPECT_EQ(commonName("O=a\\,CN=no,CN=yes"), "yes");
    EXPECT_EQ(commonName("CN=a\\, b\\+c\\C3\\A4\\\\,O=X"), "a, b+cä\\");
    EXPECT_EQ(commonName("UID=1+CN=multi,O=X"), "multi");
    EXPECT_EQ(commonName("O=only\\"), "O=only\\");
    EXPECT_EQ(commonName("CN=,O=X"), "CN=,O=X");
    EXPECT_EQ(commonName(""), "");
}

TEST(TimesOfRecords, AreShownInUtcUpToTheLastThatX509CanWrite) {
    EXPECT_EQ(timeText(951782400), "2000-02-29 00:00:00 UTC");
    EXPECT_EQ(timeText(~std::uint64_t{0}), "9999-12-31 23:59:59 UTC");
    EXPECT_EQ(daysLeft(platform::secondsNow() + 86400 * 3 + 3600), 3);
    EXPECT_EQ(daysLeft(platform::secondsNow() - 3600), -1);
    EXPECT_EQ(daysLeft(0), -static_cast<std::int64_t>((platform::secondsNow() + 86399) / 86400));
    EXPECT_GT(daysLeft(~std::uint64_t{0}), 2'000'000);
}

} // namespace
