// SPDX-License-Identifier: MIT
//
// Runs another program and collects what it says, with a deadline.
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

// The environment of this process; in UTF-8 on Windows.
std::map<std::string, std::string> environment();

// The environment that a child with these options gets.
std::map<std::string, std::string> environmentFor(const ChildOptions& options);

// A program that runs. What it writes is collected by threads of ours; 64 MiB at the most.
class ChildProcess {
public:
    // Starts it. Throws std::runtime_error when it can't be started.
    explicit ChildProcess(const ChildOptions& options);
    ~ChildProcess(); // kills it if it still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    std::int64_t id() const;
    bool ended() const;
    // Asks it to end, as SIGTERM does; on Windows there is no such request for a program without a window: kill it.
    void terminate();
    void kill();

    // Waits for its end; after `limit` it is killed.
    ChildResult wait(std::chrono::milliseconds limit);

    // What it has written so far.
    std::string outputSoFar() const;
    std::string errorSoFar() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Starts a program and waits for its end.
inline ChildResult runChild(const ChildOptions& options, std::chrono::milliseconds limit) {
    return ChildProcess(options).wait(limit);
}

} // namespace platform
