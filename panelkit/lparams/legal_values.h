// SPDX-License-Identifier: MIT
//
// What goes into the error records of parameters beside legalValues (param_text.h).
#pragma once

#include <panelkit/lparams/param_text.h>

namespace panelkit {

// The legal text that is nearest to one that is not: the nearer bound, the choice that was probably meant. Empty when
// nothing is near.
std::string nearestLegal(const LPARAMS::Client::Param& param, std::string_view text, TextForm form);

} // namespace panelkit
