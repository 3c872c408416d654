// SPDX-License-Identifier: MIT
//
// Command-line arguments and the file names among them. Both functions follow the rules of Windows on every system, and
// the front ends that call them depend on the exact results. New code on Windows takes its arguments from
// CommandLineToArgvW, on POSIX it uses them unchanged; it makes paths absolute with std::filesystem::absolute.
#pragma once

#include <platform/export.h>

#include <string>

// Converts an argument from code page 1251 to UTF-8. The page is always 1251, whatever the system and the console use:
// an argument in another encoding (UTF-8, as on Linux, or 1252) comes out garbled unless it is ASCII. Only for the one
// thread of a console program, because it shares the setup of cli_printf.
PANELKIT_EXPORT void convert_argv_to_utf8(const char* argument, std::string& out);

// Makes a path absolute by the rules of Windows, both separators accepted, by putting the current directory (in UTF-8)
// before it:
//
//   current directory   path        result
//   C:\work             a.cfg       C:\work\a.cfg
//   C:\                 a.cfg       C:\a.cfg
//   C:\work             \x\a.cfg    C:\x\a.cfg
//   C:\work             D:\a.cfg    D:\a.cfg
//
// On other systems the same rules give useless results: in /work, a.cfg becomes "/work\a.cfg", a file name with a
// backslash in it, and the rooted /x/a.cfg becomes "/w/x/a.cfg".
//
// The size of `result` is not checked: it must hold 1024 bytes for the directory, one for the separator, and the whole
// path with its zero byte. When the current directory can't be read, or is longer, the result is the empty text.
PANELKIT_EXPORT void make_abs_path(const char* path, char* result);
