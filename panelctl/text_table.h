// SPDX-License-Identifier: MIT
//
// The table of panelctl's texts as its module sees it: the descriptor through which the localization core writes
// translations into the table's cells, and the wording that each cell held at first.
#pragma once

#include <panelctl/texts.h>

#include <platform/loccore/localization.h>

namespace panelctl {

extern const CCLocLoader::Localization localization;

const char* defaultWording(Say what);

} // namespace panelctl
