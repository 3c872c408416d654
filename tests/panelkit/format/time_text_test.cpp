// SPDX-License-Identifier: MIT
#include <panelkit/format/time_text.h>

#include "../../support/test.h"
#include "../../support/time_zone.h"

#include <ctime>
#include <limits>

using namespace panelkit;

namespace {

constexpr std::uint64_t someTime =
    std::uint64_t{2020} << 40 | std::uint64_t{0} << 32 | 2 << 24 | 3 << 16 | 4 << 8 | 5; // 2020.01.02 03:04:05
constexpr PlainTime startOf1900 = -2208988800;

PackedTime packed(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    const auto field = [](int value, int place) { return static_cast<std::uint64_t>(value) << 8 * place; };
    return {field(year, 5) | field(month - 1, 4) | field(day, 3) | field(hour, 2) | field(minute, 1) |
            field(second, 0)};
}

template <class Time>
std::string made(void (*function)(Time, std::string&), Time time, std::string text = {}) {
    function(time, text);
    return text;
}

std::string localText(PlainTime time) {
    char buffer[PlainTimeTextSize];
    return plainTimeToLocalText(time, buffer);
}

// Whether the C library converts the time; that of Windows refuses those before 1970 and after 3000.
bool systemConverts(PlainTime time) {
    const std::time_t seconds = time;
    return std::localtime(&seconds) != nullptr;
}

const PackedTime invalidTimes[] = {
    {},                       // all ones: no time is set
    {0},                      // the year 0
    packed(1899, 12, 31),     // the year before the first valid one
    {0x76B'FF'FF'FF'FF'FFULL} // 1899 with ones everywhere else
};

TEST(APackedTime, ReplacesInTwoFormsAndAppendsInTwo) {
    const ScopedTimeZone zone("MSK-3");
    const struct {
        void (*form)(PackedTime, std::string&);
        const char *some, *first, *invalid;
    } forms[] = {
        {packedTimeToText, "2020.01.02 03:04:05 GMT", "1900.01.01 00:00:00 GMT", "0000.00.00 00:00:00"},
        {packedTimeToIsoText, "2020-01-02T03:04:05", "1900-01-01T00:00:00", "0000-00-00T00:00:00"},
        {appendPackedTime, "kept 02.01.2020 03:04:05 GMT", "kept 01.01.1900 00:00:00 GMT", "kept Error time"},
        {appendPackedTimeLocal, "kept 02.01.2020 06:04:05", nullptr, "kept Error time"},
    };
    for (const auto& row : forms) {
        EXPECT_EQ(made(row.form, {someTime}, "kept "), row.some);
        if (row.first) {
            EXPECT_EQ(made(row.form, packed(1900, 1, 1), "kept "), row.first);
        }
        for (const PackedTime& invalid : invalidTimes) EXPECT_EQ(made(row.form, invalid, "kept "), row.invalid);
    }
    for (const PackedTime& invalid : invalidTimes) EXPECT_EQ(packedTimeToPlain(invalid), NoPlainTime);
    EXPECT_EQ(packedTimeToPlain(packed(1900, 1, 1)), startOf1900);
    // Only the year is checked, so a damaged time is shown as it is instead of being hidden.
    const PackedTime damaged{0xFFFFFF'FF'FF'FF'FF'FEULL};
    EXPECT_EQ(made(packedTimeToText, damaged), "16777215.256.255 255:255:254 GMT");
    EXPECT_EQ(made(appendPackedTime, packed(2020, 1, 0)), "00.01.2020 00:00:00 GMT");
}

// A conversion carries fields that are too large.
TEST(APackedTime, CarriesFieldsThatRunOver) {
    const std::pair<PackedTime, PackedTime> same[] = {
        {packed(2020, 2, 30), packed(2020, 3, 1)},  {packed(2021, 2, 29), packed(2021, 3, 1)},
        {packed(2020, 1, 0), packed(2019, 12, 31)}, {packed(2020, 13, 1), packed(2021, 1, 1)},
        {packed(2020, 256, 1), packed(2041, 4, 1)}, {packed(2020, 12, 31, 23, 59, 60), packed(2021, 1, 1)},
    };
    for (const auto& [over, carried] : same) EXPECT_EQ(packedTimeToPlain(over), packedTimeToPlain(carried));
    EXPECT_EQ(packedTimeToPlain(packed(16777215, 12, 31, 23, 59, 59)), 529375632796799);
}

// The C library of Windows refuses the times before 1970.
TEST(APackedTime, ConvertsEveryMonthEndFrom1900To2500AndComesBackFromItsText) {
    const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    PlainTime end = startOf1900 - 1;
    for (int year = 1900; year <= 2500; ++year) {
        for (int month = 1; month <= 12; ++month) {
            const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
            const int days = lengths[month - 1] + (month == 2 && leap ? 1 : 0);
            end += days * PlainTime{86400};
            const PackedTime last = packed(year, month, days, 23, 59, 59);
            ASSERT_EQ(packedTimeToPlain(last), end) << year << ' ' << month;
            ASSERT_EQ(parsePackedTime(made(packedTimeToText, last)), last);
        }
    }
}

// ---- local time

TEST(LocalTexts, AreThoseOfTheirZone) {
    const struct {
        const char* zone;
        PlainTime time;
        const char *text, *ctime;
    } rows[] = {
        {"UTC0", 951782400, "2000.02.29 00:00:00", "Tue Feb 29 00:00:00 2000"},
        {"MSK-3", 0, "1970.01.01 03:00:00", "Thu Jan  1 03:00:00 1970"},
        {"NPT-5:45", 1577934245, "2020.01.02 08:49:05", "Thu Jan  2 08:49:05 2020"},
        {"EST5EDT", 1577934245, "2020.01.01 22:04:05", "Wed Jan  1 22:04:05 2020"},
#ifndef _WIN32 // Wine's C library does not know when summer time is in a zone that TZ names
        {"EST5EDT", 1593561600, "2020.06.30 20:00:00", "Tue Jun 30 20:00:00 2020"}, // summer time
#endif
    };
    for (const auto& row : rows) {
        const ScopedTimeZone zone(row.zone);
        EXPECT_EQ(localText(row.time), row.text);
        EXPECT_EQ(made(appendCtime, row.time, "Activated: "), std::string("Activated: ") + row.ctime);
    }
}

// They begin with the year 1900 where the system converts it. ctime has room for four digits of the year. No system
// converts the year 16777215 in all zones; where it does not, the text is UTC and says so.
TEST(LocalTexts, HaveALeastAndALargestTime) {
    const ScopedTimeZone zone("UTC0");
    EXPECT_EQ(localText(startOf1900), systemConverts(startOf1900) ? "1900.01.01 00:00:00" : "0000.00.00 00:00:00");
    EXPECT_EQ(made(appendCtime, startOf1900), systemConverts(startOf1900) ? "Mon Jan  1 00:00:00 1900" : "Bad time");
    constexpr PlainTime endOf9999 = 253402300799;
    EXPECT_EQ(made(appendCtime, endOf9999), systemConverts(endOf9999) ? "Fri Dec 31 23:59:59 9999" : "Bad time");
    EXPECT_EQ(made(appendCtime, endOf9999 + 1), "Bad time");
    const PackedTime last = packed(16777215, 12, 31, 23, 59, 59);
    EXPECT_EQ(made(appendPackedTimeLocal, last),
              systemConverts(packedTimeToPlain(last)) ? "31.12.16777215 23:59:59" : "31.12.16777215 23:59:59 UTC");
}

// Invalid times: unset, before 1900, and beyond any calendar. The C library of Linux would show the first two.
TEST(LocalTexts, FallBackForATimeThatIsNotValid) {
    using Limits = std::numeric_limits<PlainTime>;
    for (const PlainTime time : {NoPlainTime, startOf1900 - 1, Limits::min(), Limits::max()}) {
        char buffer[PlainTimeTextSize] = "kept";
        EXPECT_STREQ(plainTimeToLocalText(time, buffer), "0000.00.00 00:00:00") << time;
        EXPECT_STREQ(buffer, "kept");
        EXPECT_EQ(made(appendCtime, time, "kept "), "kept Bad time") << time;
    }
}

// -1 also means "no plain time", so this one second is shown in UTC in every zone; its neighbours are local.
TEST(LocalTexts, ShowTheLastSecondOf1969InUtc) {
    const ScopedTimeZone zone("MSK-3");
    EXPECT_EQ(made(appendPackedTimeLocal, packed(1969, 12, 31, 23, 59, 59)), "31.12.1969 23:59:59 GMT");
    EXPECT_EQ(made(appendPackedTimeLocal, packed(1970, 1, 1, 0, 0, 0)), "01.01.1970 03:00:00");
    EXPECT_EQ(made(appendPackedTimeLocal, packed(1969, 12, 31, 23, 59, 58)),
              systemConverts(-2) ? "01.01.1970 02:59:58" : "31.12.1969 23:59:58 UTC");
}

// ---- parsing

// As in scanf: blanks and a sign before each number, any or no blank between date and time, numbers beyond 32 bits as
// the C libraries of Linux and of Windows take them. Text after the seconds is ignored, and the calendar is not
// checked: fields are cut to bytes.
TEST(ParsedTimes, AreTheirSixNumbers) {
    const std::string_view whole = "2020.01.02 03:04:059";
    const std::pair<std::string_view, PackedTime> rows[] = {
        {"2020.01.02 03:04:05", {someTime}},
        {"1900.1.1 0:0:0", packed(1900, 1, 1)},
        {"16777215.12.31 23:59:59", packed(16777215, 12, 31, 23, 59, 59)},
        {"16777214.12.31 23:59:59", packed(16777214, 12, 31, 23, 59, 59)},
        {"2020.01.02 03:04:05 GMT", {someTime}},
        {"2020.01.02 03:04:05:06", {someTime}},
        {whole.substr(0, whole.size() - 1), {someTime}}, // a part of a text ends where it ends
        {"\t2020. 1. 2\n 3: 4:\r\v\f5", {someTime}},
        {"+2020.+01.+02+03:+04:+05", {someTime}},
        {"2020.01.02-1:00:00", packed(2020, 1, 2, 255)}, // -1 is 2^32 - 1, cut to its byte
        {"2020.02.31 24:60:61", packed(2020, 2, 31, 24, 60, 61)},
        {"2020.257.256 256:257:511", packed(2020, 1, 0, 0, 1, 255)},
        {"4294969316.01.02 03:04:4294967301", {someTime}}, // 2^32 + 2020, 2^32 + 5
        {"2020.01.02 03:04:99999999999999999999", packed(2020, 1, 2, 3, 4, 255)},
        {"2020.01.02 03:04:-99999999999999999999", packed(2020, 1, 2, 3, 4, 255)},
        {"000000000000000000000000002020.01.02 03:04:05", {someTime}},
    };
    for (const auto& [text, time] : rows) EXPECT_EQ(parsePackedTime(text), time) << text;
}

TEST(ParsedTimes, AreUnsetWhenANumberIsMissingOrOutOfItsBounds) {
    for (const std::string_view text :
         {"", " ", "2020", "2020.01.02", "2020.01.02 03:04", "2020.01.02 03:04:", "2020.01.02 03:04:x",
          "2020-01-02 03:04:05", "2020.01.02T03:04:05", "2020 .01.02 03:04:05", "2020.01.0203:04:05",
          "1899.12.31 23:59:59", "16777216.01.01 00:00:00", "2020.0.02 03:04:05", "2020.01.0 03:04:05",
          "-2020.01.02 03:04:05", "2020.01.02 03:04:-", "99999999999999999999.01.02 03:04:05",
          "16777215.256.255 255:255:255"}) { // the last: the largest possible value means that no time is set
        EXPECT_EQ(parsePackedTime(text), PackedTime{}) << text;
    }
    EXPECT_EQ(parsePackedTime(std::string_view("2020.01.02 03:04:05").substr(0, 17)), PackedTime{});
}

} // namespace
