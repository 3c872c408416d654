// SPDX-License-Identifier: MIT
#include <platform/system/child_process.h>

#include <platform/system/collected_text.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <thread>

extern char** environ; // NOLINT(readability-redundant-declaration): not every header declares it

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

struct Pipe {
    std::array<int, 2> ends{-1, -1};
    Pipe() {
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    }
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    void closeEnd(std::size_t end) {
        if (ends[end] >= 0) ::close(ends[end]);
        ends[end] = -1;
    }
};

// The environment in the form that exec takes.
std::vector<std::string> entriesOf(const std::map<std::string, std::string>& variables) {
    std::vector<std::string> entries;
    for (const auto& [name, value] : variables) entries.push_back(name + "=" + value);
    return entries;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

void collect(int from, CollectedText& into) {
    std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t count = ::read(from, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        into.add(buffer.data(), static_cast<std::size_t>(count));
    }
}

void feed(int to, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(to, text.data() + written, text.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return; // it does not want the rest
        written += static_cast<std::size_t>(count);
    }
}

} // namespace

std::map<std::string, std::string> environment() {
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const std::size_t end = text.find('=');
        if (end != std::string::npos) variables.emplace(text.substr(0, end), text.substr(end + 1));
    }
    return variables;
}

struct ChildProcess::State {
    pid_t pid = -1;
    bool reaped = false;
    int status = 0;
    Pipe input, output, error;
    std::string toFeed;
    CollectedText outputText, errorText;
    std::thread feeder, outputReader, errorReader;

    State() = default;
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void start(const ChildOptions& options);
    bool reap(int flags);
    void join();
};

// Joins the threads that were started, also when others could not be started.
ChildProcess::State::~State() {
    if (pid > 0 && !reap(WNOHANG)) {
        ::kill(pid, SIGKILL);
        reap(0);
    }
    join();
}

void ChildProcess::State::join() {
    for (std::thread* thread : {&feeder, &outputReader, &errorReader}) {
        if (thread->joinable()) thread->join();
    }
}

void ChildProcess::State::start(const ChildOptions& options) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
    if (!options.inheritError) posix_spawn_file_actions_adddup2(&actions, error.ends[1], STDERR_FILENO);

    posix_spawnattr_t attributes; // signals as a program expects them, whatever we block or ignore ourselves
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<std::string> arguments = options.arguments;
    std::vector<std::string> environment = entriesOf(environmentFor(options));
    const int failed = ::posix_spawnp(&pid, arguments.at(0).c_str(), &actions, &attributes, pointers(arguments).data(),
                                      pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (failed != 0) {
        throw std::runtime_error(arguments[0] + " can't be started: " + std::generic_category().message(failed));
    }
    input.closeEnd(0);
    output.closeEnd(1);
    error.closeEnd(1);
}

bool ChildProcess::State::reap(int flags) {
    if (reaped) return true;
    pid_t got = 0;
    do {
        got = ::waitpid(pid, &status, flags);
    } while (got < 0 && errno == EINTR);
    reaped = got == pid;
    return reaped;
}

ChildProcess::ChildProcess(const ChildOptions& options) : state_(std::make_unique<State>()) {
    State& state = *state_;
    state.start(options);
    state.toFeed = options.input;
    state.outputReader = std::thread([&state] { collect(state.output.ends[0], state.outputText); });
    state.errorReader = std::thread([&state] { collect(state.error.ends[0], state.errorText); });
    state.feeder = std::thread([&state] {
        sigset_t pipeSignal; // ignores SIGPIPE when the program closes its input
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
        feed(state.input.ends[1], state.toFeed);
        state.input.closeEnd(1);
    });
}

ChildProcess::~ChildProcess() = default;

std::int64_t ChildProcess::id() const { return state_->pid; }

bool ChildProcess::ended() const { return state_->reap(WNOHANG); }

void ChildProcess::terminate() {
    if (!state_->reap(WNOHANG)) ::kill(state_->pid, SIGTERM);
}

void ChildProcess::kill() {
    if (!state_->reap(WNOHANG)) ::kill(state_->pid, SIGKILL);
}

ChildResult ChildProcess::wait(std::chrono::milliseconds limit) {
    State& state = *state_;
    const auto deadline = Clock::now() + limit;
    auto pause = std::chrono::microseconds(200);
    ChildResult result;
    while (!state.reap(WNOHANG)) {
        if (Clock::now() >= deadline) {
            result.ending = Ending::timedOut;
            ::kill(state.pid, SIGKILL);
            state.reap(0);
            break;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::microseconds(20'000));
    }
    state.join();
    if (result.ending != Ending::timedOut && WIFSIGNALED(state.status)) result.ending = Ending::killed;
    result.status = WIFSIGNALED(state.status) ? WTERMSIG(state.status) : WEXITSTATUS(state.status);
    result.output = state.outputText.text();
    result.error = state.errorText.text();
    return result;
}

std::string ChildProcess::outputSoFar() const { return state_->outputText.text(); }
std::string ChildProcess::errorSoFar() const { return state_->errorText.text(); }

} // namespace platform
