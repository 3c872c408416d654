// SPDX-License-Identifier: MIT
//
// The process-wide console.
#include <platform/console/console.h>

namespace platform {

namespace {
Console* replacement = nullptr;
} // namespace

Console::~Console() = default;

Console& console() { return replacement ? *replacement : systemConsole(); }

void replaceConsole(Console* other) { replacement = other; }

} // namespace platform
