// SPDX-License-Identifier: MIT
#include <panelkit/format/time_text.h>

#include <panelkit/format/digits.h>
#include <platform/system/host.h>

#include <array>
#include <charconv>
#include <chrono>
#include <optional>

namespace panelkit {

namespace {

constexpr std::string_view yearFirst = "%Y.%m.%d %H:%M:%S";
constexpr std::string_view yearFirstGmt = "%Y.%m.%d %H:%M:%S GMT";
constexpr std::string_view iso = "%Y-%m-%dT%H:%M:%S";
constexpr std::string_view dayFirst = "%d.%m.%Y %H:%M:%S";
constexpr std::string_view dayFirstGmt = "%d.%m.%Y %H:%M:%S GMT";
constexpr std::string_view dayFirstUtc = "%d.%m.%Y %H:%M:%S UTC";
constexpr std::string_view ctimeForm = "%a %b %e %H:%M:%S %Y";

constexpr const char* noTime = "0000.00.00 00:00:00";
constexpr const char* noIsoTime = "0000-00-00T00:00:00";
constexpr const char* errorTime = "Error time";
constexpr const char* badTime = "Bad time";

// clang-format off
constexpr std::array<std::string_view, 7> weekdays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
// clang-format on

// The longest text is a ten-digit year from the system, or three digits in every field of a packed time, and a zone.
constexpr std::size_t longestText = 40;

char* putField(char* to, char conversion, const std::tm& time) {
    const auto two = [to](int value, char fill = '0') { return putNumber(to, static_cast<unsigned>(value), 2, fill); };
    const auto name = [to](const auto& names, int index) {
        return std::copy_n(names[static_cast<std::size_t>(index)].data(), 3, to);
    };
    switch (conversion) {
    case 'Y': return putNumber(to, static_cast<std::uint64_t>(std::int64_t{time.tm_year} + 1900));
    case 'm': return two(time.tm_mon + 1);
    case 'd': return two(time.tm_mday);
    case 'e': return two(time.tm_mday, ' ');
    case 'H': return two(time.tm_hour);
    case 'M': return two(time.tm_min);
    case 'S': return two(time.tm_sec);
    case 'a': return name(weekdays, time.tm_wday);
    default: return name(months, time.tm_mon); // 'b'
    }
}

// strftime as far as the patterns above need it. The C library's own uses the program's locale, and on Windows it
// refuses fields beyond their calendar range, which a packed time may hold. Returns the position after the text.
char* putTime(char* to, std::string_view pattern, const std::tm& time) {
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '%') {
            to = putField(to, pattern[++i], time);
        } else {
            *to++ = pattern[i];
        }
    }
    return to;
}

void appendTime(std::string_view pattern, const std::tm& time, std::string& text) {
    std::array<char, longestText> buffer;
    text.append(buffer.data(), putTime(buffer.data(), pattern, time));
}

// The fields of a valid packed time, even when out of range.
std::tm unpack(PackedTime time) {
    const auto byte = [time](int place) { return static_cast<int>(time.bits >> 8 * place & 0xFF); };
    std::tm fields{};
    fields.tm_sec = byte(0);
    fields.tm_min = byte(1);
    fields.tm_hour = byte(2);
    fields.tm_mday = byte(3);
    fields.tm_mon = byte(4);
    fields.tm_year = static_cast<int>(time.bits >> 40) - 1900;
    return fields;
}

// The plain time of a calendar time in UTC whose fields may be too large.
PlainTime utcSeconds(const std::tm& time) {
    using namespace std::chrono;
    // The calendar repeats itself every 400 years; std::chrono ends at the year 32767, the packed year at 16777215.
    constexpr int cycle = 400;
    constexpr std::int64_t daysOfCycle = 146097;
    const int fullYear = time.tm_year + 1900 + time.tm_mon / 12;
    const auto month = std::chrono::month(static_cast<unsigned>(time.tm_mon % 12 + 1));
    const sys_days first = year(fullYear % cycle) / month / day(1);
    // Counted in 64 bits: the days of a standard library may have 32, which end at the year 5.8 million.
    const std::int64_t today =
        std::int64_t{first.time_since_epoch().count()} + fullYear / cycle * daysOfCycle + time.tm_mday - 1;
    return ((today * 24 + time.tm_hour) * 60 + time.tm_min) * 60 + time.tm_sec;
}

