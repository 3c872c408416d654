// SPDX-License-Identifier: MIT
#include "pseudo_terminal_posix.h"

#include "pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace {

constexpr std::chrono::seconds patience(30);

int check(int result, const char* what) {
    if (result == -1) throw std::runtime_error(what);
    return result;
}

void redirect(const std::string& file, int flags, int descriptor) {
    if (file.empty()) return;
    const int opened = ::open(file.c_str(), flags, 0600);
    if (opened == -1 || ::dup2(opened, descriptor) == -1) ::_exit(126);
}

void prepareEnvironment(const std::map<std::string, std::string>& environment) {
    for (const auto& [name, value] : environment) {
        if (value.empty()) {
            ::unsetenv(name.c_str());
        } else {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }
}

} // namespace

bool operator==(const termios& left, const termios& right) {
    return left.c_iflag == right.c_iflag && left.c_oflag == right.c_oflag && left.c_cflag == right.c_cflag &&
           left.c_lflag == right.c_lflag && std::ranges::equal(left.c_cc, right.c_cc);
}

void waitUntil(const char* what, const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error(std::string("no end of: ") + what);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

PseudoTerminal::PseudoTerminal() {
    check(::openpty(&driver_, &terminal_, nullptr, nullptr, nullptr), "openpty");
    for (const int end : {driver_, terminal_}) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    ::fcntl(driver_, F_SETFL, O_NONBLOCK);
}

PseudoTerminal::~PseudoTerminal() {
    if (program_ > 0 && !ended_) ::kill(program_, SIGKILL);
    if (leader_ > 0) ::waitpid(leader_, nullptr, 0);
    for (const int end : {driver_, terminal_, statuses_}) {
        if (end != -1) ::close(end);
    }
}

// The session's leader acts as a shell: without one in the same session, a stop would be ignored.
void PseudoTerminal::run(const std::vector<std::string>& command, const Surroundings& surroundings) {
    const Pipe pipe = makePipe();
    leader_ = check(::fork(), "fork");
    if (leader_ == 0) leadSession(command, surroundings, pipe.to);
    ::close(pipe.to);
    statuses_ = pipe.from;
    program_ = nextReport();
}

void PseudoTerminal::leadSession(const std::vector<std::string>& command, const Surroundings& surroundings,
                                 int statusPipe) const {
    ::setsid();
    ::ioctl(terminal_, TIOCSCTTY, 0);
    ::signal(SIGTTOU, SIG_IGN);
    ::signal(SIGHUP, SIG_IGN);
    const auto report = [statusPipe](int value) {
        if (::write(statusPipe, &value, sizeof(value)) != sizeof(value)) ::_exit(1);
    };
    const pid_t program = ::fork();
    if (program == 0) becomeProgram(command, surroundings);
    report(program);
    ::close(driver_); // otherwise the connection would stay open after a hang-up
    int status = 0;
    do {
        if (::waitpid(program, &status, WUNTRACED) != program) ::_exit(1);
        report(status);
    } while (WIFSTOPPED(status));
    ::_exit(0);
}

void PseudoTerminal::becomeProgram(const std::vector<std::string>& command, const Surroundings& surroundings) const {
    ::setpgid(0, 0);
    ::tcsetpgrp(terminal_, ::getpid());
    for (const int number : {SIGTTOU, SIGHUP}) ::signal(number, SIG_DFL);
    for (const int number : surroundings.ignored) ::signal(number, SIG_IGN);
    for (const int descriptor : {0, 1, 2}) ::dup2(terminal_, descriptor);
    redirect(surroundings.input, O_RDONLY, 0);
    redirect(surroundings.output, O_WRONLY | O_CREAT | O_TRUNC, 1);
    prepareEnvironment(surroundings.environment);
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

void PseudoTerminal::type(std::string_view keys) {
    if (::write(driver_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        throw std::runtime_error("the terminal takes no keys");
    }
}

void PseudoTerminal::signal(int number) const { check(::kill(program_, number), "kill"); }

void PseudoTerminal::hangUp() {
    screen();
    ::close(driver_);
    driver_ = -1;
}

termios PseudoTerminal::modes() const {
    termios modes{};
    check(::tcgetattr(terminal_, &modes), "tcgetattr");
    return modes;
}

void PseudoTerminal::setModes(const termios& modes) const {
    check(::tcsetattr(terminal_, TCSANOW, &modes), "tcsetattr");
}

void PseudoTerminal::waitForReader() const {
    waitUntil("waiting for a reader of keys", [this] { return !(modes().c_lflag & ICANON); });
}

int PseudoTerminal::waitForStatus() {
    const int status = nextReport();
    ended_ = !WIFSTOPPED(status);
    return status;
}

int PseudoTerminal::nextReport() const {
    pollfd waiting{statuses_, POLLIN, 0};
    const int milliseconds = static_cast<int>(std::chrono::milliseconds(patience).count());
    int value = 0;
    if (::poll(&waiting, 1, milliseconds) != 1 || ::read(statuses_, &value, sizeof(value)) != sizeof(value)) {
        throw std::runtime_error("no word of the program");
    }
    return value;
}

// Output to a terminal arrives at the other end a little later. A mark that is written after it shows that it has
// arrived; the program may write more after the mark.
std::string PseudoTerminal::screen() {
    constexpr std::string_view mark = "<end of screen>";
    if (driver_ == -1) return screen_;
    check(static_cast<int>(::write(terminal_, mark.data(), mark.size())), "write");
    std::size_t place = std::string::npos;
    waitUntil("reading the screen", [&] {
        char part[4096];
        const ssize_t got = ::read(driver_, part, sizeof(part));
        if (got > 0) screen_.append(part, static_cast<std::size_t>(got));
        place = screen_.find(mark);
        return place != std::string::npos;
    });
    screen_.erase(place, mark.size());
    return screen_;
}
