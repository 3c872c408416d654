// SPDX-License-Identifier: MIT
//
// Whether this run is slowed down by a sanitizer, by Wine or by missing optimisation; tests with many repetitions then
// do fewer of them. They do all of them where the release is tested.
#pragma once

#ifdef PANELKIT_SLOW_RUN
inline constexpr bool slowRun = true;
#else
inline constexpr bool slowRun = false;
#endif
