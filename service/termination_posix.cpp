// SPDX-License-Identifier: MIT
#include <service/termination.h>

#include <service/exit_status.h>
#include <service/request_note.h>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <thread>

namespace panelkitd {

namespace {

// Wakes the waiting thread when it must end.
constexpr int ours = SIGUSR1;

// Waits until this thread must end; returns false after the limit. Further requests have no effect.
bool endsWithin(std::chrono::milliseconds limit, const sigset_t& signals) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::seconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        const timespec wait{left.count(), 0};
        if (sigtimedwait(&signals, nullptr, &wait) == ours) return true;
    }
}

} // namespace

// The signals are blocked in every thread except one that waits for them: a signal handler may do very little.
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
        if (sigwait(&signals, &number) != 0 || number == ours) return;
        std::thread reaction([&note] { note.ask(); }); // a thread of its own, because it may hang
        if (!endsWithin(note.limit(), signals)) abandonProcess();
        reaction.join();
    });
}

TerminationRequest::~TerminationRequest() {
    pthread_kill(state_->waiting.native_handle(), ours);
    state_->waiting.join();
}

void TerminationRequest::awaitReaction() { state_->note.awaitReaction(); }

void TerminationRequest::setLimit(std::chrono::milliseconds limit) { state_->note.setLimit(limit); }

void TerminationRequest::whenAsked(std::function<void()> react) { state_->note.whenAsked(std::move(react)); }

// Not through the log: its reader may be what hangs.
void abandonProcess() {
    constexpr std::string_view text = "error: something did not end in time and is abandoned\n";
    drainLog(std::chrono::milliseconds(200));
    pollfd log{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&log, 1, 0) == 1) {
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    }
    std::_Exit(static_cast<int>(ExitStatus::abandoned));
}

void forbidCoreDumps() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0);
}

} // namespace panelkitd
