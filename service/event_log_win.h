// SPDX-License-Identifier: MIT
//
// The log of a service of the system: the event log "Application". Windows only.
#pragma once

namespace panelkitd {

// From now on, lines of the log become events of the source "panelkitd". Without an event log they are lost. To be
// called before the first line is logged.
void logToEventLog();

} // namespace panelkitd
