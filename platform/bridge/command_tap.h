// SPDX-License-Identifier: MIT
//
// A function that is told each command of this process when it has ended: for transcripts. There is none at first, and
// then a command costs one comparison more.
#pragma once

#include <platform/bridge/failure.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace bridge {

struct EndedCommand {
    const std::string& session; // its name
    std::uint32_t module, code;
    std::string_view request; // may hold secrets
    std::string_view reply;   // likewise; empty when there was a failure
    const Failure& failure;
    const std::vector<Remark>& remarks;
    std::chrono::milliseconds time; // that it took
};

// Called on the thread that sent the command, for several sessions at once. It must not throw, send commands, or keep
// views.
using CommandTap = void (*)(const EndedCommand& command) noexcept;

// Null for none. Any thread may call it; a command that is ending may still be told to the tap before.
void setCommandTap(CommandTap tap);
CommandTap commandTap();

} // namespace bridge
