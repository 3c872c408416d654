// SPDX-License-Identifier: MIT
//
// Text for people at a console. Front ends hold all text in UTF-8; these functions convert it to the console's code
// page on output. A character that the page does not have becomes '?'. When the page is unknown or there is no console
// (on Windows: a program without a console that writes to a pipe or file; on POSIX: the locale "C"), text is written
// unchanged in UTF-8. The page is determined at the first call and kept.
//
// The first call also makes the console's character-type locale current (setlocale of LC_CTYPE).
//
// Do not write exported data with these functions: a file or pipe gets the console's code page too as long as there is
// a console. Only for the one thread of a console program.
//
//   cli_printf("%s: %u tokens\n", provider.text1.c_str(), count);
//
//   std::string message;                      // the same for standard error
//   cli_sprintf(&message, "no such token: %s\n", label.c_str());
//   std::fputs(message.c_str(), stderr);
#pragma once

#include <platform/export.h>
#include <platform/printf_format.h>

#include <cstddef>
#include <string>

// Prints to standard output like printf; format and arguments are UTF-8. Returns the number of bytes printed, in the
// console's page; 0 when nothing could be formatted or printed. Text after a zero byte (from "%c") is not printed.
//
// The format is the program's own, never text from elsewhere: cli_printf("%s", label.c_str()), not
// cli_printf(label.c_str()).
PANELKIT_EXPORT int cli_printf(const char* format, ...) PANELKIT_PRINTF(1, 2);

// Formats like sprintf, converts the text to the console's page and stores it in `output`. Returns its size in bytes.
// When there is nothing to convert (an empty text, a format error, an unknown page) it returns 0 and leaves `output`
// unchanged. A caller that ignores the result then shows the old content as the message, so put the text for that case
// into `output` first. The arguments may point into `*output`.
PANELKIT_EXPORT std::size_t cli_sprintf(std::string* output, const char* format, ...) PANELKIT_PRINTF(2, 3);

// Draws a progress bar of one line ("\r 50% [====    ]", 60 characters wide) on standard output and flushes it; a
// further call draws over it. `fraction` is the part done, from 0.0 to 1.0; for any other value the output is
// meaningless. The line is not ended.
PANELKIT_EXPORT void cli_print_progress(double fraction);

// The language for console messages: "rus" when the user's language is Russian, else "eng". On POSIX the first of
// LC_ALL, LC_MESSAGES and LANG that is set decides; a value that begins with "ru" is Russian.
PANELKIT_EXPORT const char* cli_get_console_lang();
