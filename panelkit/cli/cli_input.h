// SPDX-License-Identifier: MIT
//
// Keys and secrets from the console. Everything here talks to the terminal or console window itself: nothing is read
// from a file or pipe that stands in for it, and buffers of standard output are flushed first, so that a prompt without
// a line end is seen. For the one thread of a console program.
//
//   char pin[256];
//   cli_printf("PIN: ");
//   if (!passgets(pin, sizeof(pin))) { ... }    // no console, interrupted, or too long
//   ...
//   std::memset(pin, 0, sizeof(pin));           // the buffer is yours to wipe, however passgets ended
#pragma once

#include <platform/export.h>

#include <cstddef>

// Reads one key without echo and without waiting for Enter; returns its code: Enter 13, backspace 8, Ctrl+C 3. Keys of
// several codes (on Windows arrows and the like begin with 0 or 224, on POSIX with 27; letters of several bytes in a
// UTF-8 terminal) give the rest in further calls. -1 when there is no console to read from.
PANELKIT_EXPORT int cli_getch();

// As cli_getch, but Ctrl+C ends the line on the console and the process: std::exit with status 0. A script can't tell
// that from success.
PANELKIT_EXPORT int read_one_char();

// Switches the echo of what is typed on or off. Errors are ignored. On POSIX the terminal stays as it is set here when
// the program ends or is killed, and the shell inherits it: for secrets use passgets, which cleans up after itself.
PANELKIT_EXPORT void SetStdinEcho(bool on);

// Reads a line from the console without echo, showing "*" for each character; backspace takes back the last one. Enter
// ends the line: the text, in the console's input code page and with a terminating zero byte in place of the line
// end, stands in `buffer`, which is returned.
//
// `size` is the buffer's in bytes. A text of size - 1 bytes is refused, not cut: as soon as it is typed, before Enter,
// null is returned, and what is typed further goes to the next reader. So give a buffer two larger than the longest
// secret. Null also comes when standard input is no console (nothing is read then), the buffer is null or its size
// below 2, at the end of input (on POSIX Ctrl+D too) and after an interruption that the program survived. In these
// cases the buffer is not terminated and may hold a part of the secret.
//
// In a UTF-8 console a character of several bytes has one star and is taken back whole, while the size counts its
// bytes. When standard output is redirected no stars are shown.
//
// The console's mode is the same afterwards as before, on every return. It is put back also before Ctrl+C and a closed
// window take effect, on POSIX before SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGTSTP do; after SIGCONT the line goes on.
// The program's own handlers for these run as always, and are in place again afterwards.
PANELKIT_EXPORT char* passgets(char* buffer, std::size_t size);
