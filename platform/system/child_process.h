// SPDX-License-Identifier: MIT
//
// Runs another program with a time limit, and collects what it writes.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct ChildOptions {
    std::vector<std::string> arguments;                            // [0] is the program's path; all UTF-8
    std::string input;                                             // given to its standard input, which then ends
    std::map<std::string, std::optional<std::string>> environment; // set, or taken away; the rest is inherited
    bool inheritError = false; // standard error goes where ours goes, instead of being collected
};

enum class Ending : unsigned char { exited, killed, timedOut };

struct ChildResult {
    Ending ending = Ending::exited;
    int status = 0; // the exit status, or the signal that killed it
    std::string output;
    std::string error;
};

// Returns the environment of this process; in UTF-8 on Windows.
std::map<std::string, std::string> environment();

// Returns the environment that a child with these options gets.
std::map<std::string, std::string> environmentFor(const ChildOptions& options);

// A program that runs. Threads of this class collect what it writes to its standard output and error: at most 64 MiB of
// each. What would make it longer is dropped.
class ChildProcess {
public:
    // Starts the program. Throws std::runtime_error when it can't be started.
    explicit ChildProcess(const ChildOptions& options);
    ~ChildProcess(); // kills it if it still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    std::int64_t id() const;
    bool ended() const;
    // Asks the program to end, with SIGTERM. Windows has no such request for a program without a window, so there the
    // program is killed.
    void terminate();
    void kill();

    // Waits for the program to end and returns what it wrote. If it runs longer than `limit`, it is killed, and the
    // result says `timedOut`.
    ChildResult wait(std::chrono::milliseconds limit);

    // Return what the program has written so far.
    std::string outputSoFar() const;
    std::string errorSoFar() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Starts a program and waits for its end, as ChildProcess does.
inline ChildResult runChild(const ChildOptions& options, std::chrono::milliseconds limit) {
    return ChildProcess(options).wait(limit);
}

} // namespace platform
