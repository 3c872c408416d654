// SPDX-License-Identifier: MIT
//
// What the handler of the service manager and termination_win.cpp need of each other. Windows only.
#pragma once

namespace panelkitd {

// Asks the service to end, as Ctrl-C does, and returns at once. Any thread.
void askToEnd();

// Tells the service manager, if there is one, that the service has stopped with this exit status. Any thread.
void tellServiceManagerTheEnd(int exitStatus);

} // namespace panelkitd
