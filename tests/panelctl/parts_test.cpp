// SPDX-License-Identifier: MIT
//
// What panelctl is made of, piece by piece.
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/input.h>
#include <panelctl/base/mistakes.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/certs/cert_format.h>
#include <panelctl/certs/cert_outcomes.h>
#include <panelctl/certs/choosing.h>
#include <panelctl/certs/import_file.h>
#include <panelctl/tokens/token_names.h>

#include "../support/running_service.h"
#include "../support/standard_output.h"
#include "../support/test.h"

#include <platform/system/clock.h>

using namespace panelctl;
using PKCS11::TokenInfo;
using testing::AnyOf;

namespace {

TEST(DisplayWidth, CountsColumnsAndNotBytes) {
    EXPECT_EQ(displayWidth(""), 0);
    EXPECT_EQ(displayWidth("Office"), 6);
    EXPECT_EQ(displayWidth("Офис"), 4);
    EXPECT_EQ(displayWidth("e\u0301"), 1);  // a letter and its accent
    EXPECT_EQ(displayWidth("東京"), 4);     // wide
    EXPECT_EQ(displayWidth("a\u200Bb"), 2); // a blank without width
    EXPECT_EQ(displayWidth("🔑"), 2);
    EXPECT_EQ(padded("東京", 6), "東京  ");
    EXPECT_EQ(padded("longer than that", 3), "longer than that");
}

TEST(ALineOfOurs, KeepsItsEndsAndEscapesTheRest) {
    EXPECT_EQ(printedBy([] { printLine("token \"\x1B[2J\"\nand \u202E"); }), "token \"\\x1B[2J\"\nand \\u{202E}\n");
}

TEST(AText, IsSaidInEnglishWithItsArguments) {
    EXPECT_EQ(say("did you mean \"%s\"?", "%s %1$s"), "did you mean \"%s %1$s\"?") << "arguments are not filled in";
    EXPECT_EQ(say("use --%1$s-fd or --%1$s-file for %2$d", "pin", 7), "use --pin-fd or --pin-file for 7");
    constexpr Label kept = N_("100 %%");
    EXPECT_EQ(say(kept), "100 %");
    EXPECT_EQ(didYouMean("list"), "; did you mean \"list\"?");
    EXPECT_EQ(didYouMean(""), "");
}

// ---- exit codes

bool isListed(Exit code) {
    return std::any_of(exitRows, exitRows + exitRowCount, [=](const ExitRow& row) { return row.code == code; });
}

TEST(ExitCodes, AreDistinctNamedAndOrdered) {
    std::set<std::string> names;
    for (std::size_t i = 0; i < exitRowCount; ++i) {
        EXPECT_TRUE(names.insert(exitRows[i].name).second) << exitRows[i].name;
        EXPECT_TRUE(i == 0 || exitRows[i].code > exitRows[i - 1].code) << exitRows[i].name;
    }
}

TEST(ExitCodes, AreThereForEveryFailureAndEveryReasonToRefuse) {
    using bridge::FailureCode;
    for (std::uint32_t code = 1; code <= static_cast<std::uint32_t>(FailureCode::badEndpoint); ++code) {
        const Exit exit = exitFor(static_cast<FailureCode>(code), vocabulary::Refused::none);
        EXPECT_TRUE(isListed(exit));
        EXPECT_NE(exit, Exit::ok);
        EXPECT_NE(exit, Exit::failed) << "failure " << code << " has no code of its own";
    }
    for (std::uint32_t reason = 0; reason < 100; ++reason) {
        EXPECT_TRUE(isListed(exitFor(FailureCode::refused, static_cast<vocabulary::Refused>(reason)))) << reason;
    }
    EXPECT_EQ(exitFor(FailureCode::refused, vocabulary::Refused::wrongPin), Exit::wrongPin);
    EXPECT_EQ(exitFor(FailureCode::refused, vocabulary::Refused::incomplete), Exit::incomplete);
    EXPECT_EQ(exitFor(FailureCode::noService, vocabulary::Refused::none), Exit::noService);
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

// ---- numbers and periods

TEST(ANumber, IsTakenFromItsLeastToItsLargest) {
    const CLI::Validator validator = numberBetween(0, 86400);
    const auto takes = [&](std::string text) { return validator(text).empty(); };
    for (const char* good : {"0", "0.5", "86400"}) EXPECT_TRUE(takes(good)) << good;
    for (const char* bad : {"-1", "86400.5", "86401", "1x", "", "nan", "inf"}) EXPECT_FALSE(takes(bad)) << bad;
}

TEST(DaysLeft, CountWholeDaysAndAreAWarningBeforeThirty) {
    const auto cell = [](std::int64_t seconds) {
        return daysLeftCell(static_cast<std::uint64_t>(platform::secondsNow<std::int64_t>() + seconds));
    };
    constexpr std::int64_t day = 86'400;
    const struct {
        std::int64_t seconds;
        const char* text;
        Mood mood;
    } rows[] = {{30 * day + 60, "30", Mood::plain},
                {30 * day - 60, "29", Mood::warning},
                {60, "0", Mood::warning},
                {-60, "-1", Mood::bad},
                {-day - 60, "-2", Mood::bad}};
    for (const auto& [seconds, text, mood] : rows) {
        EXPECT_EQ(cell(seconds).text, text);
        EXPECT_EQ(cell(seconds).mood, mood) << text;
    }
}

TEST(AFingerprint, IsNamedByEightDigitsOrMore) {
    EXPECT_TRUE(beginsFingerprint("01234567", "0123456789"));
    EXPECT_FALSE(beginsFingerprint("0123456", "0123456789"));
    EXPECT_FALSE(beginsFingerprint("12345678", "0123456789"));
}

TEST(AFileOfTheLargestSize, IsTaken) {
    const TemporaryFolder folder;
    const std::string path = folder.file("file");
    std::ofstream(path) << "12345";
    EXPECT_EQ(readInput(path, 5), "12345");
    EXPECT_THROW(readInput(path, 4), CommandError);
    std::filesystem::resize_file(path, largestImport);
    EXPECT_NO_THROW(requireImportable(path));
    std::filesystem::resize_file(path, largestImport + 1);
    EXPECT_THROW(requireImportable(path), CommandError);
}

// ---- names of tokens

TEST(ATokenUri, NamesTheTokenAndIsFoundByIt) {
    const TokenInfo token{7, "Bürö; 1%", "A1 B2", "Acme, Model X", "embedded", 0};
    const std::string uri = uriOf(token);
    EXPECT_EQ(uri, "pkcs11:model=Model%20X;manufacturer=Acme;serial=A1%20B2;token=B%C3%BCr%C3%B6%3B%201%25");
    EXPECT_TRUE(matchesUri(token, uri));
    EXPECT_TRUE(matchesUri(token, "pkcs11:serial=A1%20B2"));
    EXPECT_TRUE(matchesUri(token, "pkcs11:"));
    EXPECT_TRUE(matchesUri(token, "pkcs11:manufacturer=Acme;object=cert;type=cert"));
    EXPECT_FALSE(matchesUri(token, "pkcs11:serial=A1%20B3"));
    EXPECT_FALSE(matchesUri(token, "pkcs11:token=B"));
    EXPECT_FALSE(matchesUri(token, "pkcs11:serial=A1%20B3;manufacturer=Acme")) << "every attribute counts";
    EXPECT_TRUE(matchesUri(token, "pkcs11:serial=A1%20B2;slot-id=7"));
    EXPECT_FALSE(matchesUri(token, "pkcs11:serial=A1%20B2;slot-id=8"));
    EXPECT_THROW(matchesUri(token, "pkcs11:serial=A1%20B2?pin-value=1"), CommandError);
    EXPECT_TRUE(matchesUri({7, "1%4z%", "", "", "", 0}, "pkcs11:token=1%4z%"));
    EXPECT_THROW(matchesUri(token, "pkcs11:colour=red"), CommandError);
}

} // namespace
