// SPDX-License-Identifier: MIT
//
// Times to texts, and back. There are two kinds of time: the packed time, a calendar time in UTC field by field, and
// the plain time, a count of seconds.
//
//   std::string text;
//   panelkit::packedTimeToText(panelkit::parsePackedTime("2020.01.02 03:04:05"), text); // "2020.01.02 03:04:05 GMT"
//   panelkit::appendCtime(0, text);                                                     // "Thu Jan  1 00:00:00 1970"
//
// "...ToText" replaces what the string holds, "append..." adds to it; each has its own text for an invalid time. The
// texts are the same in every locale, and the same on all systems except for the range of times that the system can
// convert to local time (Windows: 1970 to 3000). Any thread may call everything here.
#pragma once

#include <platform/export.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace panelkit {

// A calendar time in UTC, from the least significant byte upward: seconds, minutes, hours, day of the month, month
// minus one, and the full year in the 24 bits above them. All ones mean that no time is set. Only that and the year are
// ever checked: a month byte of 255 is shown as month 256.
struct PackedTime {
    std::uint64_t bits = ~std::uint64_t{0};

    // A time is set, and its year is 1900 or later.
    constexpr bool isValid() const { return bits != ~std::uint64_t{0} && bits >> 40 >= 1900; }
    bool operator==(const PackedTime&) const = default;
};

// Seconds since 1970-01-01 00:00:00 UTC. -1 means that no time is set, so the last second of 1969 cannot be expressed.
// -1 and all times before 1900-01-01 00:00:00 UTC are not valid.
using PlainTime = std::int64_t;
inline constexpr PlainTime NoPlainTime = -1;

// ---- packed time

// "2020.01.02 03:04:05 GMT"; "0000.00.00 00:00:00" when not valid. Replaces `text`.
PANELKIT_EXPORT void packedTimeToText(PackedTime time, std::string& text);

// "2020-01-02T03:04:05"; "0000-00-00T00:00:00" when not valid. Replaces `text`.
PANELKIT_EXPORT void packedTimeToIsoText(PackedTime time, std::string& text);

// "02.01.2020 03:04:05 GMT"; "Error time" when not valid. Appends to `text`.
PANELKIT_EXPORT void appendPackedTime(PackedTime time, std::string& text);

// "02.01.2020 06:04:05" in local time; "Error time" when not valid. Appends to `text`. A time that cannot be converted
// is shown in UTC with its zone: "... GMT" for the one time that has no plain form (the last second of 1969), "... UTC"
// for a time that the system refuses to convert.
PANELKIT_EXPORT void appendPackedTimeLocal(PackedTime time, std::string& text);

// Returns NoPlainTime when not valid. Fields that are too large carry over, as in 30 February or 24:00:00.
PANELKIT_EXPORT PlainTime packedTimeToPlain(PackedTime time);

// Reads year, month, day, hour, minute and second as scanf does with "%u.%u.%u %u:%u:%u": blanks and a sign may precede
// each number, each number is cut to 32 bits, and text after the last one is ignored. Returns an unset time when there
// are fewer than six numbers, the year is below 1900 or does not fit into 24 bits, or month or day is 0. Nothing else
// is checked: the other fields are cut to their bytes.
PANELKIT_EXPORT PackedTime parsePackedTime(std::string_view text);

// ---- plain time

inline constexpr std::size_t PlainTimeTextSize = 32;

// "2020.01.02 06:04:05" in local time, in `buffer`. When the time is not valid, or the system refuses to convert it to
// local time, the buffer is unchanged and the constant "0000.00.00 00:00:00" is returned instead: always show what is
// returned.
//
//   char buffer[panelkit::PlainTimeTextSize];
//   cli_printf("%s\n", panelkit::plainTimeToLocalText(time, buffer));
PANELKIT_EXPORT const char* plainTimeToLocalText(PlainTime time, std::span<char, PlainTimeTextSize> buffer);

// The 24 characters of the C library's ctime in local time, without the line end: "Thu Jan  1 03:00:00 1970". Appends
// to `text`. Appends "Bad time" when the time is not valid, the system refuses to convert it to local time, or its year
// needs more than four digits.
PANELKIT_EXPORT void appendCtime(PlainTime time, std::string& text);

} // namespace panelkit