// The local time of a valid plain time, if the system can convert it.
std::optional<std::tm> shownLocalTime(PlainTime time) {
    constexpr PlainTime startOf1900 = -2208988800;
    if (time == NoPlainTime || time < startOf1900) return std::nullopt;
    return platform::localTime(time);
}

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Reads what scanf reads for "%u": blanks, a sign, digits. The value is cut to 32 bits; a value that does not even fit
// into 64 counts as the largest.
bool takeScanned(std::string_view& text, std::uint32_t& number) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::invalid_argument) return false;
    if (error == std::errc::result_out_of_range) {
        value = ~std::uint64_t{0};
    } else if (negative) {
        value = 0 - value;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    number = static_cast<std::uint32_t>(value);
    return true;
}

bool takeDelimiter(std::string_view& text, char delimiter) {
    if (!text.starts_with(delimiter)) return false;
    text.remove_prefix(1);
    return true;
}

void appendUtc(PackedTime time, std::string_view pattern, std::string_view whenInvalid, std::string& text) {
    if (time.isValid()) {
        appendTime(pattern, unpack(time), text);
    } else {
        text += whenInvalid;
    }
}

} // namespace

void packedTimeToText(PackedTime time, std::string& text) {
    text.clear();
    appendUtc(time, yearFirstGmt, noTime, text);
}

void packedTimeToIsoText(PackedTime time, std::string& text) {
    text.clear();
    appendUtc(time, iso, noIsoTime, text);
}

void appendPackedTime(PackedTime time, std::string& text) { appendUtc(time, dayFirstGmt, errorTime, text); }

void appendPackedTimeLocal(PackedTime time, std::string& text) {
    // The conversion returns -1 for failure, so a valid time of -1 seconds has no local text. It keeps its UTC text,
    // which is right in every zone.
    const PlainTime plain = packedTimeToPlain(time);
    if (plain == NoPlainTime) return appendPackedTime(time, text);
    if (const auto local = platform::localTime(plain)) return appendTime(dayFirst, *local, text);
    appendTime(dayFirstUtc, unpack(time), text);
}

PlainTime packedTimeToPlain(PackedTime time) { return time.isValid() ? utcSeconds(unpack(time)) : NoPlainTime; }

PackedTime parsePackedTime(std::string_view text) {
    std::uint32_t year{}, month{}, day{}, hour{}, minute{}, second{};
    // The blank between date and time is not checked: in the pattern it matches any number of blanks, also none, and
    // reading the next number skips blanks.
    const bool read = takeScanned(text, year) && takeDelimiter(text, '.') &&   //
                      takeScanned(text, month) && takeDelimiter(text, '.') &&  //
                      takeScanned(text, day) &&                                //
                      takeScanned(text, hour) && takeDelimiter(text, ':') &&   //
                      takeScanned(text, minute) && takeDelimiter(text, ':') && //
                      takeScanned(text, second);
    if (!read || year < 1900 || year >= 1U << 24 || month < 1 || day < 1) return {};
    // Cut to bytes, not refused: 24:00:00 or 31 February are returned as entered and carry over when they are
    // converted, while day 256 becomes day 0.
    const auto byte = [](std::uint32_t value, int place) { return std::uint64_t{value & 0xFF} << 8 * place; };
    return {std::uint64_t{year} << 40 | byte(month - 1, 4) | byte(day, 3) | byte(hour, 2) | byte(minute, 1) |
            byte(second, 0)};
}

const char* plainTimeToLocalText(PlainTime time, std::span<char, PlainTimeTextSize> buffer) {
    const auto local = shownLocalTime(time);
    if (!local) return noTime;
    *putTime(buffer.data(), yearFirst, *local) = '\0';
    return buffer.data();
}

void appendCtime(PlainTime time, std::string& text) {
    const auto local = shownLocalTime(time);
    if (local && local->tm_year <= 9999 - 1900) {
        appendTime(ctimeForm, *local, text);
    } else {
        text += badTime;
    }
}

} // namespace panelkit
