// SPDX-License-Identifier: MIT
//
// The console: the terminal or console window at standard input and output, as far as the library's console functions
// need it. There is one per process; tests replace it. Like those functions it is for the one thread of a console
// program.
//
// Bytes are read and written in the console's code pages; nothing here converts text.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <string_view>

namespace platform {

// Bits of an input mode; the numbers are those of the Windows console. On POSIX they set the terminal's ISIG, ICANON
// and ECHO; other bits have no effect.
constexpr std::uint32_t processedInput = 1; // Ctrl+C interrupts instead of being read
constexpr std::uint32_t lineInput = 2;      // input arrives when Enter ends a line
constexpr std::uint32_t echoInput = 4;      // typed characters are shown

class PANELKIT_EXPORT Console {
public:
    Console() = default;
    virtual ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // Whether standard input and standard output are open, even if redirected.
    virtual bool attached() = 0;

    // Reads and sets the input mode. They return false when standard input is not a console.
    virtual bool inputMode(std::uint32_t& mode) = 0;
    virtual bool setInputMode(std::uint32_t mode) = 0;

    // As setInputMode, until returnInputMode restores everything. If the process is stopped, interrupted or ended from
    // outside in the meantime, the console is restored first, then the program's own handling of the signal runs; after
    // a stop the mode is set again. Returns false, with nothing changed, on failure.
    virtual bool borrowInputMode(std::uint32_t mode) = 0;
    virtual void returnInputMode() = 0;

    // Waits for one character, or one byte of a character of several bytes. Only between the two calls above. Returns
    // false at the end of input, on failure, and after an interruption that the program survived. Backspace is always
    // 8, whichever key erases on the terminal.
    virtual bool readCharacter(char& character) = 0;

    // Writes bytes past all buffers. Nothing is written when standard output is not a console.
    virtual void write(std::string_view bytes) = 0;

    // Waits for a key, without echo and without Enter, and returns its code: Enter 13, backspace 8, Ctrl+C 3. For a key
    // of several codes, further calls return the rest. Returns -1 when there is no console to read from.
    virtual int readKey() = 0;

    // The code pages in which characters are read and written; 0 for none. On POSIX the page of the character set of
    // the environment's locale; a locale without one ("C", "POSIX", one that is not installed) counts as 0.
    virtual std::uint32_t inputPage() = 0;
    virtual std::uint32_t outputPage() = 0;

    // Sets the character-type locale of the C runtime for the console. `name` is "." and the number of the output page,
    // which the Windows runtime uses. On POSIX the environment's locale is used instead.
    virtual void adoptLocale(const char* name) = 0;

    // The user's interface language, and the default one, as Windows language numbers: the primary language is in the
    // low 10 bits, 25 is Russian; 1024 means unspecified.
    virtual std::uint16_t interfaceLanguage() = 0;
    virtual std::uint16_t defaultLanguage() = 0;
};

// The console of the process: the system's, unless it was replaced.
PANELKIT_EXPORT Console& console();

// Replaces the system's console by `other`, which the caller owns; null restores the system's.
PANELKIT_EXPORT void replaceConsole(Console* other);

// The real one; console_posix.cpp or console_win.cpp.
Console& systemConsole();

} // namespace platform
