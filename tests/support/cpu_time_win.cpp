// SPDX-License-Identifier: MIT
#include "cpu_time.h"

#include <windows.h>

#include <cstdint>

std::chrono::nanoseconds threadCpuTime() {
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    GetThreadTimes(GetCurrentThread(), &created, &ended, &kernel, &user);
    const auto ticks = [](const FILETIME& time) {
        return static_cast<std::int64_t>(time.dwHighDateTime) << 32 | static_cast<std::int64_t>(time.dwLowDateTime);
    };
    return std::chrono::nanoseconds((ticks(kernel) + ticks(user)) * 100);
}
