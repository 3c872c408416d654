// SPDX-License-Identifier: MIT
//
// A terminal whose other end the test holds. It runs a program there like a shell, in the foreground and under job
// control, types, and reads the screen and the terminal's modes. POSIX only.
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

// Waits until `condition` holds; throws after a deadline that is far longer than needed.
void waitUntil(const char* what, const std::function<bool()>& condition);

class PseudoTerminal {
public:
    PseudoTerminal();
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    // The environment, streams and signals of the program.
    struct Surroundings {
        std::map<std::string, std::string> environment; // set in addition; an empty value removes the variable
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

    // Waits until the program stops or ends, and returns the status as waitpid does.
    int waitForStatus();

    // Everything shown so far, as changed by the terminal's driver.
    std::string screen();

private:
    [[noreturn]] void leadSession(const std::vector<std::string>& command, const Surroundings& surroundings,
                                  int statusPipe) const;
    [[noreturn]] void becomeProgram(const std::vector<std::string>& command, const Surroundings& surroundings) const;
    int nextReport() const;

    int driver_ = -1;   // the test's end
    int terminal_ = -1; // the program's end, kept open after the end of the program
    int statuses_ = -1; // from the session's leader: the program's process id, then its statuses
    pid_t leader_ = -1;
    pid_t program_ = -1;
    bool ended_ = false;
    std::string screen_;
};
