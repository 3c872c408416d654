// SPDX-License-Identifier: MIT
#include "time_judge.h"

std::optional<std::string> judgeText(const char* pattern, const std::tm& fields) {
    char buffer[255];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const std::size_t size = std::strftime(buffer, sizeof buffer, pattern, &fields);
#pragma GCC diagnostic pop
    if (size == 0) return std::nullopt;
    return std::string(buffer, size);
}
