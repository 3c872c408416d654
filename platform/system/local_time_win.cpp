// SPDX-License-Identifier: MIT
#include <platform/system/local_time.h>

namespace platform {

std::optional<std::tm> localTime(std::int64_t seconds) {
    std::tm local{};
    if (_localtime64_s(&local, &seconds) != 0) return std::nullopt;
    return local;
}

} // namespace platform
