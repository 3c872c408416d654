// SPDX-License-Identifier: MIT
//
// Command-line arguments and the file names among them, for front ends that were written against these two functions.
// Both are bound to the Windows that they were made for. New code on Windows takes its arguments from
// CommandLineToArgvW and on POSIX takes them as they are; it makes paths absolute with std::filesystem::absolute.
#pragma once

#include <platform/export.h>

#include <string>

// Turns an argument from code page 1251 into UTF-8. It is always 1251, whatever the system and the console use: an
// argument that is not in it (already UTF-8, as on Linux, or in 1252) comes out garbled unless it is ASCII. For the one
// thread of a console program, as it shares the set-up of cli_printf.
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
// The same is done to the strings of other systems, where it hurts: in /work, a.cfg gives "/work\a.cfg", a file name
// with a backslash in it, and the rooted /x/a.cfg gives "/w/x/a.cfg".
//
// `result` is bounded by nobody: it must hold 1024 bytes for the directory, one for the separator and the whole path
// with its zero byte. When the current directory can't be read, or is longer, the result is the empty text.
PANELKIT_EXPORT void make_abs_path(const char* path, char* result);
