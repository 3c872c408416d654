// SPDX-License-Identifier: MIT
//
// A terminal whose other end a test holds: it runs a program there as a shell would, in the foreground and under job
// control, types, looks at the screen and at the terminal's modes. POSIX only.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Whether two terminals' modes are the same in every field that can be set.
bool operator==(const termios& left, const termios& right);

// Waits, with a deadline far beyond what any of it takes, until `condition` holds; throws when it does not.
void waitUntil(const char* what, const std::function<bool()>& condition);

class PseudoTerminal {
public:
    PseudoTerminal();
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    // What the program is run with, beside the terminal.
    struct Surroundings {
        std::map<std::string, std::string> environment; // set in addition; an empty value takes the name away
        std::string input, output;                      // files in the place of standard input and output
        std::vector<int> ignored;                       // signals that the program inherits as ignored
    };
    // Starts a program; once for each terminal.
    void run(const std::vector<std::string>& command, const Surroundings& surroundings);

    void type(std::string_view keys);
    void signal(int number) const;
    // Ends the connection, as a closed window does.
    void hangUp();

    termios modes() const;
    void setModes(const termios& modes) const;
    // Waits until a reader of single keys has switched line editing off.
    void waitForReader() const;

    // Waits until the program stops or ends, and gives the status as waitpid does.
    int waitForStatus();

    // Everything shown so far, what the terminal's driver made of it included.
    std::string screen();

private:
    [[noreturn]] void leadSession(const std::vector<std::string>& command, const Surroundings& surroundings,
                                  int statusPipe) const;
    [[noreturn]] void becomeProgram(const std::vector<std::string>& command, const Surroundings& surroundings) const;
    int nextReport() const;

    int driver_ = -1;   // the test's end
    int terminal_ = -1; // the program's end, kept open so that it outlives the program
    int statuses_ = -1; // from the session's leader: the program's process id, then its statuses
    pid_t leader_ = -1;
    pid_t program_ = -1;
    bool ended_ = false;
    std::string screen_;
};
