// SPDX-License-Identifier: MIT
//
// The table of default texts as the library itself sees it: the writable cells, and the descriptor through which the
// localization core writes into them. All other code reads texts with panelkit::text().
#pragma once

#include <panelkit/loc/default_texts.h>
#include <platform/loccore/localization.h>

#include <array>

namespace panelkit {

// Constant-initialised: a text may be read, and its address taken, by any static initialiser.
extern std::array<const char*, defaultTextCount> textCells;

extern const CCLocLoader::Localization localization;

} // namespace panelkit
