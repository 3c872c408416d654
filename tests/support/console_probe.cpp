// SPDX-License-Identifier: MIT
//
// Calls a console function for tests that hold the other end of its terminal, and writes the result into a file: the
// terminal itself shows only the function's output.
//
//   console_probe <report> passgets <size>            passgets; "null", or the text in hexadecimal digits
//   console_probe <report> passgets <size> <signal>   the same with a handler of the program's own for the signal
//   console_probe <report> keys <count>               the codes of cli_getch
//   console_probe <report> key                        the code of read_one_char
//   console_probe <report> echo                       the input mode after SetStdinEcho(false) and (true)
//   console_probe <report> print <text>               the returns of cli_printf and cli_sprintf; <text> is hexadecimal
//   console_probe <report> argument <text>            the result of convert_argv_to_utf8 for the text
//   console_probe <report> console                    the language, and the page of the output
#include <panelkit/cli/argv_and_paths.h>
#include <panelkit/cli/cli_input.h>
#include <panelkit/cli/cli_output.h>
#include <platform/console/console.h>

#include "bytes.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

volatile std::sig_atomic_t handled = 0;
extern "C" void countSignal(int signal) {
    handled = handled + 1;
    std::signal(signal, countSignal); // some runtimes remove the handler before they call it
}

void reportMode(std::ostream& report) {
    std::uint32_t mode = 0;
    const bool isConsole = platform::console().inputMode(mode);
    report << (isConsole ? std::to_string(mode) : "no console") << "\n";
}

void probePassgets(std::ostream& report, const Arguments& arguments) {
    const std::size_t size = std::stoul(arguments.at(0));
    const int signal = arguments.size() > 1 ? std::stoi(arguments[1]) : 0;
    if (signal != 0) std::signal(signal, countSignal);
    reportMode(report);
    // Filled, so that a missing terminator is noticed, and of exactly the size, so that a sanitizer sees a write past
    // its end.
    std::vector<char> buffer(size, '#');
    const char* result = passgets(size == 0 ? nullptr : buffer.data(), size);
    report << (result ? "'" + toHex(result) + "'" : "null") << "\n";
    reportMode(report);
    if (signal == 0) return;
    report << "handled " << handled << "\n";
    report << (std::signal(signal, SIG_DFL) == countSignal ? "handler in place" : "handler gone") << "\n";
}

void probeKeys(std::ostream& report, const Arguments& arguments) {
    for (int left = std::stoi(arguments.at(0)); left > 0; --left) report << cli_getch() << "\n";
}

void probeKey(std::ostream& report, const Arguments&) { report << read_one_char() << "\n"; }

void probeEcho(std::ostream& report, const Arguments&) {
    for (const bool on : {false, true}) {
        SetStdinEcho(on);
        reportMode(report);
    }
}

void probePrint(std::ostream& report, const Arguments& arguments) {
    const std::string text = hex(arguments.at(0));
    report << cli_printf("%s\n", text.c_str()) << "\n";
    std::string converted = "untouched";
    report << cli_sprintf(&converted, "%s", text.c_str()) << "\n";
    report << toHex(converted) << "\n";
}

void probeArgument(std::ostream& report, const Arguments& arguments) {
    std::string converted;
    convert_argv_to_utf8(arguments.at(0).c_str(), converted);
    report << toHex(converted) << "\n";
}

void probeConsole(std::ostream& report, const Arguments&) {
    report << cli_get_console_lang() << "\n" << platform::console().outputPage() << "\n";
}

// clang-format off
const std::map<std::string, void (*)(std::ostream&, const Arguments&)> verbs = {
    {"passgets", probePassgets},
    {"keys",     probeKeys},
    {"key",      probeKey},
    {"echo",     probeEcho},
    {"print",    probePrint},
    {"argument", probeArgument},
    {"console",  probeConsole},
};
// clang-format on

} // namespace

int main(int count, char** values) {
    const Arguments arguments(values + 1, values + count);
    if (arguments.size() < 2 || !verbs.contains(arguments[1])) return 2;
    std::ofstream report(arguments[0], std::ios::binary);
    report << std::unitbuf << "started\n"; // reported lines remain when the process is killed
    verbs.at(arguments[1])(report, Arguments(arguments.begin() + 2, arguments.end()));
    return 0;
}
