// SPDX-License-Identifier: MIT
//
// Names of the service's log levels.
#pragma once

#include <platform/export.h>

#include <cstdint>

namespace panelkit {

// Returns "DISABLED", "EVENTS", "DETAILS" or "VERBOSE" for the levels 0 to 3, and `fallback` (which may be null) for
// any other level. The names are constants; any thread may call this.
PANELKIT_EXPORT const char* logLevelName(std::uint32_t level, const char* fallback);

} // namespace panelkit
