// SPDX-License-Identifier: MIT
//
// Whether this run is slowed down by a sanitizer, by Wine or for want of optimisation; tests that repeat themselves do
// it less often then. They do it in full where the release is tested.
#pragma once

#ifdef PANELKIT_SLOW_RUN
inline constexpr bool slowRun = true;
#else
inline constexpr bool slowRun = false;
#endif
