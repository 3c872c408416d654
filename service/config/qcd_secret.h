// SPDX-License-Identifier: MIT
//
// The secret of quick crash detection (IKE.QCD_SECRET): made here when a front end left it to the service.
#pragma once

#include <string>
#include <string_view>

namespace panelkitd {

// Returns the history to store for the one that a front end sent: up to four secrets, the newest first, separated by
// ":".
//
// If its newest entry is blank or "auto", that is replaced by a new secret of 40 digits from the system's generator.
// The older entries follow, or else those committed before, so that peers which still use an older secret are
// understood. A history that is completely blank keeps the committed one: the front end does not know it.
std::string completeHistory(std::string_view delivered, std::string_view committed);

} // namespace panelkitd
