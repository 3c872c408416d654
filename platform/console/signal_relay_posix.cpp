// SPDX-License-Identifier: MIT
#include <platform/console/signal_relay_posix.h>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace platform {

namespace {

// The pipe to which the handlers write. A handler has no arguments of its own, so this must be global.
std::atomic<int> relayPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free); // handlers may use nothing else

extern "C" void relaySignal(int signal) {
    const int error = errno;
    const auto number = static_cast<unsigned char>(signal);
    // A full pipe holds enough signals to act on.
    [[maybe_unused]] const ssize_t written = ::write(relayPipe, &number, 1);
    errno = error;
}

// Sent to the calling thread, so that it takes effect before the call returns. Only if this thread blocks the signal
// and another thread received it, it is sent to the process.
void sendToSelf(int signal) {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    if (sigismember(&blocked, signal)) {
        ::kill(::getpid(), signal);
    } else {
        ::raise(signal);
    }
}

} // namespace

SignalRelay::SignalRelay() {
    if (::pipe2(pipe_.data(), O_CLOEXEC | O_NONBLOCK) != 0) pipe_ = {-1, -1};
}

SignalRelay::~SignalRelay() {
    remove();
    deliver();
    for (const int end : pipe_) {
        if (end != -1) ::close(end);
    }
}

bool SignalRelay::install() {
    if (pipe_[0] == -1) return false;
    relayPipe = pipe_[1];
    struct sigaction relaying {};
    relaying.sa_handler = relaySignal;
    relaying.sa_flags = SA_RESTART; // blocking calls of other threads go on
    sigfillset(&relaying.sa_mask);
    for (std::size_t i = 0; i < relayed.size(); ++i) {
        sigaction(relayed[i], nullptr, &former_[i]);
        if (former_[i].sa_handler != SIG_IGN) sigaction(relayed[i], &relaying, nullptr);
    }
    installed_ = true;
    return true;
}

void SignalRelay::remove() {
    if (!installed_) return;
    for (std::size_t i = 0; i < relayed.size(); ++i) sigaction(relayed[i], &former_[i], nullptr);
    installed_ = false;
}

bool SignalRelay::deliver() const {
    bool goesOn = true;
    unsigned char signal = 0;
    while (pipe_[0] != -1 && ::read(pipe_[0], &signal, 1) == 1) {
        sendToSelf(signal);
        if (signal != SIGTSTP && signal != SIGCONT) goesOn = false;
    }
    return goesOn;
}

} // namespace platform
