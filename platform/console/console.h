// SPDX-License-Identifier: MIT
//
// The console: the terminal or console window behind standard input and output, as little of it as the library's
// console functions need. There is one for the process; tests put their own in its place. It belongs, like those
// functions, to the one thread of a console program.
//
// Bytes that are read and written are in the console's code pages; nothing here converts text.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <string_view>

namespace platform {

// Bits of an input mode; the numbers are those of the Windows console. On POSIX they are the terminal's ISIG, ICANON
// and ECHO, and other bits are nothing.
constexpr std::uint32_t processedInput = 1; // Ctrl+C interrupts instead of being read
constexpr std::uint32_t lineInput = 2;      // input arrives when Enter ends a line
constexpr std::uint32_t echoInput = 4;      // typed characters are shown

class PANELKIT_EXPORT Console {
public:
    Console() = default;
    virtual ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // Whether standard input and standard output are there at all, be they redirected.
    virtual bool attached() = 0;

    // Reads and sets the input mode. False when standard input is no console.
    virtual bool inputMode(std::uint32_t& mode) = 0;
    virtual bool setInputMode(std::uint32_t mode) = 0;

    // As setInputMode, until returnInputMode makes everything as it was. If the process is stopped, interrupted or
    // ended from outside meanwhile, the console is given back first, then what the program itself does about the
    // signal runs; after a stop the mode is borrowed again. False, with nothing changed, when it can't be done.
    virtual bool borrowInputMode(std::uint32_t mode) = 0;
    virtual void returnInputMode() = 0;

    // Waits for one character, or one byte of a character of several; only between the two calls above. False at the
    // end of input, on failure, and after an interruption that the program survived. Backspace is 8 whatever key of
    // the terminal erases.
    virtual bool readCharacter(char& character) = 0;

    // Writes bytes past all buffers. Nothing is written when standard output is no console.
    virtual void write(std::string_view bytes) = 0;

    // Waits for a key, without echo and without Enter, and gives its code: Enter 13, backspace 8, Ctrl+C 3. A key of
    // several codes gives the rest in further calls. -1 when there is no console to read from.
    virtual int readKey() = 0;

    // The code pages in which characters are read and written; 0 for none. On POSIX that of the character set of the
    // environment's locale; a locale that names none ("C", "POSIX", one that is not installed) counts as 0.
    virtual std::uint32_t inputPage() = 0;
    virtual std::uint32_t outputPage() = 0;

    // Makes the character-type locale of the C runtime fit the console. `name` is "." and the number of the output
    // page: what the Windows runtime goes by. On POSIX the environment's locale is taken instead.
    virtual void adoptLocale(const char* name) = 0;

    // The user's language for interfaces, and the default one, as Windows numbers them: primary language in the low
    // 10 bits, 25 is Russian; 1024 stands for none in particular.
    virtual std::uint16_t interfaceLanguage() = 0;
    virtual std::uint16_t defaultLanguage() = 0;
};

// The console of the process: the system's, unless another was put in its place.
PANELKIT_EXPORT Console& console();

// Puts `other`, which the caller keeps, in place of the system's console; null puts the system's back.
PANELKIT_EXPORT void replaceConsole(Console* other);

// The real one; console_posix.cpp or console_win.cpp.
Console& systemConsole();

} // namespace platform
