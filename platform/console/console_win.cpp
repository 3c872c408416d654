// SPDX-License-Identifier: MIT
//
// The console on Windows.
#include <platform/console/console.h>

#include <windows.h>

#include <conio.h>

#include <atomic>
#include <clocale>

namespace platform {

namespace {

HANDLE input() { return GetStdHandle(STD_INPUT_HANDLE); }
HANDLE output() { return GetStdHandle(STD_OUTPUT_HANDLE); }

bool valid(HANDLE handle) { return handle && handle != INVALID_HANDLE_VALUE; }

// The former mode, for the control handler, which the system runs on a thread of its own.
std::atomic<DWORD> formerMode{0};
std::atomic<bool> interrupted{false};

// Restores the mode before earlier handlers, or the system, act on Ctrl+C, Ctrl+Break, the closing of the window and
// the like. FALSE passes the event on to them.
BOOL WINAPI giveModeBack(DWORD) {
    SetConsoleMode(input(), formerMode);
    interrupted = true;
    return FALSE;
}

class WindowsConsole : public Console {
public:
    bool attached() override { return valid(input()) && valid(output()); }

    bool inputMode(std::uint32_t& mode) override {
        DWORD present = 0;
        if (!GetConsoleMode(input(), &present)) return false;
        mode = present;
        return true;
    }

    bool setInputMode(std::uint32_t mode) override { return SetConsoleMode(input(), mode) != 0; }

    bool borrowInputMode(std::uint32_t mode) override {
        DWORD present = 0;
        if (!GetConsoleMode(input(), &present)) return false;
        formerMode = present;
        interrupted = false;
        SetConsoleCtrlHandler(giveModeBack, TRUE);
        if (setInputMode(mode)) return true;
        SetConsoleCtrlHandler(giveModeBack, FALSE);
        return false;
    }

    void returnInputMode() override {
        SetConsoleMode(input(), formerMode);
        SetConsoleCtrlHandler(giveModeBack, FALSE);
    }

    bool readCharacter(char& character) override {
        DWORD read = 0;
        return !interrupted && ReadConsoleA(input(), &character, 1, &read, nullptr) && read == 1 && !interrupted;
    }

    void write(std::string_view bytes) override {
        DWORD written = 0;
        WriteConsoleA(output(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }

    int readKey() override {
        const int key = _getch();
        return key < -1 ? static_cast<unsigned char>(key) : key; // some runtimes return letters sign-extended
    }

    std::uint32_t inputPage() override { return GetConsoleCP(); }
    std::uint32_t outputPage() override { return GetConsoleOutputCP(); }

    // The runtime converts characters for the console by its locale; in "C" those beyond ASCII come out wrong.
    void adoptLocale(const char* name) override { std::setlocale(LC_CTYPE, name); }

    std::uint16_t interfaceLanguage() override { return GetUserDefaultUILanguage(); }
    std::uint16_t defaultLanguage() override { return GetUserDefaultLangID(); }
};

} // namespace

Console& systemConsole() {
    static WindowsConsole console;
    return console;
}

} // namespace platform
