// SPDX-License-Identifier: MIT
//
// Whether this run is slowed down by a sanitizer or by Wine; tests that repeat themselves do it less often then.
#pragma once

#ifdef PANELKIT_SLOW_RUN
inline constexpr bool slowRun = true;
#else
inline constexpr bool slowRun = false;
#endif
