// SPDX-License-Identifier: MIT
#include <panelkit/bridge/idle_hooks.h>

#include <platform/bridge/send_command_progress.h>

#include <chrono>
#include <cstdio>
#include <thread>

namespace panelkit {

void yieldOnce() { std::this_thread::yield(); }

void drawConsoleDots(const SendCommandProgress& progress) {
    bool drawn = false;
    while (progress.running) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        std::printf(drawn ? "." : "\n.");
        std::fflush(stdout); // a dot that waits in a buffer shows no progress
        drawn = true;
    }
    if (drawn) std::printf("\n");
}

} // namespace panelkit
