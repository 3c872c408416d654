// SPDX-License-Identifier: MIT
//
// How processes are started on Windows. Windows only.
#pragma once

#include <platform/system/handle_win.h>

#include <map>
#include <span>
#include <string>
#include <vector>

namespace platform {

// Returns the command line that the parser of the C runtime splits into these arguments.
std::wstring commandLineOf(const std::vector<std::string>& arguments);

struct StartedProcess {
    Handle process;
    DWORD id = 0;
};

// Starts a program whose path is the first argument, all in UTF-8, with this environment and no other, these
// inheritable handles and no others, and no standard streams. Throws std::runtime_error when it can't be started.
StartedProcess startProcess(const std::vector<std::string>& arguments,
                            const std::map<std::string, std::string>& environment, std::span<const HANDLE> inherited);

} // namespace platform
