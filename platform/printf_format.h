// SPDX-License-Identifier: MIT
//
// PANELKIT_PRINTF(format, first) marks a function of ours that takes a printf format, so that compilers check its
// arguments. `format` and `first` are the positions of the format and of the first argument for it, counted from 1.
#pragma once

#include <cstdio> // defines __MINGW_PRINTF_FORMAT

#if defined(__MINGW_PRINTF_FORMAT)
// The mingw runtime has two formatters; "printf" would check against the one that lacks %zu and %lld.
#define PANELKIT_PRINTF(format_, first_) __attribute__((format(__MINGW_PRINTF_FORMAT, format_, first_)))
#elif defined(__GNUC__)
#define PANELKIT_PRINTF(format_, first_) __attribute__((format(printf, format_, first_)))
#else
#define PANELKIT_PRINTF(format_, first_)
#endif
