// SPDX-License-Identifier: MIT
#include <service/termination.h>

#include <service/request_note.h>

#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <array>
#include <thread>

namespace panelkitd {

namespace {

// Wakes the waiting thread when there is nothing to wait for any more.
constexpr int ours = SIGUSR1;

} // namespace

// The signals are blocked in every thread but for one that waits for them: a handler may do next to nothing.
struct TerminationRequest::State {
    RequestNote note;
    std::thread waiting;
};

TerminationRequest::TerminationRequest() : state_(std::make_unique<State>()) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : std::array{SIGTERM, SIGINT, SIGHUP, ours}) sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    state_->waiting = std::thread([signals, &note = state_->note] {
        int number = 0;
        if (sigwait(&signals, &number) == 0 && number != ours) note.ask();
    });
}

TerminationRequest::~TerminationRequest() {
    pthread_kill(state_->waiting.native_handle(), ours);
    state_->waiting.join();
}

void TerminationRequest::whenAsked(std::function<void()> react) { state_->note.whenAsked(std::move(react)); }

void forbidCoreDumps() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0);
}

} // namespace panelkitd
