// SPDX-License-Identifier: MIT
#include "time_judge.h"

#include <cstdlib>

std::optional<std::tm> judgeUtcTime(std::int64_t seconds) {
    std::tm fields{};
    if (!gmtime_r(&seconds, &fields)) return std::nullopt;
    return fields;
}

std::optional<std::tm> judgeLocalTime(std::int64_t seconds) {
    std::tm fields{};
    if (!localtime_r(&seconds, &fields)) return std::nullopt;
    return fields;
}

std::optional<std::string> judgeCtime(std::int64_t seconds) {
    char buffer[64];
    if (!ctime_r(&seconds, buffer)) return std::nullopt;
    return std::string(buffer, 24);
}

std::vector<std::string> judgeTimeZones() {
    return {"UTC0",          "MSK-3",         "EST5EDT,M3.2.0,M11.1.0", "<+1245>-12:45", "America/New_York",
            "Europe/Moscow", "Asia/Kathmandu"};
}

ScopedTimeZone::ScopedTimeZone(const std::string& zone) {
    if (const char* before = getenv("TZ")) before_ = before;
    setenv("TZ", zone.c_str(), 1);
    tzset();
}

ScopedTimeZone::~ScopedTimeZone() {
    before_ ? setenv("TZ", before_->c_str(), 1) : unsetenv("TZ");
    tzset();
}
