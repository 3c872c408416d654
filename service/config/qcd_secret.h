// SPDX-License-Identifier: MIT
//
// The secret of quick crash detection (IKE.QCD_SECRET): made here where the front end left it to the service.
#pragma once

#include <string>
#include <string_view>

namespace panelkitd {

// The history to keep for the one that a front end delivered: up to four secrets, the newest first, separated by ":".
//
// One whose newest entry is blank or "auto" gets a new secret, of 40 digits from the system's generator, in its place;
// the older entries follow it, or else what was committed before, so that peers that know an older secret are still
// understood. A history that is blank as a whole comes from a front end that knows none: it keeps a committed one.
std::string completeHistory(std::string_view delivered, std::string_view committed);

} // namespace panelkitd
