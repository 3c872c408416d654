// SPDX-License-Identifier: MIT
#include <panelctl/base/interruption.h>

#include <panelctl/base/say.h>

#include <csignal>

namespace panelctl {

namespace {

volatile std::sig_atomic_t cameMeanwhile = 0;

extern "C" void noteInterruption(int signal) {
    cameMeanwhile = 1;
    (void)std::signal(signal, noteInterruption); // some systems reset the handler with every signal
}

} // namespace

HeldInterruption::HeldInterruption()
    : onInterrupt_(std::signal(SIGINT, noteInterruption)), onTerminate_(std::signal(SIGTERM, noteInterruption)) {
    cameMeanwhile = 0;
}

HeldInterruption::~HeldInterruption() {
    (void)std::signal(SIGINT, onInterrupt_);
    (void)std::signal(SIGTERM, onTerminate_);
}

bool HeldInterruption::came() { return cameMeanwhile != 0; }

CommandError interruptedError() { return {Exit::interrupted, say("interrupted")}; }

} // namespace panelctl
