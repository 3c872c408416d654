// SPDX-License-Identifier: MIT
//
// What controllers do while a long command runs, as functions: OnExecuteCommand of a controller is one of these.
#pragma once

class SendCommandProgress;

namespace panelkit {

// The silent hook: yields the processor once and returns.
void yieldOnce();

// The console hook: prints a line end, a dot each second while the command runs, and a final line end, to standard
// output; returns when the command has ended. Prints nothing when it has ended already. The command's state is
// looked at only before each second, so a command that ends within it still draws its dot.
void drawConsoleDots(const SendCommandProgress& progress);

} // namespace panelkit
