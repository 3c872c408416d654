// SPDX-License-Identifier: MIT
//
// The calendar of the host's time zone.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

namespace platform {

// The local time at `seconds` since 1970-01-01 UTC, by the system's rules for the process's time zone; nothing where
// the system refuses, as Windows does before 1970 and after the year 3000. Any thread may call it. The zone is read
// from the environment once; a program that changes TZ calls tzset (_tzset on Windows) itself.
std::optional<std::tm> localTime(std::int64_t seconds);

} // namespace platform
