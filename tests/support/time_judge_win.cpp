// SPDX-License-Identifier: MIT
#include "time_judge.h"

#include <cstdlib>

std::optional<std::tm> judgeUtcTime(std::int64_t seconds) {
    std::tm fields{};
    if (_gmtime64_s(&fields, &seconds) != 0) return std::nullopt;
    return fields;
}

std::optional<std::tm> judgeLocalTime(std::int64_t seconds) {
    std::tm fields{};
    if (_localtime64_s(&fields, &seconds) != 0) return std::nullopt;
    return fields;
}

// This library pads a day of one digit with a zero; ctime of the C standard, and so ours, has a blank.
std::optional<std::string> judgeCtime(std::int64_t seconds) {
    char buffer[64];
    if (_ctime64_s(buffer, sizeof buffer, &seconds) != 0) return std::nullopt;
    if (buffer[8] == '0') buffer[8] = ' ';
    return std::string(buffer, 24);
}

std::vector<std::string> judgeTimeZones() { return {"UTC0", "MSK-3", "EST5EDT", "NPT-5:45"}; }

ScopedTimeZone::ScopedTimeZone(const std::string& zone) {
    if (const char* before = getenv("TZ")) before_ = before;
    _putenv_s("TZ", zone.c_str());
    _tzset();
}

ScopedTimeZone::~ScopedTimeZone() {
    _putenv_s("TZ", before_.value_or("").c_str()); // an empty value removes it
    _tzset();
}
