// SPDX-License-Identifier: MIT
//
// A console for tests: its input is set before, and its output and changes of the mode are recorded. It is the
// process's console as long as it exists.
#pragma once

#include <panelkit/cli/console_setup.h>
#include <platform/console/console.h>

#include <deque>
#include <string>
#include <vector>

// The setup is made once per process; a test repeats it for its own console.
namespace panelkit {
struct ConsoleSetupProbe {
    static void forget() { ConsoleSetup::instance() = {}; }
};
} // namespace panelkit

class FakeConsole : public platform::Console {
public:
    FakeConsole() { platform::replaceConsole(this); }
    ~FakeConsole() override;

    bool isThere = true;      // whether the standard handles are open
    bool isConsole = true;    // whether the input is a console
    bool canBeChanged = true; // whether its mode can be set
    std::uint32_t mode = 7;
    std::uint32_t page = 866;        // of the input and the output
    std::uint16_t language = 0x0409; // for interfaces
    std::uint16_t defaultOne = 0x0409;
    std::string typed;    // a read past its end fails
    std::deque<int> keys; // the same

    std::string screen;
    std::vector<std::uint32_t> modes; // every one that was set, in order
    std::string locale;               // the name that was adopted last
    int pageQuestions = 0;            // how often the output page was asked for

    bool attached() override { return isThere; }
    bool inputMode(std::uint32_t& present) override;
    bool setInputMode(std::uint32_t wanted) override;
    bool borrowInputMode(std::uint32_t wanted) override;
    void returnInputMode() override;
    bool readCharacter(char& character) override;
    void write(std::string_view bytes) override { screen += bytes; }
    int readKey() override;
    std::uint32_t inputPage() override { return page; }
    std::uint32_t outputPage() override;
    void adoptLocale(const char* name) override { locale = name; }
    std::uint16_t interfaceLanguage() override { return language; }
    std::uint16_t defaultLanguage() override { return defaultOne; }

private:
    std::uint32_t former_ = 0;
};
