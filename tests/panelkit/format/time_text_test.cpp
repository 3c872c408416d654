// SPDX-License-Identifier: MIT
#include <panelkit/format/time_text.h>

#include "../../support/random.h"
#include "../../support/time_judge.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

using namespace panelkit;

namespace {

constexpr std::uint64_t someTime =
    std::uint64_t{2020} << 40 | std::uint64_t{0} << 32 | 2 << 24 | 3 << 16 | 4 << 8 | 5; // 2020.01.02 03:04:05

PackedTime packed(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    const auto field = [](int value, int place) { return static_cast<std::uint64_t>(value) << 8 * place; };
    return {field(year, 5) | field(month - 1, 4) | field(day, 3) | field(hour, 2) | field(minute, 1) |
            field(second, 0)};
}

PackedTime packed(const std::tm& time) {
    return packed(time.tm_year + 1900, time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
}

std::tm fieldsOf(PackedTime time) {
    std::tm fields{};
    fields.tm_year = static_cast<int>(time.bits >> 40) - 1900;
    fields.tm_mon = static_cast<int>(time.bits >> 32 & 0xFF);
    fields.tm_mday = static_cast<int>(time.bits >> 24 & 0xFF);
    fields.tm_hour = static_cast<int>(time.bits >> 16 & 0xFF);
    fields.tm_min = static_cast<int>(time.bits >> 8 & 0xFF);
    fields.tm_sec = static_cast<int>(time.bits & 0xFF);
    return fields;
}

template <class Time>
std::string made(void (*function)(Time, std::string&), Time time) {
    std::string text;
    function(time, text);
    return text;
}

std::string localText(PlainTime time) {
    char buffer[PlainTimeTextSize];
    return plainTimeToLocalText(time, buffer);
}

const PackedTime invalidTimes[] = {
    {},                       // all ones: no time is set
    {0},                      // the year 0
    packed(1899, 12, 31),     // the year before the first valid one
    {0x76B'FF'FF'FF'FF'FFULL} // 1899 with ones everywhere else
};

TEST(APackedTime, ShowsItsFieldsInFourForms) {
    const ScopedTimeZone zone("MSK-3");
    EXPECT_EQ(made(packedTimeToText, PackedTime{someTime}), "2020.01.02 03:04:05 GMT");
    EXPECT_EQ(made(packedTimeToIsoText, PackedTime{someTime}), "2020-01-02T03:04:05");
    EXPECT_EQ(made(appendPackedTime, PackedTime{someTime}), "02.01.2020 03:04:05 GMT");
    EXPECT_EQ(made(appendPackedTimeLocal, PackedTime{someTime}), "02.01.2020 06:04:05");
    EXPECT_EQ(packedTimeToPlain({someTime}), 1577934245);
}

TEST(APackedTime, ReplacesInTwoFormsAndAppendsInTwo) {
    const std::pair<void (*)(PackedTime, std::string&), std::pair<const char*, const char*>> forms[] = {
        {packedTimeToText, {"1900.01.01 00:00:00 GMT", "0000.00.00 00:00:00"}},
        {packedTimeToIsoText, {"1900-01-01T00:00:00", "0000-00-00T00:00:00"}},
        {appendPackedTime, {"kept 01.01.1900 00:00:00 GMT", "kept Error time"}},
    };
    for (const auto& [form, expected] : forms) {
        std::string text = "kept ";
        form(packed(1900, 1, 1), text);
        EXPECT_EQ(text, expected.first);
        for (const PackedTime& invalid : invalidTimes) {
            text = "kept ";
            form(invalid, text);
            EXPECT_EQ(text, expected.second);
        }
    }
    std::string text = "kept ";
    appendPackedTimeLocal({}, text);
    EXPECT_EQ(text, "kept Error time");
    // No system converts the year 16777215 and beyond in all zones; where it does not, the text is UTC and says so.
    const PackedTime last = packed(16777215, 12, 31, 23, 59, 59);
    const bool converts = judgeLocalTime(packedTimeToPlain(last)).has_value();
    EXPECT_EQ(made(appendPackedTimeLocal, last).ends_with(" UTC"), !converts);
}

TEST(APackedTime, HasNoPlainTimeWhenItIsNotValid) {
    for (const PackedTime& invalid : invalidTimes) EXPECT_EQ(packedTimeToPlain(invalid), -1);
    EXPECT_EQ(packedTimeToPlain(packed(1900, 1, 1)), -2208988800);
}

// Only the year is checked, so a damaged time is shown as it is instead of being hidden.
TEST(APackedTime, ShowsFieldsThatNoCalendarHas) {
    const PackedTime damaged{0xFFFFFF'FF'FF'FF'FF'FEULL};
    EXPECT_EQ(made(packedTimeToText, damaged), "16777215.256.255 255:255:254 GMT");
    EXPECT_EQ(made(appendPackedTime, packed(2020, 1, 0)), "00.01.2020 00:00:00 GMT");
}

// A conversion carries fields that are too large.
TEST(APackedTime, CarriesFieldsThatRunOver) {
    EXPECT_EQ(packedTimeToPlain(packed(2020, 2, 30)), packedTimeToPlain(packed(2020, 3, 1)));
    EXPECT_EQ(packedTimeToPlain(packed(2021, 2, 29)), packedTimeToPlain(packed(2021, 3, 1)));
    EXPECT_EQ(packedTimeToPlain(packed(2020, 1, 0)), packedTimeToPlain(packed(2019, 12, 31)));
    EXPECT_EQ(packedTimeToPlain(packed(2020, 13, 1)), packedTimeToPlain(packed(2021, 1, 1)));
    EXPECT_EQ(packedTimeToPlain(packed(2020, 256, 1)), packedTimeToPlain(packed(2041, 4, 1)));
    EXPECT_EQ(packedTimeToPlain(packed(2020, 12, 31, 23, 59, 60)), packedTimeToPlain(packed(2021, 1, 1)));
    EXPECT_EQ(packedTimeToPlain(packed(16777215, 12, 31, 23, 59, 59)), 529375632796799);
}

// The C library of Windows refuses these; the values are from date(1).
TEST(APackedTime, ConvertsTimesBefore1970ToStoredValues) {
    EXPECT_EQ(packedTimeToPlain(packed(1900, 2, 28, 23, 59, 59)), -2203891201);
    EXPECT_EQ(packedTimeToPlain(packed(1900, 3, 1)), -2203891200); // 1900 is not a leap year
    EXPECT_EQ(packedTimeToPlain(packed(1904, 2, 29, 12, 0, 0)), -2077704000);
    EXPECT_EQ(packedTimeToPlain(packed(1914, 7, 28, 11, 10, 0)), -1749214200);
    EXPECT_EQ(packedTimeToPlain(packed(1945, 5, 8, 22, 43, 0)), -777863820);
    EXPECT_EQ(packedTimeToPlain(packed(1961, 4, 12, 6, 7, 0)), -275248380);
    EXPECT_EQ(packedTimeToPlain(packed(1969, 12, 31, 23, 59, 58)), -2);
}

// Calls `see` with the last second of every month from 1900 to 2500 and its value, counted up from the stored value
// of the first day.
void everyMonthEnd(const std::function<void(PackedTime, PlainTime)>& see) {
    const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    PlainTime end = -2208988800 - 1;
    for (int year = 1900; year <= 2500; ++year) {
        for (int month = 1; month <= 12; ++month) {
            const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
            const int days = lengths[month - 1] + (month == 2 && leap ? 1 : 0);
            end += days * PlainTime{86400};
            see(packed(year, month, days, 23, 59, 59), end);
        }
    }
}

TEST(APackedTime, ConvertsEveryMonthEndFrom1900To2500) {
    int judged = 0;
    everyMonthEnd([&](PackedTime last, PlainTime seconds) {
        ASSERT_EQ(packedTimeToPlain(last), seconds) << made(packedTimeToText, last);
        // The next second by the calendar, and with a field that carries.
        ASSERT_EQ(packedTimeToPlain({last.bits + 1}), seconds + 1);
        const auto library = judgeUtcTime(seconds);
        if (!library) return;
        ASSERT_EQ(packed(*library), last) << seconds;
        ++judged;
    });
    EXPECT_GE(judged, 6372); // all from 1970 on
}

// ---- local time

void expectLocalTexts(PackedTime time, PlainTime seconds) {
    const auto local = judgeLocalTime(seconds);
    ASSERT_EQ(made(appendPackedTimeLocal, time),
              local ? judgeText("%d.%m.%Y %H:%M:%S", *local) : judgeText("%d.%m.%Y %H:%M:%S UTC", fieldsOf(time)));
    ASSERT_EQ(localText(seconds), local ? judgeText("%Y.%m.%d %H:%M:%S", *local) : "0000.00.00 00:00:00");
    ASSERT_EQ(made(appendCtime, seconds), judgeCtime(seconds).value_or("Bad time"));
}

TEST(LocalTexts, AgreeWithTheCLibraryInEveryZone) {
    Random random(3);
    for (const std::string& name : judgeTimeZones()) {
        SCOPED_TRACE(name);
        const ScopedTimeZone zone(name);
        everyMonthEnd([](PackedTime last, PlainTime seconds) {
            // -1 has its own tests.
            if (seconds != NoPlainTime) expectLocalTexts(last, seconds);
        });
        for (int round = 0; round < 1'000; ++round) {
            const auto seconds = static_cast<PlainTime>(random.wide() % 16756761600); // to the year 2500
            const auto utc = judgeUtcTime(seconds);
            if (utc) expectLocalTexts(packed(*utc), seconds);
        }
        if (HasFatalFailure()) return;
    }
}

TEST(LocalTexts, ShowTheEpochInItsZone) {
    const ScopedTimeZone zone("MSK-3");
    char buffer[PlainTimeTextSize];
    EXPECT_EQ(plainTimeToLocalText(0, buffer), buffer);
    EXPECT_STREQ(buffer, "1970.01.01 03:00:00");
    std::string text = "Activated: ";
    appendCtime(0, text);
    EXPECT_EQ(text, "Activated: Thu Jan  1 03:00:00 1970");
}

// The first second of 1900 is the first that is shown, where the system can convert it.
TEST(LocalTexts, BeginWithTheYear1900) {
    const ScopedTimeZone zone("UTC0");
    constexpr PlainTime first = -2208988800;
    EXPECT_EQ(localText(first), judgeLocalTime(first) ? "1900.01.01 00:00:00" : "0000.00.00 00:00:00");
    EXPECT_EQ(made(appendCtime, first), judgeLocalTime(first) ? "Mon Jan  1 00:00:00 1900" : "Bad time");
    EXPECT_EQ(localText(first - 1), "0000.00.00 00:00:00");
}

// Invalid times: unset, before 1900, and beyond any calendar. The C library of Linux would show the first two.
TEST(LocalTexts, FallBackForATimeThatIsNotValid) {
    constexpr auto smallest = std::numeric_limits<PlainTime>::min();
    constexpr auto largest = std::numeric_limits<PlainTime>::max();
    for (const PlainTime time : {PlainTime{-1}, PlainTime{-2208988801}, smallest, largest}) {
        char buffer[PlainTimeTextSize] = "kept";
        EXPECT_STREQ(plainTimeToLocalText(time, buffer), "0000.00.00 00:00:00") << time;
        EXPECT_STREQ(buffer, "kept");
        std::string text = "kept ";
        appendCtime(time, text);
        EXPECT_EQ(text, "kept Bad time") << time;
    }
}

// ctime has room for four digits of the year; more would not be its 24 characters.
TEST(LocalTexts, EndWithTheYear9999InTheCtimeForm) {
    const ScopedTimeZone zone("UTC0");
    EXPECT_EQ(made(appendCtime, PlainTime{253402300800}), "Bad time");
    EXPECT_EQ(made(appendCtime, PlainTime{253402300799}),
              judgeLocalTime(253402300799) ? "Fri Dec 31 23:59:59 9999" : "Bad time");
}

// -1 also means "no plain time", so this one second is shown in UTC in every zone; its neighbours are local.
TEST(LocalTexts, ShowTheLastSecondOf1969InUtc) {
    const ScopedTimeZone zone("MSK-3");
    EXPECT_EQ(made(appendPackedTimeLocal, packed(1969, 12, 31, 23, 59, 59)), "31.12.1969 23:59:59 GMT");
    EXPECT_EQ(made(appendPackedTimeLocal, packed(1970, 1, 1, 0, 0, 0)), "01.01.1970 03:00:00");
    EXPECT_EQ(made(appendPackedTimeLocal, packed(1969, 12, 31, 23, 59, 58)),
              judgeLocalTime(-2) ? "01.01.1970 02:59:58" : "31.12.1969 23:59:58 UTC");
}

// ---- parsing

TEST(ParsedTimes, AreTheirSixNumbers) {
    EXPECT_EQ(parsePackedTime("2020.01.02 03:04:05"), PackedTime{someTime});
    EXPECT_EQ(parsePackedTime("1900.1.1 0:0:0"), packed(1900, 1, 1));
    EXPECT_EQ(parsePackedTime("16777215.12.31 23:59:59"), packed(16777215, 12, 31, 23, 59, 59));
    EXPECT_EQ(parsePackedTime("16777214.12.31 23:59:59"), packed(16777214, 12, 31, 23, 59, 59));
}

TEST(ParsedTimes, AreUnsetWhenANumberIsMissingOrOutOfItsBounds) {
    for (const char* text :
         {"", " ", "2020", "2020.01.02", "2020.01.02 03:04", "2020.01.02 03:04:", "2020.01.02 03:04:x",
          "2020-01-02 03:04:05", "2020.01.02T03:04:05", "2020 .01.02 03:04:05", "2020.01.0203:04:05",
          "1899.12.31 23:59:59", "16777216.01.01 00:00:00", "2020.0.02 03:04:05", "2020.01.0 03:04:05",
          "-2020.01.02 03:04:05", "2020.01.02 03:04:-"}) {
        EXPECT_EQ(parsePackedTime(text), PackedTime{}) << text;
    }
}

// Text after the seconds, such as the "GMT" of our own form, is ignored, typing errors included.
TEST(ParsedTimes, IgnoreWhatStandsBehindTheSeconds) {
    EXPECT_EQ(parsePackedTime("2020.01.02 03:04:05 GMT"), PackedTime{someTime});
    EXPECT_EQ(parsePackedTime("2020.01.02 03:04:05:06"), PackedTime{someTime});
}

TEST(ParsedTimes, EndWithTheTextThatIsGiven) {
    const std::string_view whole = "2020.01.02 03:04:059";
    EXPECT_EQ(parsePackedTime(whole.substr(0, whole.size() - 1)), PackedTime{someTime});
    EXPECT_EQ(parsePackedTime(whole.substr(0, 17)), PackedTime{}) << "the digits of the seconds are not part of it";
}

// As in scanf: blanks and a sign before each number, any or no blank between date and time.
TEST(ParsedTimes, MayHaveBlanksAndSignsBeforeEachNumber) {
    EXPECT_EQ(parsePackedTime("\t2020. 1. 2\n 3: 4:\r\v\f5"), PackedTime{someTime});
    EXPECT_EQ(parsePackedTime("+2020.+01.+02+03:+04:+05"), PackedTime{someTime});
    EXPECT_EQ(parsePackedTime("2020.01.02-1:00:00"), packed(2020, 1, 2, 255)); // -1 is 2^32 - 1, cut to its byte
}

// The calendar is not checked; a time that does not exist is packed as it was entered.
TEST(ParsedTimes, AreCutToBytesAndNotChecked) {
    EXPECT_EQ(parsePackedTime("2020.02.31 24:60:61"), packed(2020, 2, 31, 24, 60, 61));
    EXPECT_EQ(parsePackedTime("2020.257.256 256:257:511"), packed(2020, 1, 0, 0, 1, 255));
    // The largest possible value means that no time is set.
    EXPECT_EQ(parsePackedTime("16777215.256.255 255:255:255"), PackedTime{});
}

// The C standard does not define what scanf does with such numbers. These are the values of the C libraries of Linux
// and of Windows.
TEST(ParsedTimes, MayHaveNumbersBeyond32Bits) {
    EXPECT_EQ(parsePackedTime("4294969316.01.02 03:04:4294967301"), PackedTime{someTime}); // 2^32 + 2020, 2^32 + 5
    EXPECT_EQ(parsePackedTime("2020.01.02 03:04:99999999999999999999"), packed(2020, 1, 2, 3, 4, 255));
    EXPECT_EQ(parsePackedTime("2020.01.02 03:04:-99999999999999999999"), packed(2020, 1, 2, 3, 4, 255));
    EXPECT_EQ(parsePackedTime("99999999999999999999.01.02 03:04:05"), PackedTime{});
    EXPECT_EQ(parsePackedTime("000000000000000000000000002020.01.02 03:04:05"), PackedTime{someTime});
}

TEST(ParsedTimes, ComeBackFromTheirText) {
    everyMonthEnd([](PackedTime last, PlainTime) { ASSERT_EQ(parsePackedTime(made(packedTimeToText, last)), last); });
}

} // namespace
