// SPDX-License-Identifier: MIT
//
// Functions that controllers call while a long command runs. OnExecuteCommand of a controller calls one of these.
#pragma once

class SendCommandProgress;

namespace panelkit {

// The silent hook: yields the processor once and returns.
void yieldOnce();

// The console hook: prints a line end, a dot for each second while the command runs, and a final line end to standard
// output. Returns when the command has ended. Prints nothing when the command has ended already. The command is checked
// only once a second, so even a shorter command draws one dot.
void drawConsoleDots(const SendCommandProgress& progress);

} // namespace panelkit
