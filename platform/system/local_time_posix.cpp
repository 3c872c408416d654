// SPDX-License-Identifier: MIT
#include <platform/system/local_time.h>

#include <utility>

namespace platform {

std::optional<std::tm> localTime(std::int64_t seconds) {
    if (!std::in_range<time_t>(seconds)) return std::nullopt;
    const auto time = static_cast<time_t>(seconds);
    std::tm local{};
    if (!localtime_r(&time, &local)) return std::nullopt;
    return local;
}

} // namespace platform
