// SPDX-License-Identifier: MIT
//
// Text for people at a console. Front ends hold all text in UTF-8; these functions turn it into the console's code
// page on the way out. What the page lacks becomes '?'. With a page that is not known, or no console at all (on
// Windows: output to a pipe or file of a program without a console; on POSIX: the locale "C"), text goes out as it is,
// in UTF-8. The page is found out at the first call and kept.
//
// The first call also makes the console's character-type locale current (setlocale of LC_CTYPE).
//
// Exported data does not belong here: a file or pipe gets the console's page too while there is a console. For the one
// thread of a console program.
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

// Prints to standard output like printf; format and arguments are UTF-8. Returns the bytes printed, in the console's
// page; 0 when nothing could be formatted or printed. Text behind a zero byte (from "%c") is not printed.
//
// The format is the program's own, never text from elsewhere: cli_printf("%s", label.c_str()), not
// cli_printf(label.c_str()).
PANELKIT_EXPORT int cli_printf(const char* format, ...) PANELKIT_PRINTF(1, 2);

// Formats like sprintf and gives the text in the console's page. Returns its size in bytes. When there is nothing to
// convert (an empty text, a format that fails, a page that is not known) it returns 0 and leaves `output` untouched:
// what a string held before then passes for the message, so start with the text that you want in that case.
// The arguments may point into `*output`.
PANELKIT_EXPORT std::size_t cli_sprintf(std::string* output, const char* format, ...) PANELKIT_PRINTF(2, 3);

// Redraws a progress bar of one line ("\r 50% [====    ]", 60 places wide) on standard output and flushes it.
// `fraction` is the part done, from 0.0 to 1.0; any other value is the caller's error and draws nonsense. The line is
// not ended.
PANELKIT_EXPORT void cli_print_progress(double fraction);

// The language for console messages: "rus" when the user's interface language is Russian, else "eng". On POSIX the
// first of LC_ALL, LC_MESSAGES and LANG that is set decides; Russian is what begins with "ru".
PANELKIT_EXPORT const char* cli_get_console_lang();
