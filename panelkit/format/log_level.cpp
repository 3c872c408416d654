// SPDX-License-Identifier: MIT
#include <panelkit/format/log_level.h>

#include <array>

namespace panelkit {

const char* logLevelName(std::uint32_t level, const char* fallback) {
    constexpr std::array names = {"DISABLED", "EVENTS", "DETAILS", "VERBOSE"};
    return level < names.size() ? names[level] : fallback;
}

} // namespace panelkit
