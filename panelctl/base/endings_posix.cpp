// SPDX-License-Identifier: MIT
#include <panelctl/base/endings.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <thread>

namespace panelctl {

namespace {

constexpr std::array ending{SIGINT, SIGTERM, SIGHUP};

// A signal handler may do very little: it writes to a pipe that the waiting thread reads. A handler gets no argument,
// so the pipe's end is global.
int toWaiting = -1;

void onSignal(int) {
    const int before = errno;
    [[maybe_unused]] const ssize_t written = ::write(toWaiting, "s", 1);
    errno = before;
}

struct sigaction reaction(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler; // NOLINT(cppcoreguidelines-pro-type-union-access): the system's own union
    action.sa_flags = SA_RESTART | (handler == onSignal ? static_cast<int>(SA_RESETHAND) : 0);
    sigemptyset(&action.sa_mask);
    return action;
}

} // namespace

struct Endings::State {
    explicit State(std::function<void()> react) : onEnd(std::move(react)) {
        if (::pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
        toWaiting = pipe[1];
        for (std::size_t i = 0; i < ending.size(); ++i) install(ending[i], reaction(onSignal), former[i]);
        install(SIGPIPE, reaction(SIG_IGN), formerPipe); // the failed write reports it too
        waiting = std::thread([this] { wait(); });
    }
    ~State() {
        [[maybe_unused]] const ssize_t written = ::write(pipe[1], "q", 1);
        waiting.join();
        for (std::size_t i = 0; i < ending.size(); ++i) ::sigaction(ending[i], &former[i], nullptr);
        ::sigaction(SIGPIPE, &formerPipe, nullptr);
        for (const int end : pipe) ::close(end);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    // Signals that were ignored before stay ignored: by nohup, and for background jobs of some shells.
    static void install(int signal, const struct sigaction& action, struct sigaction& former) {
        ::sigaction(signal, nullptr, &former);
        if (former.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr); // NOLINT: as above
    }

    // No event of standard output is asked for, so that only its errors and its end are reported.
    void wait() const {
        std::array<pollfd, 2> watched{pollfd{pipe[0], POLLIN, 0}, pollfd{STDOUT_FILENO, 0, 0}};
        while (::poll(watched.data(), watched.size(), -1) < 0 && errno == EINTR) {}
        char why = 's';
        if (watched[0].revents != 0 && ::read(pipe[0], &why, 1) == 1 && why == 'q') return;
        onEnd();
    }

    std::function<void()> onEnd;
    std::array<int, 2> pipe{-1, -1};
    std::array<struct sigaction, ending.size()> former{};
    struct sigaction formerPipe {};
    std::thread waiting;
};

Endings::Endings(std::function<void()> onEnd) : state_(std::make_unique<State>(std::move(onEnd))) {}

Endings::~Endings() = default;

} // namespace panelctl
