// SPDX-License-Identifier: MIT
#include <platform/bridge/command_tap.h>

#include <atomic>

namespace bridge {

namespace {

std::atomic<CommandTap> theTap{nullptr};

} // namespace

void setCommandTap(CommandTap tap) { theTap = tap; }
CommandTap commandTap() { return theTap.load(std::memory_order_acquire); }

} // namespace bridge
