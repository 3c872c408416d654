// SPDX-License-Identifier: MIT
//
// The C library's own time functions, as references for ours. Each returns nullopt when the library refuses the time,
// as on Windows before 1970 and after 3000.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

// gmtime and localtime.
std::optional<std::tm> judgeUtcTime(std::int64_t seconds);
std::optional<std::tm> judgeLocalTime(std::int64_t seconds);

// ctime without its line end.
std::optional<std::string> judgeCtime(std::int64_t seconds);

// strftime.
std::optional<std::string> judgeText(const char* pattern, const std::tm& fields);

// Values for TZ that this system knows, whole hours and others, with summer time and without.
std::vector<std::string> judgeTimeZones();

// The process's time zone for as long as the object lives. No other thread may use times meanwhile.
class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const std::string& zone);
    ~ScopedTimeZone();
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

private:
    std::optional<std::string> before_;
};
