// SPDX-License-Identifier: MIT
#include <panelctl/base/interruption.h>

#include <panelctl/base/say.h>

#include <atomic>
#include <chrono>
#include <csignal>

namespace panelctl {

namespace {

volatile std::sig_atomic_t cameMeanwhile = 0;

std::atomic<bool> cameAgain = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

extern "C" void noteInterruption(int signal) {
    if (cameMeanwhile != 0) cameAgain = true;
    cameMeanwhile = 1;
    (void)std::signal(signal, noteInterruption); // some systems reset the handler with every signal
}

} // namespace

HeldInterruption::HeldInterruption()
    : onInterrupt_(std::signal(SIGINT, noteInterruption)),
      onTerminate_(std::signal(SIGTERM, noteInterruption)),
      limits_(std::chrono::milliseconds(0), &cameAgain) {
    cameMeanwhile = 0;
    cameAgain = false;
}

HeldInterruption::~HeldInterruption() {
    (void)std::signal(SIGINT, onInterrupt_);
    (void)std::signal(SIGTERM, onTerminate_);
}

bool HeldInterruption::came() { return cameMeanwhile != 0; }

CommandError interruptedError() { return {Exit::interrupted, say("interrupted")}; }

} // namespace panelctl
