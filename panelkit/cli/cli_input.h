// SPDX-License-Identifier: MIT
//
// Keys and secrets from the console. All functions use the terminal or console window itself: nothing is read from a
// file or pipe in its place. Buffers of standard output are flushed first, so that a prompt without a line end is
// visible. Only for the one thread of a console program.
//
//   char pin[256];
//   cli_printf("PIN: ");
//   if (!passgets(pin, sizeof(pin))) { ... }    // no console, interrupted, or too long
//   ...
//   std::memset(pin, 0, sizeof(pin));           // always wipe the buffer yourself
#pragma once

#include <platform/export.h>

#include <cstddef>

// Reads one key without echo and without waiting for Enter; returns its code: Enter 13, backspace 8, Ctrl+C 3. Some
// keys have several codes (on Windows arrows and the like begin with 0 or 224, on POSIX with 27; a letter may have
// several bytes in a UTF-8 terminal); further calls return the rest. Returns -1 when there is no console to read from.
PANELKIT_EXPORT int cli_getch();

// As cli_getch, but Ctrl+C ends the line on the console and the process with std::exit(0). A script can't distinguish
// this from success.
PANELKIT_EXPORT int read_one_char();

// Switches the echo of typed characters on or off. Errors are ignored. On POSIX the setting stays in force when the
// program ends or is killed, and the shell inherits it: for secrets use passgets, which restores the terminal.
PANELKIT_EXPORT void SetStdinEcho(bool on);

// Reads a line from the console without echo and shows "*" for each character; backspace removes the last one. After
// Enter `buffer` holds the text in the console's input code page, with a zero byte in place of the line end, and is
// returned.
//
// `size` is the size of the buffer in bytes. A text of size - 1 bytes is refused, not cut: as soon as it is typed,
// before Enter, null is returned, and the next reader gets the rest. So make the buffer two bytes larger than the
// longest secret. Null is also returned when standard input is not a console (then nothing is read), when the buffer is
// null or its size below 2, at the end of input (on POSIX also Ctrl+D), and after an interruption that the program
// survived. In these cases the buffer is not terminated and may hold part of the secret.
//
// In a UTF-8 console a character of several bytes shows one star and is removed whole, but `size` counts its bytes.
// When standard output is redirected no stars are shown.
//
// The mode of the console is restored before every return. It is also restored before Ctrl+C and the closing of the
// window take effect; on POSIX before SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGTSTP. After SIGCONT the input goes on.
// The program's own handlers for these signals run as usual and are installed again afterwards.
PANELKIT_EXPORT char* passgets(char* buffer, std::size_t size);
